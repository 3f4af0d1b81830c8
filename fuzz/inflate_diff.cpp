// Inflation of arbitrary bytes, differential against zlib's raw inflate: fed in
// input and output pieces the input chooses, into an output flush against a guard
// page and from input pieces copied flush against one, our decoder gives zlib's
// bytes when zlib finishes the stream, refuses when zlib refuses, and otherwise
// asks for more. Whatever it says, the bytes it produced are a prefix of zlib's.

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "guarded_buffer.h"
#include "lumdc.h"

namespace {

using Bytes = std::vector<uint8_t>;

void fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

constexpr size_t kCapacity = 1 << 18;

int inflateWithZlib(const Bytes& stream, size_t capacity) {
    z_stream z{};
    if (inflateInit2(&z, -15) != Z_OK) fail("inflateInit2");
    Bytes out(capacity + 1);
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = uInt(stream.size());
    z.next_out = out.data();
    z.avail_out = uInt(capacity);
    const int zs = inflate(&z, Z_FINISH);
    inflateEnd(&z);
    return zs;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const size_t inStep = 1 + in.take(300);
    const size_t outStep = 1 + in.take(70000);
    const size_t capacity = in.take(kCapacity);
    const Bytes stream(in.data(), in.data() + in.size());

    z_stream z{};
    if (inflateInit2(&z, -15) != Z_OK) fail("inflateInit2");
    Bytes expect(capacity + 1);
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = uInt(stream.size());
    z.next_out = expect.data();
    z.avail_out = uInt(capacity);
    const int zs = inflate(&z, Z_FINISH);
    expect.resize(z.total_out);
    const size_t zlibUsed = stream.size() - z.avail_in;
    inflateEnd(&z);

    lumtest::GuardedBuffer out(capacity);
    LumInflateState st{};
    uint32_t idx = 0;
    size_t at = 0;
    LumStatus s;
    for (;;) {
        const size_t piece = std::min(inStep, stream.size() - at);
        lumtest::GuardedBuffer src(piece);
        if (piece) std::memcpy(src.data(), stream.data() + at, piece);
        const uint8_t* p = src.data();
        uint32_t left = uint32_t(piece);
        const uint32_t limit = uint32_t(std::min(capacity, size_t(idx) + outStep));
        s = lumsInflate_8u(&p, &left, out.data(), &idx, limit, &st);
        if (size_t(p - src.data()) + left != piece) fail("consumed and left do not add up");
        at += size_t(p - src.data());
        if (idx > expect.size() && zs != Z_BUF_ERROR) fail("more output than zlib");
        if (s == lumStatusSrcExhausted && left != 0) fail("32 with input left");
        if (s != lumStatusSrcExhausted && s != lumStatusDstFull) break;
        if (s == lumStatusSrcExhausted && at == stream.size()) break;
        if (s == lumStatusDstFull && limit == capacity) break;
    }
    const size_t common = std::min<size_t>(idx, expect.size());
    if (std::memcmp(out.data(), expect.data(), common) != 0) fail("output differs from zlib's");
    if (zs == Z_STREAM_END) {
        if (s != lumStatusOk) fail("zlib finished the stream, we did not");
        if (idx != expect.size()) fail("output length differs from zlib's");
        if (at != zlibUsed) fail("stream end found at another byte");
    } else if (zs == Z_DATA_ERROR) {
        if (s != lumStatusDataErr && s != lumStatusHuffCodeErr) fail("zlib refused the stream, we did not");
    } else if (s == lumStatusOk) {
        fail("we ended a stream zlib wants more of");
    } else if (s < 0) {
        // We refused where zlib still waits for input or room: we may see sooner
        // that no continuation can help (a code-length code of all zeros, which
        // zlib reads on as lengths of 0 until the missing end-of-block code), but
        // zlib must then refuse whatever follows.
        for (uint8_t fill : {0x00, 0xFF}) {
            Bytes more(stream);
            more.insert(more.end(), 4096, fill);
            if (inflateWithZlib(more, kCapacity) != Z_DATA_ERROR) fail("we refused a stream zlib can go on with");
        }
    }
    return 0;
}
