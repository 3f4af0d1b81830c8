// Adler-32 on 32-byte blocks with AVX2.
//
// The same decomposition as the AVX-512 kernel (see adler32_avx512.cpp) with
// weights 32..1: VPMADDUBSW multiplies and adds byte pairs into 16-bit lanes (at
// most 255 * (32 + 31) = 16065, so its saturation never triggers) and VPMADDWD
// widens pairs of those into 32-bit lanes, at most 32130 per block, so 2^15-block
// chunks stay far from overflow. The last 0 to 31 bytes are summed one by one.

#include <immintrin.h>

#include "adler32.h"

namespace lumdc::adler::avx2 {
namespace {

constexpr size_t kChunkBlocks = 1u << 15;

uint64_t sum64(__m256i v) {
    const __m128i s = _mm_add_epi64(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    return uint64_t(_mm_cvtsi128_si64(s)) + uint64_t(_mm_extract_epi64(s, 1));
}

void addBlocks(uint64_t& a, uint64_t& b, const uint8_t* p, size_t m) {
    const __m256i zero = _mm256_setzero_si256(), ones = _mm256_set1_epi16(1);
    const __m256i w = _mm256_set_epi8(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23,
                                      24, 25, 26, 27, 28, 29, 30, 31, 32);
    __m256i s1 = zero, s1s = zero, w0 = zero, w1 = zero;
    size_t j = 0;
    for (; j + 2 <= m; j += 2, p += 64) {
        const __m256i d0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
        const __m256i d1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 32));
        s1s = _mm256_add_epi64(s1s, s1);
        s1 = _mm256_add_epi64(s1, _mm256_sad_epu8(d0, zero));
        w0 = _mm256_add_epi32(w0, _mm256_madd_epi16(_mm256_maddubs_epi16(d0, w), ones));
        s1s = _mm256_add_epi64(s1s, s1);
        s1 = _mm256_add_epi64(s1, _mm256_sad_epu8(d1, zero));
        w1 = _mm256_add_epi32(w1, _mm256_madd_epi16(_mm256_maddubs_epi16(d1, w), ones));
    }
    if (j < m) {
        const __m256i d = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
        s1s = _mm256_add_epi64(s1s, s1);
        s1 = _mm256_add_epi64(s1, _mm256_sad_epu8(d, zero));
        w0 = _mm256_add_epi32(w0, _mm256_madd_epi16(_mm256_maddubs_epi16(d, w), ones));
    }
    const __m256i ws = _mm256_add_epi32(w0, w1);
    const __m256i wide = _mm256_add_epi64(_mm256_cvtepu32_epi64(_mm256_castsi256_si128(ws)),
                                          _mm256_cvtepu32_epi64(_mm256_extracti128_si256(ws, 1)));
    b += 32 * m * a + 32 * sum64(s1s) + sum64(wide);
    a += sum64(s1);
}

}  // namespace

uint32_t adler32(uint32_t adler, const uint8_t* p, size_t n) {
    uint64_t a = adler & 0xFFFF, b = adler >> 16;
    for (size_t blocks = n / 32; blocks > 0;) {
        const size_t m = blocks < kChunkBlocks ? blocks : kChunkBlocks;
        addBlocks(a, b, p, m);
        a %= kMod;
        b %= kMod;
        p += 32 * m;
        blocks -= m;
    }
    for (size_t r = n % 32; r > 0; --r, ++p) {
        a += *p;
        b += a;
    }
    return uint32_t(b % kMod) << 16 | uint32_t(a % kMod);
}

}  // namespace lumdc::adler::avx2
