// The record writer's fast loop for AVX2-level machines: four records at a time
// find their merged values with two gathers and 64-bit lane operations (the same
// arithmetic as recordBits() in deflate_huff_core.h; there is no arithmetic shift
// of 64-bit lanes, so the signed distance value is taken modulo 2^48, where the
// sum comes out right), which leaves the scalar loop only the packing. Records
// past the last whole group of four go the scalar way.

#include <immintrin.h>

#include "deflate_huff_core.h"

namespace lumdc::deflate {
namespace {

void writeRecordsWide(const uint8_t* lit, const uint16_t* dist, size_t begin, size_t end, const MergedCodes& m,
                      BitState& s) {
    uint8_t* out = s.dst + s.out;
    uint64_t acc = s.acc;
    uint32_t n = s.n;
    const auto put = [&](uint64_t v, uint32_t len) {
        acc |= v << n;
        n += len;
        store64le(out, acc);
        out += n >> 3;
        acc >>= n & 56;
        n &= 7;
    };
    const __m256i k256 = _mm256_set1_epi64x(256), k255 = _mm256_set1_epi64x(255), k127 = _mm256_set1_epi64x(127);
    const __m256i k7fff = _mm256_set1_epi64x(0x7FFF), k1 = _mm256_set1_epi64x(1), zero = _mm256_setzero_si256();
    const __m256i low48 = _mm256_set1_epi64x((int64_t(1) << 48) - 1);
    const auto* litLen = reinterpret_cast<const long long*>(m.litLen);
    const auto* distTable = reinterpret_cast<const long long*>(m.dist);
    alignas(32) uint64_t value[4], length[4];
    size_t i = begin;
    for (; i + 4 <= end; i += 4) {
        uint64_t d4, l4;
        std::memcpy(&d4, dist + i, 8);
        uint32_t l32;
        std::memcpy(&l32, lit + i, 4);
        l4 = l32;
        const __m256i d = _mm256_cvtepu16_epi64(_mm_cvtsi64_si128(int64_t(d4)));
        const __m256i l = _mm256_cvtepu8_epi64(_mm_cvtsi64_si128(int64_t(l4)));
        const __m256i isMatch = _mm256_xor_si256(_mm256_cmpeq_epi64(d, zero), _mm256_set1_epi64x(-1));
        const __m256i e1 = _mm256_i64gather_epi64(litLen, _mm256_add_epi64(l, _mm256_and_si256(isMatch, k256)), 8);
        const __m256i dm1 = _mm256_and_si256(_mm256_sub_epi64(d, k1), k7fff);
        // dm1 < 256 as a signed compare: both sides are small.
        const __m256i small = _mm256_cmpgt_epi64(k256, dm1);
        __m256i slot = _mm256_blendv_epi8(_mm256_add_epi64(k256, _mm256_srli_epi64(dm1, 7)), dm1, small);
        slot = _mm256_blendv_epi8(k256, slot, isMatch);
        const __m256i e2 = _mm256_i64gather_epi64(distTable, slot, 8);
        const __m256i v2 = _mm256_and_si256(
            _mm256_add_epi64(
                _mm256_srli_epi64(e2, 16),
                _mm256_sllv_epi64(_mm256_and_si256(dm1, k127), _mm256_and_si256(_mm256_srli_epi64(e2, 8), k255))),
            low48);
        const __m256i len1 = _mm256_and_si256(e1, k255);
        _mm256_store_si256(reinterpret_cast<__m256i*>(value),
                           _mm256_or_si256(_mm256_srli_epi64(e1, 16), _mm256_sllv_epi64(v2, len1)));
        _mm256_store_si256(reinterpret_cast<__m256i*>(length), _mm256_add_epi64(len1, _mm256_and_si256(e2, k255)));
        for (int k = 0; k < 4; k += 2) {
            const uint32_t len0 = uint32_t(length[k]), lenB = uint32_t(length[k + 1]);
            if (len0 + lenB <= 56) [[likely]] {
                put(value[k] | value[k + 1] << len0, len0 + lenB);
            } else {
                put(value[k], len0);
                put(value[k + 1], lenB);
            }
        }
    }
    s.out = uint32_t(out - s.dst);
    s.acc = acc;
    s.n = n;
    writeRecordsTable<false>(lit, dist, i, end, m, s);
}

}  // namespace

namespace avx2 {
const HuffKernels kHuffKernels = {writeRecordsWide};
}

}  // namespace lumdc::deflate
