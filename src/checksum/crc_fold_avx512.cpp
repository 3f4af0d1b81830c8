// 64-byte carry-less folding (VPCLMULQDQ on 512-bit vectors) for all three CRCs:
// four vectors of four lanes, 256 bytes per step, two products and one ternary
// XOR per vector. The bzip2 CRC folds GFNI-mirrored bytes (see crc_fold.h).

#include "crc_fold.h"

namespace lumdc::crc {
namespace {

struct V512 {
    using T = __m512i;
    static constexpr size_t kWidth = 64;
    static T load(const uint8_t* p) { return _mm512_loadu_si512(p); }
    static T withState(T v, uint32_t c) {
        return _mm512_xor_si512(v, _mm512_zextsi128_si512(_mm_cvtsi32_si128(int(c))));
    }
    static T reverseLanes(T v) { return _mm512_shuffle_epi8(v, _mm512_broadcast_i32x4(reverseIndex128())); }
    // GF2P8AFFINEQB with this matrix reverses the bits of every byte.
    static constexpr long long kMirror = 0x8040201008040201ll;
    static T mirrorBits(T v) { return _mm512_gf2p8affine_epi64_epi8(v, _mm512_set1_epi64(kMirror), 0); }
    static __m128i mirrorBits128(__m128i v) { return _mm_gf2p8affine_epi64_epi8(v, _mm_set1_epi64x(kMirror), 0); }
    static T broadcast(FoldConst k) { return _mm512_broadcast_i32x4(const128(k)); }
    static T fold(T a, T k, T next) {
        return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(a, k, 0x00), _mm512_clmulepi64_epi128(a, k, 0x11),
                                         next, 0x96);
    }
    // One pair of products moves lanes 0-2 onto lane 3 at once; lane 3's
    // multipliers are zero, so its products vanish and the lane is added as is.
    static __m128i reduce(T a, const FoldConst (&k)[4]) {
        const T kv = _mm512_set_epi64(int64_t(k[3].hi), int64_t(k[3].lo), int64_t(k[2].hi), int64_t(k[2].lo),
                                      int64_t(k[1].hi), int64_t(k[1].lo), int64_t(k[0].hi), int64_t(k[0].lo));
        const T f = _mm512_xor_si512(_mm512_clmulepi64_epi128(a, kv, 0x00), _mm512_clmulepi64_epi128(a, kv, 0x11));
        const __m128i x01 = _mm_xor_si128(_mm512_extracti32x4_epi32(f, 0), _mm512_extracti32x4_epi32(f, 1));
        const __m128i x23 = _mm_xor_si128(_mm512_extracti32x4_epi32(f, 2), _mm512_extracti32x4_epi32(a, 3));
        return _mm_xor_si128(x01, x23);
    }
};

}  // namespace

namespace avx512 {
uint32_t crc32(uint32_t c, const uint8_t* p, size_t n) { return foldCrc<V512, Crc32Fold>(c, p, n); }
uint32_t bz2(uint32_t c, const uint8_t* p, size_t n) { return foldCrc<V512, Bz2MirroredFold>(c, p, n); }
uint32_t crc32c(uint32_t c, const uint8_t* p, size_t n) { return foldCrc<V512, Crc32cFold>(c, p, n); }
}  // namespace avx512

}  // namespace lumdc::crc
