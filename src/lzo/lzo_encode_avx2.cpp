// LZO1X encoding with the crc32 instruction for method 0's hash, 32-byte compares
// for match extension (core/lz_match_avx2.h), and method 2's blocks looked up in
// eight gathers of eight lanes.

#include <immintrin.h>

#include "core/lz_match_avx2.h"
#include "lzo_encode_core.h"

namespace lumdc::lzo {
namespace {

// a < b for unsigned 32-bit lanes.
inline __m256i below(__m256i a, __m256i b) {
    const __m256i sign = _mm256_set1_epi32(int(0x80000000u));
    return _mm256_cmpgt_epi32(_mm256_xor_si256(b, sign), _mm256_xor_si256(a, sign));
}

struct Avx2Ops : Avx2MatchOps {
    static uint32_t hash4(uint32_t word) { return _mm_crc32_u32(0, word); }

    static uint64_t probeBlock(const uint8_t* src, size_t p, uint32_t* table, uint32_t* cand) {
        // Lane j of a half holds the 4 bytes at j: the low 128 bits from at, the
        // high ones from at + 4, each shuffled to bytes j..j+3 of its own 16.
        const __m256i spread = _mm256_setr_epi8(0, 1, 2, 3, 1, 2, 3, 4, 2, 3, 4, 5, 3, 4, 5, 6, 0, 1, 2, 3, 1, 2, 3, 4,
                                                2, 3, 4, 5, 3, 4, 5, 6);
        const __m256i golden = _mm256_set1_epi32(0x1824429D);
        const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
        const __m256i last = _mm256_set1_epi32(int(p - 1));
        alignas(32) uint32_t h[kBlock];
        uint64_t mask = 0;
        for (size_t g = 0; g < kBlock; g += 8) {
            const uint8_t* at = src + p + g;
            const __m256i words = _mm256_shuffle_epi8(
                _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(at + 4), reinterpret_cast<const __m128i*>(at)),
                spread);
            const __m256i hv = _mm256_srli_epi32(_mm256_mullo_epi32(words, golden), 32 - kHashBits);
            _mm256_store_si256(reinterpret_cast<__m256i*>(h + g), hv);
            const __m256i c = _mm256_i32gather_epi32(reinterpret_cast<const int*>(table), hv, 4);
            _mm256_store_si256(reinterpret_cast<__m256i*>(cand + g), c);
            // c < p and pos - c <= kMaxDistance. The distance test alone, on
            // p - 1 - c, would let a stale entry just below 2^32 wrap into reach.
            const __m256i back = _mm256_sub_epi32(last, c);
            const __m256i inReach =
                _mm256_and_si256(below(c, _mm256_set1_epi32(int(p))),
                                 below(back, _mm256_sub_epi32(_mm256_set1_epi32(int(kMaxDistance - g)), lane)));
            // Gathered relative to p (c - p): a signed 32-bit index reaches every
            // candidate in sources of any size.
            const __m256i theirs =
                _mm256_mask_i32gather_epi32(_mm256_setzero_si256(), reinterpret_cast<const int*>(src + p),
                                            _mm256_sub_epi32(_mm256_set1_epi32(-1), back), inReach, 1);
            const __m256i equal = _mm256_and_si256(inReach, _mm256_cmpeq_epi32(theirs, words));
            mask |= uint64_t(uint32_t(_mm256_movemask_ps(_mm256_castsi256_ps(equal)))) << g;
        }
        for (size_t j = 0; j < kBlock; ++j) table[h[j]] = uint32_t(p + j);
        return mask;
    }
};

}  // namespace

namespace avx2 {
const EncodeKernels kEncodeKernels = encodeKernelsOf<Avx2Ops>();
}  // namespace avx2

}  // namespace lumdc::lzo
