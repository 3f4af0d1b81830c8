// ZFP block kernels with AVX2: the AVX-512 kernel's plan (see zfp_avx512.cpp) on
// pairs of 256-bit registers, each pair one plane z of 16 lanes (rows 0 and 1 in
// the low register, 2 and 3 in the high one). The element transposes work per
// 128-bit lane as before; the lane transposes become VPERM2I128 between pairs.
//
// Without VPERMT2B the sequency order goes through memory: the transformed block
// is stored and read back in coded order by eight gathers. The bytes of the
// coefficients are then grouped by a byte shuffle, a dword permute and a 4x4
// transpose of 64-bit pieces, so that two registers hold byte t of all 64, and
// their sign bits are the planes, eight per byte. Decoding expands each plane's
// bits back into bytes and runs the steps in reverse.

#include <immintrin.h>

#include "zfp/zfp.h"
#include "zfp/zfp_fast_read.h"

namespace lumdc::zfp::avx2 {
namespace {

struct Pair {
    __m256i lo, hi;
};
struct Block {
    Pair r[4];
};

template <class F>
inline void eachHalf(Block& b, F f) {
    __m256i lo[4] = {b.r[0].lo, b.r[1].lo, b.r[2].lo, b.r[3].lo};
    __m256i hi[4] = {b.r[0].hi, b.r[1].hi, b.r[2].hi, b.r[3].hi};
    f(lo);
    f(hi);
    for (int i = 0; i < 4; ++i) b.r[i] = {lo[i], hi[i]};
}

inline void transposeElements(__m256i* r) {
    const __m256i t0 = _mm256_unpacklo_epi32(r[0], r[1]), t1 = _mm256_unpacklo_epi32(r[2], r[3]);
    const __m256i t2 = _mm256_unpackhi_epi32(r[0], r[1]), t3 = _mm256_unpackhi_epi32(r[2], r[3]);
    r[0] = _mm256_unpacklo_epi64(t0, t1);
    r[1] = _mm256_unpackhi_epi64(t0, t1);
    r[2] = _mm256_unpacklo_epi64(t2, t3);
    r[3] = _mm256_unpackhi_epi64(t2, t3);
}

// Register r, 128-bit lane l takes register l, lane r: lanes 0 and 1 of a pair
// are its low register, 2 and 3 its high one.
inline void transposeLanes(Block& b) {
    Block out;
    for (int r = 0; r < 4; ++r) {
        const auto half = [&](int l) { return r < 2 ? b.r[l].lo : b.r[l].hi; };
        if (r & 1)
            out.r[r] = {_mm256_permute2x128_si256(half(0), half(1), 0x31),
                        _mm256_permute2x128_si256(half(2), half(3), 0x31)};
        else
            out.r[r] = {_mm256_permute2x128_si256(half(0), half(1), 0x20),
                        _mm256_permute2x128_si256(half(2), half(3), 0x20)};
    }
    b = out;
}

inline __m256i asr1(__m256i v) { return _mm256_srai_epi32(v, 1); }

inline void forwardLift(__m256i* r) {
    __m256i a = r[0], b = r[1], c = r[2], d = r[3];
    a = asr1(_mm256_add_epi32(a, d));
    d = _mm256_sub_epi32(d, a);
    c = asr1(_mm256_add_epi32(c, b));
    b = _mm256_sub_epi32(b, c);
    a = asr1(_mm256_add_epi32(a, c));
    c = _mm256_sub_epi32(c, a);
    d = asr1(_mm256_add_epi32(d, b));
    b = _mm256_sub_epi32(b, d);
    d = _mm256_add_epi32(d, asr1(b));
    b = _mm256_sub_epi32(b, asr1(d));
    r[0] = a, r[1] = b, r[2] = c, r[3] = d;
}

inline void inverseLift(__m256i* r) {
    __m256i a = r[0], b = r[1], c = r[2], d = r[3];
    b = _mm256_add_epi32(b, asr1(d));
    d = _mm256_sub_epi32(d, asr1(b));
    b = _mm256_add_epi32(b, d);
    d = _mm256_sub_epi32(_mm256_add_epi32(d, d), b);
    c = _mm256_add_epi32(c, a);
    a = _mm256_sub_epi32(_mm256_add_epi32(a, a), c);
    b = _mm256_add_epi32(b, c);
    c = _mm256_sub_epi32(_mm256_add_epi32(c, c), b);
    d = _mm256_add_epi32(d, a);
    a = _mm256_sub_epi32(_mm256_add_epi32(a, a), d);
    r[0] = a, r[1] = b, r[2] = c, r[3] = d;
}

// The transformed block stored as 64 dwords (register fz, lane 4 fx + fy) and the
// coded order: coded position i is stored dword kCodedFrom[i].
constexpr struct CodedIndex {
    alignas(32) int32_t from[64];  // stored dword of coded position i
    alignas(32) int32_t to[64];    // coded position of stored dword j
    constexpr CodedIndex() : from{}, to{} {
        for (int i = 0; i < 64; ++i) {
            const int c = kPerm[i], fx = c & 3, fy = (c >> 2) & 3, fz = c >> 4;
            from[i] = 16 * fz + 4 * fx + fy;
            to[16 * fz + 4 * fx + fy] = i;
        }
    }
} kCoded;

// Byte t of the four dwords of each 128-bit lane into dword t (its own inverse).
inline __m256i groupBytes(__m256i v) {
    const __m256i pattern = _mm256_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 0, 4, 8, 12, 1, 5, 9,
                                             13, 2, 6, 10, 14, 3, 7, 11, 15);
    return _mm256_shuffle_epi8(v, pattern);
}

// The 4x4 transpose of 64-bit pieces across four registers (its own inverse).
inline void transposeQwords(__m256i* r) {
    const __m256i t0 = _mm256_unpacklo_epi64(r[0], r[1]), t1 = _mm256_unpackhi_epi64(r[0], r[1]);
    const __m256i t2 = _mm256_unpacklo_epi64(r[2], r[3]), t3 = _mm256_unpackhi_epi64(r[2], r[3]);
    r[0] = _mm256_permute2x128_si256(t0, t2, 0x20);
    r[1] = _mm256_permute2x128_si256(t1, t3, 0x20);
    r[2] = _mm256_permute2x128_si256(t0, t2, 0x31);
    r[3] = _mm256_permute2x128_si256(t1, t3, 0x31);
}

inline Pair loadPlane(const uint8_t* p, ptrdiff_t step) {
    if (step == 16)
        return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)),
                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 32))};
    const auto row = [&](int y) { return reinterpret_cast<const __m128i*>(p + y * step); };
    return {_mm256_loadu2_m128i(row(1), row(0)), _mm256_loadu2_m128i(row(3), row(2))};
}

