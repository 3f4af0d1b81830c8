// LZ4 block decoding: the portable copy primitives and the two exports.

#include <cstring>

#include "lz4_decode_core.h"

namespace lumdc::lz4 {
namespace {

// Portable copies in 8- and 16-byte moves (see lz4_decode_core.h for how far they
// may run past n). Offsets below 8 repeat a 16-byte pattern built once, stored at
// the largest multiple of the offset that fits in 16 bytes.
struct RefOps : ExactCopies {
    static void copyShortLiterals(uint8_t* dst, const uint8_t* src) { std::memcpy(dst, src, 16); }

    static void copyLiterals(uint8_t* dst, const uint8_t* src, size_t n) {
        for (size_t i = 0; i < n; i += 16) std::memcpy(dst + i, src + i, 16);
    }

    static void copyShortMatch(uint8_t* dst, size_t d, size_t n) {
        if (d >= n) {  // all of it is history: one move, loaded before it is stored
            uint8_t piece[32];
            std::memcpy(piece, dst - d, 32);
            std::memcpy(dst, piece, 32);
        } else if (d != 0) {
            copyMatch(dst, d, n);
        }
    }

    static void copyMatch(uint8_t* dst, size_t d, size_t n) {
        const uint8_t* m = dst - d;
        if (d >= 16) {
            for (size_t i = 0; i < n; i += 16) std::memcpy(dst + i, m + i, 16);
        } else if (d >= 8) {
            for (size_t i = 0; i < n; i += 8) std::memcpy(dst + i, m + i, 8);
        } else {
            uint8_t pattern[16];
            std::memcpy(pattern, m, d);
            for (size_t j = d; j < 16; ++j) pattern[j] = pattern[j - d];
            const size_t stride = 16 - 16 % d;
            for (size_t i = 0; i < n; i += stride) std::memcpy(dst + i, pattern, 16);
        }
    }
};
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
