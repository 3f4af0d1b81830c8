// LZ4 block encoding: the portable primitives and the exports.

#include <cstring>

#include "core/lz_match.h"
#include "core/mem.h"
#include "lumdc.h"
#include "lz4_encode_core.h"
#include "lz4hc_core.h"

namespace lumdc::lz4 {
namespace {

struct RefOps : PortableMatchOps {
    static uint32_t hash(const uint8_t* p) { return crc32cWordPortable(p[4], load32le(p)); }
    static uint32_t hashWord(uint8_t b4, uint32_t word) { return crc32cWordPortable(b4, word); }
    static uint32_t hash4(const uint8_t* p) { return crc32cWordPortable(0, load32le(p)); }
};

}  // namespace

namespace ref {
const EncodeKernels kEncodeKernels = encodeKernelsOf<RefOps>();
EncodeResult encodeHc(const HcJob& job) { return encodeHcBlock<RefOps>(job); }
}  // namespace ref

}  // namespace lumdc::lz4

using lumdc::lz4::EncodeJob;
using lumdc::lz4::EncodeResult;
using lumdc::lz4::kHashTableBytes;

namespace {

const lumdc::lz4::EncodeKernels& encodeKernels() { return *lumdc::pickVariant(lumdc::lz4::kEncodeVariants); }

// The one-call encoders zero their table first: 4096 16-bit slots below 65536
// source bytes, else 4096 32-bit slots. -8 for a null table.
LumStatus zeroTable(uint8_t* table, int32_t srcLen) {
    if (table == nullptr) return lumStatusNullPtr;
    if (srcLen < 65536) return lumdc::ownZero_16u(reinterpret_cast<uint16_t*>(table), 4096);
    return lumdc::ownZero_32u(reinterpret_cast<uint32_t*>(table), 4096);
}

}  // namespace

