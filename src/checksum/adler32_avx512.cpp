// Adler-32 on 64-byte blocks with AVX-512 VNNI.
//
// Over a block of bytes d[0..63], with a and b the sums before it,
//   a' = a + sum d[i],  b' = b + 64 a + sum (64 - i) d[i].
// Per block we take the byte sum with VPSADBW (into 64-bit lanes, so the running
// sum never overflows) and the weighted sum with VPDPBUSD against the weights
// 64..1, and add the running byte sum to a second accumulator before each block;
// after m blocks, b gains 64 m a0 + 64 (that accumulator) + the weighted sums.
// The weighted sums rotate over four accumulators because VPDPBUSD has a latency
// of several cycles; the other chains are single-cycle additions.
//
// A 32-bit lane of a weighted accumulator gains at most 4 * 64 * 255 per block,
// so chunks of 2^14 blocks (1 MiB) are far from overflow; the chunk totals are
// combined in 64-bit scalars and reduced once per chunk. The last 0 to 63 bytes
// are read with a masked load and corrected for the zero padding, so no byte past
// the end is touched.

#include <immintrin.h>

#include "adler32.h"

namespace lumdc::adler::avx512 {
namespace {

constexpr size_t kChunkBlocks = 1u << 14;

inline __m512i weights() {
    return _mm512_set_epi8(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25,
                           26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 48,
                           49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, 62, 63, 64);
}

// Adds m whole blocks starting at p to the unreduced sums a, b.
void addBlocks(uint64_t& a, uint64_t& b, const uint8_t* p, size_t m) {
    const __m512i zero = _mm512_setzero_si512(), w = weights();
    __m512i s1 = zero, s1s = zero, w0 = zero, w1 = zero, w2 = zero, w3 = zero;
    size_t j = 0;
    for (; j + 4 <= m; j += 4, p += 256) {
        const __m512i d0 = _mm512_loadu_si512(p), d1 = _mm512_loadu_si512(p + 64);
        const __m512i d2 = _mm512_loadu_si512(p + 128), d3 = _mm512_loadu_si512(p + 192);
        s1s = _mm512_add_epi64(s1s, s1);
        s1 = _mm512_add_epi64(s1, _mm512_sad_epu8(d0, zero));
        w0 = _mm512_dpbusd_epi32(w0, d0, w);
        s1s = _mm512_add_epi64(s1s, s1);
        s1 = _mm512_add_epi64(s1, _mm512_sad_epu8(d1, zero));
        w1 = _mm512_dpbusd_epi32(w1, d1, w);
        s1s = _mm512_add_epi64(s1s, s1);
        s1 = _mm512_add_epi64(s1, _mm512_sad_epu8(d2, zero));
        w2 = _mm512_dpbusd_epi32(w2, d2, w);
        s1s = _mm512_add_epi64(s1s, s1);
        s1 = _mm512_add_epi64(s1, _mm512_sad_epu8(d3, zero));
        w3 = _mm512_dpbusd_epi32(w3, d3, w);
    }
    for (; j < m; ++j, p += 64) {
        const __m512i d = _mm512_loadu_si512(p);
        s1s = _mm512_add_epi64(s1s, s1);
        s1 = _mm512_add_epi64(s1, _mm512_sad_epu8(d, zero));
        w0 = _mm512_dpbusd_epi32(w0, d, w);
    }
    const __m512i ws = _mm512_add_epi32(_mm512_add_epi32(w0, w1), _mm512_add_epi32(w2, w3));
    const uint64_t weighted = uint64_t(_mm512_reduce_add_epi64(_mm512_add_epi64(
        _mm512_cvtepu32_epi64(_mm512_castsi512_si256(ws)), _mm512_cvtepu32_epi64(_mm512_extracti64x4_epi64(ws, 1)))));
    b += 64 * m * a + 64 * uint64_t(_mm512_reduce_add_epi64(s1s)) + weighted;
    a += uint64_t(_mm512_reduce_add_epi64(s1));
}

// The last r < 64 bytes as a zero-padded block: the weights 64 - i overcount each
// byte by 64 - r, and the block adds r a to b, not 64 a.
void addTail(uint64_t& a, uint64_t& b, const uint8_t* p, size_t r) {
    const __m512i d = _mm512_maskz_loadu_epi8(_bzhi_u64(~0ull, unsigned(r)), p);
    const uint64_t sum = uint64_t(_mm512_reduce_add_epi64(_mm512_sad_epu8(d, _mm512_setzero_si512())));
    const uint64_t weighted =
        uint64_t(_mm512_reduce_add_epi32(_mm512_dpbusd_epi32(_mm512_setzero_si512(), d, weights())));
    b += r * a + weighted - (64 - r) * sum;
    a += sum;
}

}  // namespace

uint32_t adler32(uint32_t adler, const uint8_t* p, size_t n) {
    uint64_t a = adler & 0xFFFF, b = adler >> 16;
    for (size_t blocks = n / 64; blocks > 0;) {
        const size_t m = blocks < kChunkBlocks ? blocks : kChunkBlocks;
        addBlocks(a, b, p, m);
        a %= kMod;
        b %= kMod;
        p += 64 * m;
        blocks -= m;
    }
    if (n % 64 != 0) addTail(a, b, p, n % 64);
    return uint32_t(b % kMod) << 16 | uint32_t(a % kMod);
}

}  // namespace lumdc::adler::avx512
