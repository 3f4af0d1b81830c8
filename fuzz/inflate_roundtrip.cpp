// What our own Deflate writer makes of arbitrary bytes, at a level the input
// chooses, inflated in input and output pieces the input chooses, gives the bytes
// back and ends exactly at the end of the stream.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "deflate_writer.h"
#include "fuzz_input.h"
#include "lumdc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const int level = int(in.take(11)) - 1;
    const size_t inStep = 1 + in.take(5000);
    const size_t outStep = 1 + in.take(5000);
    const std::vector<uint8_t> src(in.data(), in.data() + in.size());
    std::vector<uint8_t> stream =
        lumcodec::deflateCompress(src.data(), src.size(), level, lumcodec::DeflateFraming::Raw);
    stream.push_back(0x5A);  // not part of the stream: must stay unconsumed

    std::vector<uint8_t> out(src.size() + 1);
    LumInflateState st{};
    uint32_t idx = 0;
    size_t at = 0;
    LumStatus s;
    do {
        const uint8_t* p = stream.data() + at;
        uint32_t left = uint32_t(std::min(inStep, stream.size() - at));
        const uint32_t given = left;
        s = lumsInflate_8u(&p, &left, out.data(), &idx, uint32_t(std::min(src.size(), idx + outStep)), &st);
        at += given - left;
    } while ((s == lumStatusSrcExhausted && at < stream.size()) || (s == lumStatusDstFull && idx < src.size()));
    if (s != lumStatusOk || idx != src.size() || at != stream.size() - 1 ||
        (idx && std::memcmp(out.data(), src.data(), idx) != 0)) {
        std::fprintf(stderr, "round trip failed: status %d, %u of %zu bytes, stream end at %zu of %zu\n", s, idx,
                     src.size(), at, stream.size() - 1);
        std::abort();
    }
    return 0;
}
