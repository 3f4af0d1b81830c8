// Every LZ4 encoder on the fuzz input, chosen and parameterised from its tail
// (plain, bounded with a fuzz-chosen capacity, accelerated, dictionary, high
// compression at any level, with or without a prefix): every variant writes the
// same block, the block decodes to the consumed prefix with our decoder and with
// liblz4, and bounded encoders stay inside a destination that ends at a guard page.

#include <lz4.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "guarded_buffer.h"
#include "lumcore.h"
#include "lumdc.h"
#include "lz4/lz4_encode.h"

namespace {

using Bytes = std::vector<uint8_t>;

void fail(const char* what, int encoder) {
    std::fprintf(stderr, "encoder %d: %s\n", encoder, what);
    std::abort();
}

struct Outcome {
    LumStatus status;
    size_t consumed;
    Bytes block;
};

// One encoder run with the features shown by the switch at the time.
Outcome encode(int encoder, const Bytes& src, size_t prefix, size_t capacity, int param, const Bytes& dict) {
    const size_t n = src.size() - prefix;
    const uint8_t* s = src.data() + prefix;
    lumtest::GuardedBuffer dst(capacity);
    Bytes table(16384), head(0x20000), chain(0x40000, 0x5A);
    int32_t srcLen = int32_t(n), len = int32_t(capacity);
    LumStatus st = lumStatusOk;
    switch (encoder) {
        case 0:
            st = lumsEncodeLZ4_8u(s, srcLen, dst.data(), &len, table.data());
            break;
        case 1:
            st = lumsEncodeLZ4Safe_8u(s, &srcLen, dst.data(), &len, table.data());
            break;
        case 2:
            st = lumsEncodeLZ4Fast_8u(s, srcLen, dst.data(), &len, table.data(), 1 + param % 40);
            break;
        case 3:
            lumsEncodeLZ4DictHashTableInit_8u(table.data(), 1);
            if (!dict.empty()) lumsEncodeLZ4LoadDict_8u(table.data(), dict.data(), int32_t(dict.size()));
            st = lumsEncodeLZ4DictSafe_8u(s, &srcLen, dst.data(), &len, table.data(),
                                          dict.empty() ? nullptr : dict.data(), int32_t(dict.size()));
            break;
        default:
            st = lumsEncodeLZ4HCDictLimit_8u(s, &srcLen, dst.data(), &len, head.data(), chain.data(), 1 + param % 12,
                                             int32_t(prefix));
            break;
    }
    if (encoder == 0 || encoder == 2) srcLen = int32_t(n);
    return {st, size_t(srcLen), Bytes(dst.data(), dst.data() + (st >= 0 ? len : 0))};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const int encoder = int(in.take(5));
    const int param = int(in.take(1000));
    const size_t capacityPick = in.take(1 << 20);
    const uint32_t splitPick = in.take(0xFFFFFFFFu);
    if (in.size() == 0) return 0;
    const size_t split = splitPick % in.size();  // dictionary or prefix length
    const Bytes all(in.data(), in.data() + in.size());
    // Encoders 3 and 4 take the head of the input as dictionary or prefix.
    const size_t head = encoder >= 3 ? split : 0;
    const Bytes dict = encoder == 3 ? Bytes(all.begin(), all.begin() + ptrdiff_t(head)) : Bytes{};
    const Bytes src = encoder == 3 ? Bytes(all.begin() + ptrdiff_t(head), all.end()) : all;
    const size_t prefix = encoder == 4 ? head : 0;
    const size_t n = src.size() - prefix;
    if (n == 0) return 0;
    const size_t worst = n + n / 255 + 16;
    const bool unbounded = encoder == 0 || encoder == 2;
    const size_t capacity = unbounded ? worst + 64 : 1 + capacityPick % (worst + 8);

    const uint64_t previous = lumcoreSetFeatureMask(0);
    const Outcome portable = encode(encoder, src, prefix, capacity, param, dict);
    for (const auto& v : lumdc::lz4::kEncodeVariants) {
        lumcoreSetFeatureMask(~0ull);
        if (!ownGetFeature(v.features)) continue;
        lumcoreSetFeatureMask(v.features);
        const Outcome o = encode(encoder, src, prefix, capacity, param, dict);
        if (o.status != portable.status || o.consumed != portable.consumed || o.block != portable.block)
            fail("variants disagree", encoder);
    }
    lumcoreSetFeatureMask(previous);

    if (portable.status < 0) fail("encoder failed", encoder);
    if ((portable.status == lumStatusOk) != (portable.consumed == n)) fail("status and consumption disagree", encoder);
    const uint8_t* expect = src.data() + prefix;
    const Bytes& window = encoder == 3 ? dict : Bytes(src.begin(), src.begin() + ptrdiff_t(prefix));
    Bytes out(portable.consumed + 1);
    const int got = LZ4_decompress_safe_usingDict(reinterpret_cast<const char*>(portable.block.data()),
                                                  reinterpret_cast<char*>(out.data()), int(portable.block.size()),
                                                  int(portable.consumed), reinterpret_cast<const char*>(window.data()),
                                                  int(window.size()));
    if (got != int(portable.consumed) || std::memcmp(out.data(), expect, portable.consumed) != 0)
        fail("liblz4 does not decode the block to the source", encoder);
    Bytes ours(window);
    ours.resize(window.size() + portable.consumed + 1);
    int32_t bs = int32_t(portable.block.size()), cap = int32_t(portable.consumed + 1);
    const LumStatus st = lumsDecodeLZ4Dict_8u(portable.block.data(), &bs, ours.data(), int32_t(window.size()), &cap,
                                              window.empty() ? nullptr : ours.data(), int32_t(window.size()));
    if (st < 0 || size_t(cap) != portable.consumed ||
        std::memcmp(ours.data() + window.size(), expect, portable.consumed) != 0)
        fail("our decoder does not decode the block to the source", encoder);
    return 0;
}
