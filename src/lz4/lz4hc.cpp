// LZ4 high-compression encoding: the exports.

#include "lz4hc.h"

#include "core/mem.h"
#include "lumdc.h"

using lumdc::lz4::EncodeResult;
using lumdc::lz4::HcJob;
using lumdc::lz4::kHcChainBytes;
using lumdc::lz4::kHcHeadBytes;

extern "C" LUMDC_API LumStatus lumsEncodeLZ4HCHashTableGetSize_8u(int32_t* pHashSize, int32_t* pChainSize) {
    if (pHashSize == nullptr || pChainSize == nullptr) return lumStatusNullPtr;
    *pHashSize = int32_t(kHcHeadBytes);
    *pChainSize = int32_t(kHcChainBytes);
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsEncodeLZ4HCHashTableInit_8u(uint8_t* pHashTable, uint8_t* pChainTable) {
    if (pHashTable == nullptr || pChainTable == nullptr) return lumStatusNullPtr;
    lumdc::ownZero_32u(reinterpret_cast<uint32_t*>(pHashTable), int32_t(kHcHeadBytes / 4));
    lumdc::ownZero_32u(reinterpret_cast<uint32_t*>(pChainTable), int32_t(kHcChainBytes / 4));
    return lumStatusOk;
}

namespace {

LumStatus encodeHc(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst, int32_t* pDstLen, uint8_t* pHashTable,
                   uint8_t* pChainTable, int32_t level, int32_t prefixLen) {
    if (pSrc == nullptr || pSrcLen == nullptr || pDst == nullptr || pDstLen == nullptr || pHashTable == nullptr ||
        pChainTable == nullptr)
        return lumStatusNullPtr;
    if (*pSrcLen < 1 || *pDstLen < 1) return lumStatusSizeErr;
    if (level < 1 || level > 12 || prefixLen < 0) return lumStatusBadArg;
    auto* head = reinterpret_cast<uint32_t*>(pHashTable);
    lumdc::ownZero_32u(head, int32_t(kHcHeadBytes / 4));
    const HcJob job{pSrc,
                    size_t(*pSrcLen),
                    size_t(prefixLen),
                    pDst,
                    size_t(*pDstLen),
                    head,
                    reinterpret_cast<uint32_t*>(pChainTable),
                    level};
    const EncodeResult r = lumdc::pickVariant(lumdc::lz4::kHcVariants)(job);
    const bool all = r.consumed == size_t(*pSrcLen);
    *pSrcLen = int32_t(r.consumed);
    *pDstLen = int32_t(r.produced);
    return all ? lumStatusOk : lumStatusDstFull;
}

}  // namespace

extern "C" LUMDC_API LumStatus lumsEncodeLZ4HC_8u(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst,
                                                  int32_t* pDstLen, uint8_t* pHashTable, uint8_t* pChainTable,
                                                  int32_t level) {
    return encodeHc(pSrc, pSrcLen, pDst, pDstLen, pHashTable, pChainTable, level, 0);
}

extern "C" LUMDC_API LumStatus lumsEncodeLZ4HCDictLimit_8u(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst,
                                                           int32_t* pDstLen, uint8_t* pHashTable, uint8_t* pChainTable,
                                                           int32_t level, int32_t dictLimit) {
    return encodeHc(pSrc, pSrcLen, pDst, pDstLen, pHashTable, pChainTable, level, dictLimit);
}
