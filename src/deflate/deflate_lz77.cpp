// Deflate LZ77 matching: the three matcher exports (checks, renumbering, the
// level table, the call's symbol counts), and the portable kernels.

#include "deflate/deflate_lz77.h"

#include <bit>
#include <cstdint>

#include "core/crc32c_hash.h"
#include "core/lz_match.h"
#include "deflate/deflate_lz77_kernels.h"
#include "deflate/deflate_window.h"
#include "lumdc.h"

namespace lumdc::deflate {
namespace {

struct PortableOps : PortableMatchOps {
    using Key = uint64_t;
    static constexpr uint32_t kBlock = 8;

    static uint32_t crc(uint32_t word) { return crc32cWordPortable(0, word); }
    static Key key(const uint8_t* a) { return read64(a); }
    static uint32_t prefix(Key a, const uint8_t* b) {
        const uint64_t x = a ^ read64(b);
        return x != 0 ? uint32_t(std::countr_zero(x)) / 8 : 8;
    }
    // 8-byte words up to byte 255, then bytes 256 and 257.
    static uint32_t matchFrom(const uint8_t* a, const uint8_t* b, uint32_t k) {
        for (; k < 256; k += 8) {
            const uint64_t x = read64(a + k) ^ read64(b + k);
            if (x != 0) return k + uint32_t(std::countr_zero(x)) / 8;
        }
        if (a[256] != b[256]) return 256;
        return a[257] == b[257] ? 258 : 257;
    }
};

}  // namespace

namespace ref {
const MatchKernels kMatchKernels = matchKernelsOf<PortableOps>();
}

namespace {

// Chain, good, nice, insert or lazy limit; the last digit of the level picks
// the matcher (0-4 greedy, 5-9 lazy).
constexpr DeflateMatchParams kLevels[30] = {
    {0, 0, 0, 0},    {4, 8, 8, 8},      {4, 16, 16, 9},    {4, 16, 16, 12},     {48, 32, 32, 16},
    {32, 8, 32, 16}, {128, 8, 256, 16}, {144, 8, 256, 16}, {192, 32, 258, 128}, {256, 32, 258, 258},
    {0, 0, 0, 0},    {3, 7, 8, 258},    {3, 8, 16, 258},   {5, 8, 16, 258},     {16, 32, 32, 258},
    {24, 6, 32, 16}, {120, 7, 256, 16}, {140, 7, 256, 16}, {192, 32, 258, 128}, {512, 32, 258, 258},
    {0, 0, 0, 0},    {4, 8, 8, 258},    {4, 16, 16, 258},  {4, 16, 16, 258},    {16, 32, 32, 258},
    {32, 8, 32, 16}, {128, 8, 256, 16}, {144, 8, 256, 16}, {192, 32, 258, 128}, {512, 32, 258, 258},
};

struct Call {
    const uint8_t** ppSrc;
    uint32_t* pSrcLen;
    uint32_t* pSrcIdx;
    const uint8_t* pWindow;
    int32_t winSize;
    int32_t* pHashHead;
    int32_t* pHashPrev;
    int32_t hashSize;
    LumDeflateHuffEntry* pLitFreq;
    LumDeflateHuffEntry* pDistFreq;
    uint8_t* pLitDst;
    uint16_t* pDistDst;
    int32_t* pDstLen;
    int32_t flush;
};

bool anyNull(const Call& c) {
    return c.ppSrc == nullptr || c.pSrcLen == nullptr || c.pSrcIdx == nullptr || c.pWindow == nullptr ||
           c.pHashHead == nullptr || c.pHashPrev == nullptr || c.pLitFreq == nullptr || c.pDistFreq == nullptr ||
           c.pLitDst == nullptr || c.pDistDst == nullptr || c.pDstLen == nullptr || *c.ppSrc == nullptr;
}

bool sizesInRange(int32_t winSize, int32_t hashSize) {
    return winSize >= 256 && winSize <= 32768 && hashSize >= 256 && hashSize <= 65536;
}

bool greedyParamsValid(const DeflateMatchParams& p) {
    return p.chain >= 0 && (p.chain == 0 || (p.good >= 4 && p.nice >= 4 && p.limit >= 4));
}
bool lazyParamsValid(const DeflateMatchParams& p) { return p.chain >= 1 && p.good >= 4 && p.nice >= 4 && p.limit >= 4; }

// Everything after the checks.
LumStatus match(const Call& c, const DeflateMatchParams& prm, bool lazy) {
    const bool chained = lazy || prm.chain > 0;
    uint32_t idx = *c.pSrcIdx;
    rebase(idx, *c.pSrcLen, c.winSize, c.pHashHead, c.hashSize, chained ? c.pHashPrev : nullptr);
    uint32_t litCounts[kLitSymbols] = {}, distCounts[kDistSymbols] = {};
    const MatchJob job{*c.ppSrc,
                       c.pWindow,
                       *c.pSrcLen,
                       idx,
                       uint32_t(c.winSize) - 1,
                       uint32_t(c.hashSize) - 1,
                       c.pHashHead,
                       c.pHashPrev,
                       c.pLitDst,
                       c.pDistDst,
                       *c.pDstLen > 0 ? uint32_t(*c.pDstLen) : 0,
                       prm,
                       c.flush >= 2,
                       litCounts,
                       distCounts};
    MatchResult res{0, 0};
    if (job.room > 0) {
        const MatchKernels& k = *pickVariant(kMatchVariants);
        res = (lazy ? k.lazy : chained ? k.greedy : k.rolling)(job);
    }
    if (res.written > 0) {
        // Counts wrap at 65536 as they would one by one.
        for (int s = 0; s < kLitSymbols; ++s) c.pLitFreq[s].code = uint16_t(c.pLitFreq[s].code + litCounts[s]);
        for (int s = 0; s < kDistSymbols; ++s) c.pDistFreq[s].code = uint16_t(c.pDistFreq[s].code + distCounts[s]);
    }
    *c.ppSrc += res.consumed;
    *c.pSrcLen -= res.consumed;
    *c.pSrcIdx = idx + res.consumed;
    *c.pDstLen -= int32_t(res.written);
    return lumStatusOk;
}

}  // namespace
}  // namespace lumdc::deflate

