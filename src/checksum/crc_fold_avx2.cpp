// 32-byte carry-less folding (VPCLMULQDQ on 256-bit vectors) for all three CRCs.

#include "crc_fold.h"

namespace lumdc::crc {
namespace {

struct V256 {
    using T = __m256i;
    static constexpr size_t kWidth = 32;
    static T load(const uint8_t* p) { return _mm256_loadu_si256(reinterpret_cast<const T*>(p)); }
    static T withState(T v, uint32_t c) {
        return _mm256_xor_si256(v, _mm256_zextsi128_si256(_mm_cvtsi32_si128(int(c))));
    }
    static T reverseLanes(T v) { return _mm256_shuffle_epi8(v, _mm256_broadcastsi128_si256(reverseIndex128())); }
    static T broadcast(FoldConst k) { return _mm256_broadcastsi128_si256(const128(k)); }
    static T fold(T a, T k, T next) {
        const T lo = _mm256_clmulepi64_epi128(a, k, 0x00);
        const T hi = _mm256_clmulepi64_epi128(a, k, 0x11);
        return _mm256_xor_si256(_mm256_xor_si256(lo, hi), next);
    }
    static __m128i reduce(T a, const FoldConst (&k)[2]) {
        return fold128(_mm256_castsi256_si128(a), const128(k[0]), _mm256_extracti128_si256(a, 1));
    }
};

}  // namespace

namespace avx2 {
uint32_t crc32(uint32_t c, const uint8_t* p, size_t n) { return foldCrc<V256, Crc32Fold>(c, p, n); }
uint32_t bz2(uint32_t c, const uint8_t* p, size_t n) { return foldCrc<V256, Bz2Fold>(c, p, n); }
uint32_t crc32c(uint32_t c, const uint8_t* p, size_t n) { return foldCrc<V256, Crc32cFold>(c, p, n); }
}  // namespace avx2

}  // namespace lumdc::crc
