// ZFP block kernels with AVX-512: the block is four 16-lane registers, one per
// plane z, and stays in registers from load to bit planes.
//
// Each lifting pass runs across the four registers, so before it the axis being
// transformed must be the register index. Two involutions bring each axis there:
// a 4x4 transpose of 32-bit elements inside every 128-bit lane (exchanging the
// register index with the element index) and a 4x4 transpose of 128-bit lanes
// (exchanging it with the lane index). Forward, from (register z, lane y,
// element x): the first gives x, the second y, the first again z; the
// coefficients then sit at register fz, lane fx, element fy.
//
// The sequency order and the plane split are one step: VPERMT2B gathers byte t
// of all 64 coefficients in coded order into one register (two gathers of two
// registers each, blended), and its bit planes are the sign bits of its bytes,
// read eight times with a doubling in between. Decoding runs the same steps
// backwards.

#include <immintrin.h>

#include "zfp/zfp.h"
#include "zfp/zfp_fast_read.h"

namespace lumdc::zfp::avx512 {
namespace {

struct Block {
    __m512i r[4];
};

inline void transposeElements(Block& b) {
    const __m512i t0 = _mm512_unpacklo_epi32(b.r[0], b.r[1]), t1 = _mm512_unpacklo_epi32(b.r[2], b.r[3]);
    const __m512i t2 = _mm512_unpackhi_epi32(b.r[0], b.r[1]), t3 = _mm512_unpackhi_epi32(b.r[2], b.r[3]);
    b.r[0] = _mm512_unpacklo_epi64(t0, t1);
    b.r[1] = _mm512_unpackhi_epi64(t0, t1);
    b.r[2] = _mm512_unpacklo_epi64(t2, t3);
    b.r[3] = _mm512_unpackhi_epi64(t2, t3);
}

inline void transposeLanes(Block& b) {
    const __m512i a = _mm512_shuffle_i32x4(b.r[0], b.r[1], 0x44), c = _mm512_shuffle_i32x4(b.r[2], b.r[3], 0x44);
    const __m512i d = _mm512_shuffle_i32x4(b.r[0], b.r[1], 0xEE), e = _mm512_shuffle_i32x4(b.r[2], b.r[3], 0xEE);
    b.r[0] = _mm512_shuffle_i32x4(a, c, 0x88);
    b.r[1] = _mm512_shuffle_i32x4(a, c, 0xDD);
    b.r[2] = _mm512_shuffle_i32x4(d, e, 0x88);
    b.r[3] = _mm512_shuffle_i32x4(d, e, 0xDD);
}

inline __m512i asr1(__m512i v) { return _mm512_srai_epi32(v, 1); }

inline void forwardLift(Block& blk) {
    __m512i a = blk.r[0], b = blk.r[1], c = blk.r[2], d = blk.r[3];
    a = asr1(_mm512_add_epi32(a, d));
    d = _mm512_sub_epi32(d, a);
    c = asr1(_mm512_add_epi32(c, b));
    b = _mm512_sub_epi32(b, c);
    a = asr1(_mm512_add_epi32(a, c));
    c = _mm512_sub_epi32(c, a);
    d = asr1(_mm512_add_epi32(d, b));
    b = _mm512_sub_epi32(b, d);
    d = _mm512_add_epi32(d, asr1(b));
    b = _mm512_sub_epi32(b, asr1(d));
    blk.r[0] = a, blk.r[1] = b, blk.r[2] = c, blk.r[3] = d;
}

inline void inverseLift(Block& blk) {
    __m512i a = blk.r[0], b = blk.r[1], c = blk.r[2], d = blk.r[3];
    b = _mm512_add_epi32(b, asr1(d));
    d = _mm512_sub_epi32(d, asr1(b));
    b = _mm512_add_epi32(b, d);
    d = _mm512_sub_epi32(_mm512_add_epi32(d, d), b);
    c = _mm512_add_epi32(c, a);
    a = _mm512_sub_epi32(_mm512_add_epi32(a, a), c);
    b = _mm512_add_epi32(b, c);
    c = _mm512_sub_epi32(_mm512_add_epi32(c, c), b);
    d = _mm512_add_epi32(d, a);
    a = _mm512_sub_epi32(_mm512_add_epi32(a, a), d);
    blk.r[0] = a, blk.r[1] = b, blk.r[2] = c, blk.r[3] = d;
}

// Byte indexes for VPERMT2B, both ways between the transformed layout (register
// fz, 32-bit lane 4 fx + fy) and the byte registers B_t (byte i: byte t of coded
// coefficient i). A two-register gather reaches registers {0, 1} or {2, 3}, so
// the index names the register's low bit and a blend picks the pair.
constexpr struct PlaneIndex {
    alignas(64) uint8_t gather[4][64];   // into B_t from the coefficient registers
    alignas(64) uint8_t scatter[4][64];  // into register fz from the B_t
    uint64_t upperPair = 0;              // coded positions whose fz is 2 or 3
    constexpr PlaneIndex() : gather{}, scatter{} {
        uint8_t codedAt[64] = {};
        for (int i = 0; i < 64; ++i) codedAt[kPerm[i]] = uint8_t(i);
        for (int i = 0; i < 64; ++i) {
            const int c = kPerm[i], fx = c & 3, fy = (c >> 2) & 3, fz = c >> 4;
            for (int t = 0; t < 4; ++t) gather[t][i] = uint8_t((fz & 1) * 64 + (4 * fx + fy) * 4 + t);
            if (fz >= 2) upperPair |= uint64_t(1) << i;
        }
        for (int fz = 0; fz < 4; ++fz)
            for (int fx = 0; fx < 4; ++fx)
                for (int fy = 0; fy < 4; ++fy)
                    for (int t = 0; t < 4; ++t)
                        scatter[fz][(4 * fx + fy) * 4 + t] = uint8_t((t & 1) * 64 + codedAt[fx + 4 * fy + 16 * fz]);
    }
} kIndex;
constexpr uint64_t kUpperBytes = 0xCCCCCCCCCCCCCCCCull;  // bytes 2 and 3 of every 32-bit lane

inline __m512i loadPlane(const uint8_t* p, ptrdiff_t step) {
    if (step == 16) return _mm512_loadu_si512(p);
    __m512i v = _mm512_castsi128_si512(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    v = _mm512_inserti32x4(v, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + step)), 1);
    v = _mm512_inserti32x4(v, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2 * step)), 2);
    return _mm512_inserti32x4(v, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 3 * step)), 3);
}

