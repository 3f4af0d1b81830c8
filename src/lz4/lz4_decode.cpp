// LZ4 block decoding: the portable kernel and the two exports.

#include <cstring>

#include "core/lz_copy.h"
#include "lz4_decode_core.h"

namespace lumdc::lz4 {
namespace {

struct RefOps : ExactLzCopies, PortableLzCopies {};

}  // namespace

namespace ref {
const DecodeKernels kDecodeKernels = kernelsOf<RefOps>();
}  // namespace ref

}  // namespace lumdc::lz4

using lumdc::lz4::DecodeJob;

extern "C" LUMDC_API LumStatus lumsDecodeLZ4_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst, int32_t* pDstLen) {
    if (pSrc == nullptr || pDst == nullptr || pDstLen == nullptr) return lumStatusNullPtr;
    if (srcLen < 1 || *pDstLen < 1) return lumStatusSizeErr;
    const DecodeJob job{pSrc, size_t(srcLen), pDst, size_t(*pDstLen), 0, nullptr};
    size_t consumed = 0, produced = 0;
    const LumStatus status = lumdc::pickVariant(lumdc::lz4::kDecodeVariants)->contiguous(job, &consumed, &produced);
    if (status >= 0) *pDstLen = int32_t(produced);
    return status;
}

extern "C" LUMDC_API LumStatus lumsDecodeLZ4Dict_8u(const uint8_t* pSrc, int32_t* pSrcLen, uint8_t* pDst,
                                                    int32_t startIdx, int32_t* pDstLen, const uint8_t* pDict,
                                                    int32_t dictLen) {
    // The mode is settled first, from the pointers alone.
    const bool none = pDict == nullptr || dictLen == 0;
    const bool adjacent = !none && reinterpret_cast<uintptr_t>(pDict) + uintptr_t(intptr_t(dictLen)) ==
                                       reinterpret_cast<uintptr_t>(pDst) + uintptr_t(intptr_t(startIdx));
    const bool separate = !none && !adjacent;
    if (pSrc == nullptr || pSrcLen == nullptr || pDst == nullptr || pDstLen == nullptr) return lumStatusNullPtr;
    if (*pSrcLen < 1 || *pDstLen < 1) return lumStatusSizeErr;
    if (separate && dictLen < 1) return lumStatusSizeErr;

    const DecodeJob job{pSrc,
                        size_t(*pSrcLen),
                        pDst + startIdx,
                        size_t(*pDstLen),
                        none ? 0 : ptrdiff_t(dictLen),
                        separate ? pDict : nullptr};
    const auto* kernels = lumdc::pickVariant(lumdc::lz4::kDecodeVariants);
    size_t consumed = 0, produced = 0;
    const LumStatus status = (separate ? kernels->separateDict : kernels->contiguous)(job, &consumed, &produced);
    if (status >= 0) {
        *pSrcLen = int32_t(consumed);
        *pDstLen = int32_t(produced);
    }
    return status;
}
