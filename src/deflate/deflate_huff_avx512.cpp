// The record writer's fast loop for AVX-512-level machines: eight records at a
// time find their merged values with two gathers and a few 64-bit lane
// operations (the same arithmetic as recordBits() in deflate_huff_core.h, lane by
// lane), which leaves the scalar loop only the packing of values into the
// accumulator. Records past the last whole group of eight go the scalar way.

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
    const __m512i k256 = _mm512_set1_epi64(256), k255 = _mm512_set1_epi64(255);
    const __m512i k127 = _mm512_set1_epi64(127), k7fff = _mm512_set1_epi64(0x7FFF), k1 = _mm512_set1_epi64(1);
    alignas(64) uint64_t value[8], length[8];
    size_t i = begin;
    for (; i + 8 <= end; i += 8) {
        const __m512i d = _mm512_cvtepu16_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i*>(dist + i)));
        const __m512i l = _mm512_cvtepu8_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(lit + i)));
        const __mmask8 isMatch = _mm512_test_epi64_mask(d, d);
        const __m512i e1 = _mm512_i64gather_epi64(_mm512_mask_add_epi64(l, isMatch, l, k256), m.litLen, 8);
        const __m512i dm1 = _mm512_and_si512(_mm512_sub_epi64(d, k1), k7fff);
        const __mmask8 small = _mm512_cmplt_epu64_mask(dm1, k256);
        __m512i slot = _mm512_mask_blend_epi64(small, _mm512_add_epi64(k256, _mm512_srli_epi64(dm1, 7)), dm1);
        slot = _mm512_mask_blend_epi64(isMatch, k256, slot);
        const __m512i e2 = _mm512_i64gather_epi64(slot, m.dist, 8);
        const __m512i v2 = _mm512_add_epi64(
            _mm512_srai_epi64(e2, 16),
            _mm512_sllv_epi64(_mm512_and_si512(dm1, k127), _mm512_and_si512(_mm512_srli_epi64(e2, 8), k255)));
        const __m512i len1 = _mm512_and_si512(e1, k255);
        _mm512_store_si512(value, _mm512_or_si512(_mm512_srai_epi64(e1, 16), _mm512_sllv_epi64(v2, len1)));
        _mm512_store_si512(length, _mm512_add_epi64(len1, _mm512_and_si512(e2, k255)));
        for (int k = 0; k < 8; k += 2) {
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

namespace avx512 {
const HuffKernels kHuffKernels = {writeRecordsWide};
}

}  // namespace lumdc::deflate
