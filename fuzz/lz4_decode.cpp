// Both LZ4 decoders in every dictionary mode, every variant the processor has,
// against the by-the-book reference: same status, lengths and defined bytes.
// Source, destination and dictionary sit flush against guard pages, so any read
// or write outside them faults. Parameters come from the input's tail: the mode,
// the capacity (often near the decoded size), the dictionary length.

#include "lz4/lz4_decode.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "guarded_buffer.h"
#include "lumcore.h"
#include "lumdc.h"
#include "lz4_reference.h"

namespace {

enum Mode { kPlain, kNoDict, kAdjacent, kSeparate };

void check(const std::string& difference, const char* variant, int mode) {
    if (difference.empty()) return;
    std::fprintf(stderr, "variant %s, mode %d: %s\n", variant, mode, difference.c_str());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const int mode = int(in.take(4));
    const size_t capacityPick = in.take(1 << 20);
    const size_t dictLen = mode >= kAdjacent ? std::min<size_t>(in.take(70000) + 1, in.size() / 2) : 0;
    if (in.size() <= dictLen) return 0;
    const std::vector<uint8_t> dict(in.data(), in.data() + dictLen);
    const uint8_t* block = in.data() + dictLen;
    const size_t blockLen = in.size() - dictLen;
    // Capacities around what a block of this size could decode to, and small ones.
    const size_t capacity = 1 + (capacityPick % 3 == 0 ? capacityPick % 64 : capacityPick % (4 * blockLen + 300));

    const auto ref = lumtest::lz4ReferenceDecode(block, blockLen, capacity, dict);
    lumtest::GuardedBuffer src(blockLen), separate(dictLen ? dictLen : 1, lumtest::GuardedBuffer::Flush::Start);
    std::copy(block, block + blockLen, src.data());
    std::copy(dict.begin(), dict.end(), separate.data());

    const uint64_t previous = lumcoreSetFeatureMask(~0ull);
    for (const auto& v : lumdc::lz4::kDecodeVariants) {
        if (!ownGetFeature(v.features)) continue;
        lumcoreSetFeatureMask(v.features);
        lumtest::GuardedBuffer window(dictLen + capacity);
        std::copy(dict.begin(), dict.end(), window.data());
        int32_t srcLen = int32_t(blockLen), len = int32_t(capacity);
        LumStatus st;
        if (mode == kPlain) {
            st = lumsDecodeLZ4_8u(src.data(), srcLen, window.data(), &len);
        } else {
            const uint8_t* d = mode == kNoDict ? nullptr : mode == kAdjacent ? window.data() : separate.data();
            st = lumsDecodeLZ4Dict_8u(src.data(), &srcLen, window.data(), int32_t(dictLen), &len, d, int32_t(dictLen));
        }
        if (st < 0 && (len != int32_t(capacity) || srcLen != int32_t(blockLen)))
            check("lengths changed on error", v.name, mode);
        check(lumtest::lz4Difference(ref, st, size_t(srcLen), size_t(len), window.data() + dictLen, mode != kPlain),
              v.name, mode);
        lumcoreSetFeatureMask(~0ull);
    }
    lumcoreSetFeatureMask(previous);
    return 0;
}
