// Deflate LZ77 matching: entering positions without matching, the preset
// dictionary, and the dense alphabet of the byte values in use.

#include <cstdint>
#include <cstring>

#include "core/isa.h"
#include "deflate/deflate_lz77.h"
#include "lumdc.h"

namespace {

using lumdc::deflate::kMatchVariants;

bool sizesInRange(uint32_t winSize, uint32_t hashSize) {
    return winSize >= 256 && winSize <= 32768 && hashSize >= 256 && hashSize <= 65536;
}

// Mode 0's rolling 3-byte hash into the head table, positions pos .. pos + n - 1.
void enterRolling(const uint8_t* src, uint32_t pos, uint32_t n, int32_t* head, uint32_t hashMask) {
    uint32_t h = uint32_t(src[0]) << 5 ^ src[1];
    for (uint32_t i = 0; i < n; ++i) {
        h = (h << 5 ^ src[i + 2]) & hashMask;
        head[h] = int32_t(pos + i);
    }
}

// Enters the n positions from pos, keys read from src[0, n + 2 or 3).
void enter(const uint8_t* src, uint32_t pos, uint32_t n, int32_t* head, uint32_t hashSize, int32_t* chain,
           uint32_t winSize, uint32_t mode) {
    if (mode == 0)
        enterRolling(src, pos, n, head, hashSize - 1);
    else
        lumdc::pickVariant(kMatchVariants)->enter(src, pos, n, head, hashSize - 1, chain, winSize - 1);
}

}  // namespace

extern "C" LUMDC_API LumStatus lumsDeflateUpdateHash_8u(const uint8_t* pSrc, uint32_t srcIdx, uint32_t srcLen,
                                                        int32_t* pHashHead, uint32_t hashSize, int32_t* pHashPrev,
                                                        uint32_t winSize, uint32_t mode) {
    if (pSrc == nullptr || pHashHead == nullptr || pHashPrev == nullptr) return lumStatusNullPtr;
    if (!sizesInRange(winSize, hashSize)) return lumStatusSizeErr;
    const uint32_t keyLen = mode == 0 ? 3 : 4;
    if (srcLen < keyLen) return lumStatusOk;
    enter(pSrc, srcIdx, srcLen - (keyLen - 1), pHashHead, hashSize, pHashPrev, winSize, mode);
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsDeflateDictionarySet_8u(const uint8_t* pDict, uint32_t dictLen, int32_t* pHashHead,
                                                           uint32_t hashSize, int32_t* pHashPrev, uint8_t* pWindow,
                                                           uint32_t winSize, uint32_t mode) {
    if (pDict == nullptr || pHashHead == nullptr || pHashPrev == nullptr || pWindow == nullptr) return lumStatusNullPtr;
    if (!sizesInRange(winSize, hashSize)) return lumStatusSizeErr;
    if (dictLen < (mode == 0 ? 3u : 4u)) return lumStatusOk;
    const uint32_t n = dictLen < winSize ? dictLen : winSize;
    std::memmove(pWindow, pDict + (dictLen - n), n);
    // The last 257 bytes stay out of the tables, as the matchers leave the
    // positions they hold back: position n - 258 is the last whose longest
    // match and last key the copy holds.
    if (n >= 258) enter(pWindow, 0, n - 257, pHashHead, hashSize, pHashPrev, winSize, mode);
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsReduceDictionary_8u_I(const uint8_t* pInUse, uint8_t* pSrcDst, int32_t len,
                                                         uint32_t* pSize) {
    if (pInUse == nullptr || pSrcDst == nullptr || pSize == nullptr) return lumStatusNullPtr;
    if (len < 1) return lumStatusSizeErr;
    uint8_t rank[256];
    uint32_t total = 0;
    for (int b = 0; b < 256; ++b) {
        rank[b] = uint8_t(total);
        total += pInUse[b];
    }
    *pSize = total;
    for (int32_t i = 0; i < len; ++i) pSrcDst[i] = rank[pSrcDst[i]];
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsExpandDictionary_8u_I(const uint8_t* pInUse, uint8_t* pSrcDst, int32_t len,
                                                         int32_t size) {
    if (pInUse == nullptr || pSrcDst == nullptr) return lumStatusNullPtr;
    if (len < 1 || size < 1) return lumStatusSizeErr;
    // Ranks are bytes: a later value of the same rank (mod 256) replaces an
    // earlier one, so each rank maps back to the largest byte value having it.
    uint8_t value[256] = {};
    uint32_t total = 0;
    for (int b = 0; b < 256; ++b) {
        value[total & 0xFF] = uint8_t(b);
        total += pInUse[b];
    }
    if (total != uint32_t(size)) return lumStatusDataErr;
    for (int32_t i = 0; i < len; ++i) pSrcDst[i] = value[pSrcDst[i]];
    return lumStatusOk;
}