inline void storePlane(uint8_t* p, ptrdiff_t step, __m512 v) {
    if (step == 16) return _mm512_storeu_ps(p, v);
    _mm_storeu_ps(reinterpret_cast<float*>(p), _mm512_castps512_ps128(v));
    _mm_storeu_ps(reinterpret_cast<float*>(p + step), _mm512_extractf32x4_ps(v, 1));
    _mm_storeu_ps(reinterpret_cast<float*>(p + 2 * step), _mm512_extractf32x4_ps(v, 2));
    _mm_storeu_ps(reinterpret_cast<float*>(p + 3 * step), _mm512_extractf32x4_ps(v, 3));
}

int32_t forward(const uint8_t* src, ptrdiff_t step, ptrdiff_t planeStep, int32_t maxPrec, int32_t minExp,
                uint64_t* planes) {
    Block b;
    for (int z = 0; z < 4; ++z) b.r[z] = loadPlane(src + z * planeStep, step);
    const __m512i magnitude = _mm512_set1_epi32(0x7FFFFFFF);
    __m512i m[4];
    for (int z = 0; z < 4; ++z) m[z] = _mm512_and_si512(b.r[z], magnitude);
    const __m512i largest = _mm512_max_epu32(_mm512_max_epu32(m[0], m[1]), _mm512_max_epu32(m[2], m[3]));
    const int32_t emax = blockExponent(uint32_t(_mm512_reduce_max_epu32(largest)));
    if (isEmptyBlock(emax, maxPrec, minExp)) return emax;

    const __m512 scale = _mm512_castsi512_ps(_mm512_set1_epi32(int(forwardScaleBits(emax))));
    for (auto& r : b.r) r = _mm512_cvttps_epi32(_mm512_mul_ps(_mm512_castsi512_ps(r), scale));
    transposeElements(b);
    forwardLift(b);
    transposeLanes(b);
    forwardLift(b);
    transposeElements(b);
    forwardLift(b);

    const __m512i nb = _mm512_set1_epi32(int(kNegabinary));
    for (auto& r : b.r) r = _mm512_xor_si512(_mm512_add_epi32(r, nb), nb);
    for (int t = 3; t >= 0; --t) {
        const __m512i index = _mm512_load_si512(kIndex.gather[t]);
        __m512i bytes = _mm512_mask_blend_epi8(kIndex.upperPair, _mm512_permutex2var_epi8(b.r[0], index, b.r[1]),
                                               _mm512_permutex2var_epi8(b.r[2], index, b.r[3]));
        for (int j = 7; j >= 0; --j) {
            planes[8 * t + j] = _mm512_movepi8_mask(bytes);
            bytes = _mm512_add_epi8(bytes, bytes);
        }
    }
    return emax;
}

void inverse(const uint64_t* planes, uint32_t biasedExp, uint8_t* dst, ptrdiff_t step, ptrdiff_t planeStep) {
    const __m512i one = _mm512_set1_epi8(1);
    __m512i bytes[4];
    for (int t = 0; t < 4; ++t) {
        __m512i v = _mm512_setzero_si512();
        for (int j = 7; j >= 0; --j) {
            const __m512i doubled = _mm512_add_epi8(v, v);
            v = _mm512_mask_add_epi8(doubled, planes[8 * t + j], doubled, one);
        }
        bytes[t] = v;
    }
    Block b;
    const __m512i nb = _mm512_set1_epi32(int(kNegabinary));
    for (int fz = 0; fz < 4; ++fz) {
        const __m512i index = _mm512_load_si512(kIndex.scatter[fz]);
        const __m512i u = _mm512_mask_blend_epi8(kUpperBytes, _mm512_permutex2var_epi8(bytes[0], index, bytes[1]),
                                                 _mm512_permutex2var_epi8(bytes[2], index, bytes[3]));
        b.r[fz] = _mm512_sub_epi32(_mm512_xor_si512(u, nb), nb);
    }
    inverseLift(b);
    transposeElements(b);
    inverseLift(b);
    transposeLanes(b);
    inverseLift(b);
    transposeElements(b);

    const __m512 scale = _mm512_castsi512_ps(_mm512_set1_epi32(int(inverseScaleBits(biasedExp))));
    for (int z = 0; z < 4; ++z) storePlane(dst + z * planeStep, step, _mm512_mul_ps(_mm512_cvtepi32_ps(b.r[z]), scale));
}

}  // namespace

const Kernels kKernels = {forward, inverse, readBlockFast<Bmi2ReadOps>};

}  // namespace lumdc::zfp::avx512
