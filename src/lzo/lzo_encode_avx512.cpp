// LZO1X encoding with the crc32 instruction for method 0's hash, mask-register
// compares for match extension (core/lz_match_avx512.h), and method 2's blocks
// sixteen positions to a 512-bit register: one VPERMB spreads the 4 bytes of
// every position into a lane, one gather reads their table entries, a masked
// gather their candidates' bytes, and one scatter enters them, whose writes to a
// shared slot land in lane order, so the latest position wins as in the
// portable probe.

#include <immintrin.h>

#include "core/lz_match_avx512.h"
#include "lzo_encode_core.h"

namespace lumdc::lzo {
namespace {

// Lane j takes bytes j..j+3 of 32.
constexpr struct SpreadIndex {
    alignas(64) uint8_t index[64];
    constexpr SpreadIndex() : index{} {
        for (int j = 0; j < 16; ++j)
            for (int k = 0; k < 4; ++k) index[4 * j + k] = uint8_t(j + k);
    }
} kSpread;

struct Avx512Ops : Avx512MatchOps {
    static uint32_t hash4(uint32_t word) { return _mm_crc32_u32(0, word); }

    static uint64_t probeBlock(const uint8_t* src, size_t p, uint32_t* table, uint32_t* cand) {
        const __m512i spread = _mm512_load_si512(kSpread.index);
        const __m512i golden = _mm512_set1_epi32(0x1824429D);
        const __m512i lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
        const __m512i start = _mm512_set1_epi32(int(p));
        __m512i h[kBlock / 16];
        uint64_t mask = 0;
        for (size_t k = 0; k < kBlock / 16; ++k) {
            const uint8_t* at = src + p + 16 * k;
            const __m512i words = _mm512_permutexvar_epi8(
                spread, _mm512_castsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at))));
            h[k] = _mm512_srli_epi32(_mm512_mullo_epi32(words, golden), 32 - kHashBits);
            const __m512i c = _mm512_i32gather_epi32(h[k], table, 4);
            _mm512_store_si512(cand + 16 * k, c);
            // c < p and pos - c <= kMaxDistance. The distance test alone, on
            // p - 1 - c, would let a stale entry just below 2^32 wrap into reach.
            const __m512i back = _mm512_sub_epi32(_mm512_sub_epi32(start, _mm512_set1_epi32(1)), c);
            const __mmask16 inReach = _mm512_mask_cmplt_epu32_mask(
                _mm512_cmplt_epu32_mask(c, start), back,
                _mm512_sub_epi32(_mm512_set1_epi32(int(kMaxDistance) - 16 * int(k)), lane));
            // Gathered relative to p (c - p): a signed 32-bit index reaches every
            // candidate in sources of any size.
            const __m512i theirs = _mm512_mask_i32gather_epi32(
                _mm512_setzero_si512(), inReach,
                _mm512_sub_epi32(_mm512_setzero_si512(), _mm512_add_epi32(back, _mm512_set1_epi32(1))), src + p, 1);
            const __mmask16 equal = _mm512_mask_cmpeq_epi32_mask(inReach, theirs, words);
            mask |= uint64_t(equal) << (16 * k);
        }
        for (size_t k = 0; k < kBlock / 16; ++k)
            _mm512_i32scatter_epi32(table, h[k],
                                    _mm512_add_epi32(start, _mm512_add_epi32(lane, _mm512_set1_epi32(int(16 * k)))), 4);
        return mask;
    }
};

}  // namespace

namespace avx512 {
const EncodeKernels kEncodeKernels = encodeKernelsOf<Avx512Ops>();
}  // namespace avx512

}  // namespace lumdc::lzo
