// The fastest Deflate family: the code tables a call builds, the portable kernels
// and the exports of the matcher and of its symbol counter.

#include "deflate_fastest.h"

#include <algorithm>

#include "core/crc32c_hash.h"
#include "core/lz_match.h"
#include "deflate_fastest_core.h"
#include "deflate_window.h"

namespace lumdc::deflate {

void buildFastestCodes(const LumDeflateHuffEntry* litCodes, const LumDeflateHuffEntry* distCodes, FastestCodes& c) {
    buildMergedCodes(litCodes, distCodes, c.m);
    uint16_t fit = 0xFFFF;
    for (uint32_t lv = 0; lv < 256; ++lv) {
        if (lv + 3 >= kFastestMinMatch && codeLen(litCodes[257 + lengthSymbol(lv)]) != 0) fit = uint16_t(lv);
        c.fit[lv] = fit;
    }
    for (uint32_t b = 0; b < 256; ++b) {
        c.litValue[b] = uint16_t(codeValue(litCodes[b]));
        c.litLength[b] = uint8_t(codeLen(litCodes[b]));
    }
    c.eob = uint64_t(codeValue(litCodes[kEndOfBlock])) << 8 | codeLen(litCodes[kEndOfBlock]);
}

namespace {

struct RefOps : PortableMatchOps {
    static uint32_t hash(uint32_t word) { return crc32cWordPortable(0, word); }
};

}  // namespace

namespace ref {
const FastestKernels kFastestKernels = fastestKernelsOf<RefOps>();
}

}  // namespace lumdc::deflate

namespace {

const lumdc::deflate::FastestKernels& fastestKernels() { return *lumdc::pickVariant(lumdc::deflate::kFastestVariants); }

// The most input one call takes: positions stay below 2^31 after renumbering.
constexpr uint32_t kMaxCallInput = 0x7FFF0000;

}  // namespace

extern "C" LUMDC_API LumStatus lumsDeflateLZ77Fastest_8u(const uint8_t** ppSrc, uint32_t* pSrcLen, uint32_t* pSrcIdx,
                                                         const uint8_t* pWindow, int32_t winSize, int32_t* pHashHead,
                                                         int32_t hashSize, const LumDeflateHuffEntry* pLitCodes,
                                                         const LumDeflateHuffEntry* pDistCodes, uint8_t* pDst,
                                                         int32_t* pDstLen, uint16_t* pBitBuf, uint32_t* pBitCount,
                                                         int32_t flush) {
    using namespace lumdc::deflate;
    if (ppSrc == nullptr || pSrcLen == nullptr || pSrcIdx == nullptr || pWindow == nullptr || pHashHead == nullptr ||
        pLitCodes == nullptr || pDistCodes == nullptr || pDst == nullptr || pDstLen == nullptr || pBitBuf == nullptr ||
        pBitCount == nullptr || *ppSrc == nullptr)
        return lumStatusNullPtr;
    if (winSize < 256 || winSize > 32768 || hashSize < 256 || hashSize > 65536 || *pSrcLen > kMaxCallInput)
        return lumStatusSizeErr;
    for (int s = 0; s <= kEndOfBlock; ++s)
        if (pLitCodes[s].len == 0) return lumStatusBadArg;

    rebase(*pSrcIdx, *pSrcLen, winSize, pHashHead, hashSize, nullptr);
    FastestCodes codes;
    buildFastestCodes(pLitCodes, pDistCodes, codes);
    const bool final = flush >= 2;
    const FastestJob job{*ppSrc, *pSrcLen, *pSrcIdx, pWindow, uint32_t(winSize), pHashHead, uint32_t(hashSize - 1),
                         final};
    FastestOutput out{pDst, size_t(std::max(*pDstLen, 0)), 0, *pBitBuf, std::min<uint32_t>(*pBitCount, 32), false};
    // Whole pending bytes go out first, as the coding loop starts with fewer than 8 bits.
    const bool anything = final || *pSrcLen > kFastestHoldBack;
    if (anything && out.n >= 8 && out.room >= kFastestMinRoom) {
        for (; out.n >= 8; out.n -= 8, out.acc >>= 8) pDst[out.produced++] = uint8_t(out.acc);
    }
    size_t consumed = 0;
    if (anything) {
        if (out.n >= 8)
            out.full = true;
        else
            consumed = fastestKernels().code(job, codes, out);
    }
    *ppSrc += consumed;
    *pSrcLen -= uint32_t(consumed);
    *pSrcIdx += uint32_t(consumed);
    *pDstLen = int32_t(out.produced);
    *pBitBuf = uint16_t(out.acc);
    *pBitCount = out.n;
    return out.full ? lumStatusDstFull : lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsDeflateLZ77FastestGetStat_8u(const uint8_t* pSrc, int32_t srcLen,
                                                                LumDeflateHuffEntry* pLitFreq,
                                                                LumDeflateHuffEntry* pDistFreq) {
    using namespace lumdc::deflate;
    if (pSrc == nullptr || pLitFreq == nullptr || pDistFreq == nullptr) return lumStatusNullPtr;
    if (srcLen < 0) return lumStatusSizeErr;
    int32_t head[kStatHashSize];
    std::fill(head, head + kStatHashSize, kNoPosition);
    uint32_t lit[kLitSymbols] = {}, dist[kDistSymbols] = {};
    const FastestJob job{pSrc, uint32_t(srcLen), 0, pSrc, kStatWindow, head, kStatHashSize - 1, true};
    fastestKernels().count(job, lit, dist);
    for (int s = 0; s < kLitSymbols; ++s)
        pLitFreq[s].code = uint16_t(std::min<uint32_t>(pLitFreq[s].code + lit[s], 65535));
    for (int s = 0; s < kDistSymbols; ++s)
        pDistFreq[s].code = uint16_t(std::min<uint32_t>(pDistFreq[s].code + dist[s], 65535));
    return lumStatusOk;
}
