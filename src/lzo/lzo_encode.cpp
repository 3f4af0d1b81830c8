// LZO1X encoding: the portable kernels and the three exports.

#include "core/lz_match.h"
#include "lzo_encode_core.h"

namespace lumdc::lzo {
namespace {

struct RefOps : PortableMatchOps {
    static uint32_t hash4(uint32_t word) { return crc32cWordPortable(0, word); }
    static uint64_t probeBlock(const uint8_t* src, size_t p, uint32_t* table, uint32_t* cand) {
        return probeBlockPortable(src, p, table, cand);
    }
};

}  // namespace

namespace ref {
const EncodeKernels kEncodeKernels = encodeKernelsOf<RefOps>();
}  // namespace ref

namespace {

constexpr uint32_t kMethodHash = 0, kMethodVector = 2;

}  // namespace
}  // namespace lumdc::lzo

using namespace lumdc::lzo;

extern "C" LUMDC_API LumStatus lumsEncodeLZOGetSize(uint32_t method, uint32_t maxSrcLen, uint32_t* pSize) {
    (void)maxSrcLen;
    if (pSize == nullptr) return lumStatusNullPtr;
    if (method > kMethodVector) {
        *pSize = 0;
        return lumStatusBadArg;
    }
    *pSize = kStateBytes;
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsEncodeLZOInit_8u(uint32_t method, uint32_t maxSrcLen, LumLzoEncodeState* pState) {
    (void)maxSrcLen;
    if (pState == nullptr) return lumStatusNullPtr;
    if (method > kMethodVector) return lumStatusBadArg;
    pState->method = method == kMethodVector ? kMethodVector : kMethodHash;
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsEncodeLZO_8u(const uint8_t* pSrc, uint32_t srcLen, uint8_t* pDst, uint32_t* pDstLen,
                                                LumLzoEncodeState* pState) {
    if (pSrc == nullptr || pDst == nullptr || pDstLen == nullptr || pState == nullptr) return lumStatusNullPtr;
    if (srcLen == 0) {
        *pDstLen = 0;
        return lumStatusOk;
    }
    if (pState->method != kMethodHash && pState->method != kMethodVector) return lumStatusBadArg;
    const EncodeKernels* kernels = lumdc::pickVariant(kEncodeVariants);
    const EncodeJob job{pSrc, srcLen, pDst, *pDstLen, pState->hashTable};
    const EncodeResult r = (pState->method == kMethodHash ? kernels->hash : kernels->vector)(job);
    *pDstLen = uint32_t(r.produced);
    return r.status;
}