inline void storePlane(uint8_t* p, ptrdiff_t step, __m256 lo, __m256 hi) {
    if (step == 16) {
        _mm256_storeu_ps(reinterpret_cast<float*>(p), lo);
        _mm256_storeu_ps(reinterpret_cast<float*>(p + 32), hi);
        return;
    }
    const auto row = [&](int y) { return reinterpret_cast<float*>(p + y * step); };
    _mm256_storeu2_m128(row(1), row(0), lo);
    _mm256_storeu2_m128(row(3), row(2), hi);
}

int32_t forward(const uint8_t* src, ptrdiff_t step, ptrdiff_t planeStep, int32_t maxPrec, int32_t minExp,
                uint64_t* planes) {
    Block b;
    for (int z = 0; z < 4; ++z) b.r[z] = loadPlane(src + z * planeStep, step);
    const __m256i magnitude = _mm256_set1_epi32(0x7FFFFFFF);
    __m256i m = _mm256_setzero_si256();
    for (const Pair& p : b.r)
        m = _mm256_max_epu32(m, _mm256_max_epu32(_mm256_and_si256(p.lo, magnitude), _mm256_and_si256(p.hi, magnitude)));
    __m128i m4 = _mm_max_epu32(_mm256_castsi256_si128(m), _mm256_extracti128_si256(m, 1));
    m4 = _mm_max_epu32(m4, _mm_shuffle_epi32(m4, 0x4E));
    m4 = _mm_max_epu32(m4, _mm_shuffle_epi32(m4, 0xB1));
    const int32_t emax = blockExponent(uint32_t(_mm_cvtsi128_si32(m4)));
    if (isEmptyBlock(emax, maxPrec, minExp)) return emax;

    const __m256 scale = _mm256_castsi256_ps(_mm256_set1_epi32(int(forwardScaleBits(emax))));
    for (Pair& p : b.r) {
        p.lo = _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_castsi256_ps(p.lo), scale));
        p.hi = _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_castsi256_ps(p.hi), scale));
    }
    eachHalf(b, [](__m256i* r) {
        transposeElements(r);
        forwardLift(r);
    });
    transposeLanes(b);
    eachHalf(b, [](__m256i* r) {
        forwardLift(r);
        transposeElements(r);
        forwardLift(r);
    });

    const __m256i nb = _mm256_set1_epi32(int(kNegabinary));
    alignas(32) int32_t stored[64];
    for (int fz = 0; fz < 4; ++fz) {
        _mm256_store_si256(reinterpret_cast<__m256i*>(stored + 16 * fz),
                           _mm256_xor_si256(_mm256_add_epi32(b.r[fz].lo, nb), nb));
        _mm256_store_si256(reinterpret_cast<__m256i*>(stored + 16 * fz + 8),
                           _mm256_xor_si256(_mm256_add_epi32(b.r[fz].hi, nb), nb));
    }
    // Byte t of coded coefficients 8j..8j+7 into 64-bit piece t of d[j].
    const __m256i pieces = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    __m256i d[8];
    for (int j = 0; j < 8; ++j) {
        const __m256i coded =
            _mm256_i32gather_epi32(stored, _mm256_load_si256(reinterpret_cast<const __m256i*>(kCoded.from + 8 * j)), 4);
        d[j] = _mm256_permutevar8x32_epi32(groupBytes(coded), pieces);
    }
    transposeQwords(d);
    transposeQwords(d + 4);
    // Now d[t] holds byte t of coefficients 0..31 and d[4 + t] that of 32..63.
    for (int t = 3; t >= 0; --t) {
        __m256i lo = d[t], hi = d[4 + t];
        for (int j = 7; j >= 0; --j) {
            planes[8 * t + j] =
                uint64_t(uint32_t(_mm256_movemask_epi8(lo))) | uint64_t(uint32_t(_mm256_movemask_epi8(hi))) << 32;
            lo = _mm256_add_epi8(lo, lo);
            hi = _mm256_add_epi8(hi, hi);
        }
    }
    return emax;
}