using lumdc::deflate::Call;

extern "C" LUMDC_API LumStatus lumsDeflateLZ77_8u(const uint8_t** ppSrc, uint32_t* pSrcLen, uint32_t* pSrcIdx,
                                                  const uint8_t* pWindow, int32_t winSize, int32_t* pHashHead,
                                                  int32_t* pHashPrev, int32_t hashSize, LumDeflateHuffEntry* pLitFreq,
                                                  LumDeflateHuffEntry* pDistFreq, uint8_t* pLitDst, uint16_t* pDistDst,
                                                  int32_t* pDstLen, int32_t compLevel, int32_t flush) {
    const Call c{ppSrc,    pSrcLen,  pSrcIdx,   pWindow, winSize,  pHashHead, pHashPrev,
                 hashSize, pLitFreq, pDistFreq, pLitDst, pDistDst, pDstLen,   flush};
    if (anyNull(c)) return lumStatusNullPtr;
    if (!lumdc::deflate::sizesInRange(winSize, hashSize) || uint32_t(compLevel) > 29) return lumStatusSizeErr;
    return lumdc::deflate::match(c, lumdc::deflate::kLevels[compLevel], compLevel % 10 >= 5);
}

extern "C" LUMDC_API LumStatus lumsDeflateLZ77Fast_8u(const uint8_t** ppSrc, uint32_t* pSrcLen, uint32_t* pSrcIdx,
                                                      const uint8_t* pWindow, int32_t winSize, int32_t* pHashHead,
                                                      int32_t* pHashPrev, int32_t hashSize,
                                                      LumDeflateHuffEntry* pLitFreq, LumDeflateHuffEntry* pDistFreq,
                                                      uint8_t* pLitDst, uint16_t* pDistDst, int32_t* pDstLen,
                                                      const DeflateMatchParams* pParams, int32_t flush) {
    const Call c{ppSrc,    pSrcLen,  pSrcIdx,   pWindow, winSize,  pHashHead, pHashPrev,
                 hashSize, pLitFreq, pDistFreq, pLitDst, pDistDst, pDstLen,   flush};
    if (anyNull(c) || pParams == nullptr) return lumStatusNullPtr;
    if (!lumdc::deflate::sizesInRange(winSize, hashSize)) return lumStatusSizeErr;
    const DeflateMatchParams prm = *pParams;
    if (!lumdc::deflate::greedyParamsValid(prm)) return lumStatusBadArg;
    return lumdc::deflate::match(c, prm, false);
}

extern "C" LUMDC_API LumStatus lumsDeflateLZ77Slow_8u(const uint8_t** ppSrc, uint32_t* pSrcLen, uint32_t* pSrcIdx,
                                                      const uint8_t* pWindow, int32_t winSize, int32_t* pHashHead,
                                                      int32_t* pHashPrev, int32_t hashSize,
                                                      LumDeflateHuffEntry* pLitFreq, LumDeflateHuffEntry* pDistFreq,
                                                      uint8_t* pLitDst, uint16_t* pDistDst, int32_t* pDstLen,
                                                      const DeflateMatchParams* pParams, int32_t flush) {
    const Call c{ppSrc,    pSrcLen,  pSrcIdx,   pWindow, winSize,  pHashHead, pHashPrev,
                 hashSize, pLitFreq, pDistFreq, pLitDst, pDistDst, pDstLen,   flush};
    if (anyNull(c) || pParams == nullptr) return lumStatusNullPtr;
    if (!lumdc::deflate::sizesInRange(winSize, hashSize)) return lumStatusSizeErr;
    const DeflateMatchParams prm = *pParams;
    if (!lumdc::deflate::lazyParamsValid(prm)) return lumStatusBadArg;
    return lumdc::deflate::match(c, prm, true);
}
