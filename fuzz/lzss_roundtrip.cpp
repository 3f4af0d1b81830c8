// LZSS encode and decode of the input with both sides cut into pieces the input
// chooses: the stream is the same for every split and every encoder variant,
// the flush ends it, and decoding gives back the input. After every call the
// encoder keeps its contract: 33 only with source left and the output used up,
// 0 only with the source all taken, and no more input taken in than 260 bytes
// beyond the positions coded (so a destination piece of one byte is enough to
// make progress).

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "lumcore.h"
#include "lumdc.h"
#include "lzss/lzss.h"

namespace {

using Bytes = std::vector<uint8_t>;

void fail(const char* what, const char* variant = "") {
    std::fprintf(stderr, "%s %s\n", variant, what);
    std::abort();
}

// Piece lengths in [1, step], varying call by call when `vary` is set.
struct Pieces {
    size_t step;
    uint64_t seed;
    bool vary;

    size_t next() {
        if (!vary) return step;
        seed = seed * 6364136223846793005ull + 1442695040888963407ull;
        return 1 + size_t(seed >> 33) % step;
    }
};

void checkContract(LumLzssState* st, LumStatus s, int32_t srcLeft, int32_t room, uint64_t taken) {
    const auto& h = *reinterpret_cast<const lumdc::lzss::Header*>(st);
    if (s != lumStatusOk && s != lumStatusDstFull) fail("encode status");
    if (s == lumStatusDstFull && (srcLeft == 0 || room != 0)) fail("33 with no source left or room left");
    if (s == lumStatusOk && srcLeft != 0) fail("0 with source left");
    if (h.position + h.filled != taken) fail("the record holds other input than was taken");
    if (taken > h.position + h.cursor + lumdc::lzss::kLookahead) fail("input taken far beyond the coded positions");
    if (h.bitCount < 0 || h.bitCount > 31) fail("pending bits out of range");
}

Bytes encode(const Bytes& data, Pieces srcPieces, Pieces dstPieces) {
    std::vector<uint64_t> record(327744 / 8);
    auto* st = reinterpret_cast<LumLzssState*>(record.data());
    lumsEncodeLZSSInit_8u(st);
    Bytes out(data.size() * 9 / 8 + 16);
    uint8_t* dst = out.data();
    const uint8_t* src = data.data();
    for (size_t at = 0; at < data.size();) {
        int32_t len = int32_t(std::min(srcPieces.next(), data.size() - at));
        const uint8_t* before = src;
        while (len > 0) {
            int32_t room = int32_t(std::min<size_t>(dstPieces.next(), size_t(out.data() + out.size() - dst)));
            const LumStatus s = lumsEncodeLZSS_8u(&src, &len, &dst, &room, st);
            checkContract(st, s, len, room, uint64_t(src - data.data()));
        }
        at += size_t(src - before);
    }
    for (LumStatus s = lumStatusDstFull; s == lumStatusDstFull;) {
        int32_t room =
            int32_t(std::max<size_t>(1, std::min<size_t>(dstPieces.next(), size_t(out.data() + out.size() - dst))));
        s = lumsEncodeLZSSFlush_8u(&dst, &room, st);
        if (s != lumStatusOk && s != lumStatusDstFull) fail("flush status");
    }
    out.resize(size_t(dst - out.data()));
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lumfuzz::Input in(data, size);
    const size_t srcStep = 1 + in.take(in.take(2) ? 16 : 5000);
    const size_t dstStep = 1 + in.take(in.take(2) ? 16 : 5000);
    const uint32_t vary = in.take(4), seed = in.take(0xFFFFFFFF);
    const Pieces srcPieces{srcStep, seed, (vary & 1) != 0}, dstPieces{dstStep, seed ^ 0x9E3779B9u, (vary & 2) != 0};
    const size_t keep = srcStep < 64 || dstStep < 64 ? std::min<size_t>(in.size(), 3000) : in.size();
    const Bytes input(in.data(), in.data() + keep);

    const Bytes whole = encode(input, {input.size() + 1, 0, false}, {input.size() * 2 + 64, 0, false});
    const uint64_t previous = lumcoreSetFeatureMask(~0ull);
    for (const auto& v : lumdc::lzss::kEncodeVariants) {
        lumcoreSetFeatureMask(~0ull);
        if (!ownGetFeature(v.features)) continue;
        lumcoreSetFeatureMask(v.features);
        if (encode(input, srcPieces, dstPieces) != whole) fail("a split or a variant writes another stream", v.name);
    }
    lumcoreSetFeatureMask(previous);

    std::vector<uint64_t> record(327744 / 8);
    auto* st = reinterpret_cast<LumLzssState*>(record.data());
    lumsDecodeLZSSInit_8u(st);
    Bytes out(input.size() + 1);
    const uint8_t* s = whole.data();
    uint8_t* d = out.data();
    int32_t sLen = int32_t(whole.size()), dLen = int32_t(out.size());
    if (lumsDecodeLZSS_8u(&s, &sLen, &d, &dLen, st) != lumStatusOk) fail("decode status");
    if (size_t(d - out.data()) != input.size() || !std::equal(input.begin(), input.end(), out.begin()))
        fail("the round trip changed the data");
    return 0;
}