// 0xFF in byte i where bit i of `bits` is set.
inline __m256i expandBits(uint32_t bits) {
    const __m256i spread = _mm256_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 3,
                                            3, 3, 3, 3, 3, 3, 3);
    const __m256i select = _mm256_set1_epi64x(int64_t(0x8040201008040201ull));
    const __m256i v = _mm256_and_si256(_mm256_shuffle_epi8(_mm256_set1_epi32(int(bits)), spread), select);
    return _mm256_cmpeq_epi8(v, select);
}

void inverse(const uint64_t* planes, uint32_t biasedExp, uint8_t* dst, ptrdiff_t step, ptrdiff_t planeStep) {
    __m256i d[8];
    for (int t = 0; t < 4; ++t) {
        __m256i lo = _mm256_setzero_si256(), hi = _mm256_setzero_si256();
        for (int j = 0; j < 8; ++j) {
            const uint64_t x = planes[8 * t + j];
            if (x == 0) continue;
            const __m256i bit = _mm256_set1_epi8(char(1 << j));
            lo = _mm256_or_si256(lo, _mm256_and_si256(expandBits(uint32_t(x)), bit));
            hi = _mm256_or_si256(hi, _mm256_and_si256(expandBits(uint32_t(x >> 32)), bit));
        }
        d[t] = lo;
        d[4 + t] = hi;
    }
    transposeQwords(d);
    transposeQwords(d + 4);
    const __m256i pieces = _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7);
    alignas(32) int32_t coded[64];
    for (int j = 0; j < 8; ++j)
        _mm256_store_si256(reinterpret_cast<__m256i*>(coded + 8 * j),
                           groupBytes(_mm256_permutevar8x32_epi32(d[j], pieces)));

    const __m256i nb = _mm256_set1_epi32(int(kNegabinary));
    const auto gather = [&](int at) {
        const __m256i u =
            _mm256_i32gather_epi32(coded, _mm256_load_si256(reinterpret_cast<const __m256i*>(kCoded.to + at)), 4);
        return _mm256_sub_epi32(_mm256_xor_si256(u, nb), nb);
    };
    Block b;
    for (int fz = 0; fz < 4; ++fz) b.r[fz] = {gather(16 * fz), gather(16 * fz + 8)};
    eachHalf(b, [](__m256i* r) {
        inverseLift(r);
        transposeElements(r);
        inverseLift(r);
    });
    transposeLanes(b);
    eachHalf(b, [](__m256i* r) {
        inverseLift(r);
        transposeElements(r);
    });

    const __m256 scale = _mm256_castsi256_ps(_mm256_set1_epi32(int(inverseScaleBits(biasedExp))));
    for (int z = 0; z < 4; ++z)
        storePlane(dst + z * planeStep, step, _mm256_mul_ps(_mm256_cvtepi32_ps(b.r[z].lo), scale),
                   _mm256_mul_ps(_mm256_cvtepi32_ps(b.r[z].hi), scale));
}

}  // namespace

const Kernels kKernels = {forward, inverse, readBlockFast<Bmi2ReadOps>};

}  // namespace lumdc::zfp::avx2