extern "C" LUMDC_API LumStatus lumsEncodeLZ4HashTableGetSize_8u(int32_t* pSize) {
    if (pSize == nullptr) return lumStatusNullPtr;
    *pSize = int32_t(kHashTableBytes);
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsEncodeLZ4HashTableInit_8u(uint8_t* pHashTable, int32_t srcLen) {
    if (pHashTable == nullptr) return lumStatusNullPtr;
    if (srcLen < 1) return lumStatusSizeErr;
    return zeroTable(pHashTable, srcLen);
}

extern "C" LUMDC_API LumStatus lumsEncodeLZ4DictHashTableInit_8u(uint8_t* pHashTable, int32_t srcLen) {
    if (pHashTable == nullptr) return lumStatusNullPtr;
    if (srcLen < 1) return lumStatusSizeErr;
    return lumdc::ownZero_32u(reinterpret_cast<uint32_t*>(pHashTable), 4096);
}

extern "C" LUMDC_API LumStatus lumsEncodeLZ4_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst, int32_t* pDstLen,
                                                uint8_t* pHashTable) {
    if (const LumStatus st = zeroTable(pHashTable, srcLen); st != lumStatusOk) return st;
    if (pSrc == nullptr || pDst == nullptr || pDstLen == nullptr) return lumStatusNullPtr;
    if (srcLen < 1) return lumStatusSizeErr;
    const EncodeJob job{pSrc, size_t(srcLen), pDst, 0, pHashTable, 1, nullptr, 0};
    *pDstLen = int32_t(encodeKernels().plain(job).produced);
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsEncodeLZ4Safe_8u(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst,
                                                    int32_t* pDstLen, uint8_t* pHashTable) {
    if (pSrcLen == nullptr) return lumStatusNullPtr;
    if (const LumStatus st = zeroTable(pHashTable, *pSrcLen); st != lumStatusOk) return st;
    if (pSrc == nullptr || pDst == nullptr || pDstLen == nullptr) return lumStatusNullPtr;
    if (*pSrcLen < 1 || *pDstLen < 1) return lumStatusSizeErr;
    const EncodeJob job{pSrc, size_t(*pSrcLen), pDst, size_t(*pDstLen), pHashTable, 1, nullptr, 0};
    const EncodeResult r = encodeKernels().safe(job);
    const bool all = r.consumed == size_t(*pSrcLen);
    *pSrcLen = int32_t(r.consumed);
    *pDstLen = int32_t(r.produced);
    return all ? lumStatusOk : lumStatusDstFull;
}

extern "C" LUMDC_API LumStatus lumsEncodeLZ4Fast_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst,
                                                    int32_t* pDstLen, uint8_t* pHashTable, int32_t accel) {
    // Below 65536 bytes the fast search spreads over 8192 16-bit slots: all of the table.
    if (pHashTable == nullptr) return lumStatusNullPtr;
    lumdc::ownZero_8u(pHashTable, int32_t(kHashTableBytes));
    if (pSrc == nullptr || pDst == nullptr || pDstLen == nullptr) return lumStatusNullPtr;
    if (srcLen < 1) return lumStatusSizeErr;
    if (accel < 1) return lumStatusBadFactor;
    const EncodeJob job{pSrc, size_t(srcLen), pDst, 0, pHashTable, accel, nullptr, 0};
    *pDstLen = int32_t(encodeKernels().fast(job).produced);
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsEncodeLZ4LoadDict_8u(uint8_t* pHashTable, const uint8_t* pDict, int32_t dictLen) {
    if (pHashTable == nullptr || pDict == nullptr) return lumStatusNullPtr;
    if (dictLen < 1) return lumStatusSizeErr;
    encodeKernels().loadDict(reinterpret_cast<uint32_t*>(pHashTable), pDict, size_t(dictLen));
    return lumStatusOk;
}

namespace {

// Both dictionary encoders: checks, then the stale-entry clamp, then one bounded
// block over dictionary + source.
LumStatus encodeWithDict(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst, int32_t* pDstLen, uint8_t* pHashTable,
                         const uint8_t* pDict, int32_t dictLen, EncodeResult& r) {
    if (pSrc == nullptr || pDst == nullptr || pDstLen == nullptr || pHashTable == nullptr ||
        (pDict == nullptr && dictLen != 0))
        return lumStatusNullPtr;
    if (srcLen < 0) return lumStatusBadArg;
    if (*pDstLen < 1 || dictLen < 0) return lumStatusSizeErr;
    // Entries above the dictionary's last position were left by earlier blocks'
    // sources; pinned to that last position they fail every check (a candidate
    // needs four bytes before the dictionary's end) and so can match nothing
    // stale. With no dictionary the limit is -1 and every entry is inert.
    lumdc::ownMinC_32s(reinterpret_cast<int32_t*>(pHashTable), 4096, dictLen - 1);
    const EncodeJob job{pSrc, size_t(srcLen), pDst, size_t(*pDstLen), pHashTable, 1, pDict, size_t(dictLen)};
    r = encodeKernels().dict(job);
    return lumStatusOk;
}

}  // namespace

extern "C" LUMDC_API LumStatus lumsEncodeLZ4Dict_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst,
                                                    int32_t* pDstLen, uint8_t* pHashTable, const uint8_t* pDict,
                                                    int32_t dictLen) {
    EncodeResult r{};
    const LumStatus st = encodeWithDict(pSrc, srcLen, pDst, pDstLen, pHashTable, pDict, dictLen, r);
    if (st != lumStatusOk) return st;
    if (r.consumed < size_t(srcLen)) {  // all or nothing
        *pDstLen = 0;
        return lumStatusDstFull;
    }
    *pDstLen = int32_t(r.produced);
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsEncodeLZ4DictSafe_8u(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst,
                                                        int32_t* pDstLen, uint8_t* pHashTable, const uint8_t* pDict,
                                                        int32_t dictLen) {
    if (pSrcLen == nullptr) return lumStatusNullPtr;
    EncodeResult r{};
    const LumStatus st = encodeWithDict(pSrc, *pSrcLen, pDst, pDstLen, pHashTable, pDict, dictLen, r);
    if (st != lumStatusOk) return st;
    const bool all = r.consumed == size_t(*pSrcLen);
    *pSrcLen = int32_t(r.consumed);
    *pDstLen = int32_t(r.produced);
    return all ? lumStatusOk : lumStatusDstFull;
}
