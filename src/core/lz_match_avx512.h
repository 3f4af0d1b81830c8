// Match extension with 32-byte compares into mask registers, the tail compared
// with one masked load instead of word and byte steps, and 64-byte literal moves,
// for the AVX-512 variants of the LZ77 encoders (the contracts are those of
// core/lz_match.h).
//
// Internal linkage; included by AVX-512-level translation units only.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace lumdc {
namespace {

struct Avx512MatchOps {
    // 32-byte compares straight into a mask register, and a masked compare for the
    // tail, on 256-bit registers: matches are mostly short, and 512-bit
    // instructions can lower the clock for everything around them.
    static size_t extend(const uint8_t* a, const uint8_t* b, const uint8_t* aLimit) {
        const uint8_t* const start = a;
        for (; a + 32 <= aLimit; a += 32, b += 32) {
            const uint32_t differ = _mm256_cmpneq_epu8_mask(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a)),
                                                            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b)));
            if (differ != 0) return size_t(a - start) + size_t(_tzcnt_u32(differ));
        }
        if (a < aLimit) {
            const __mmask32 valid = _bzhi_u32(~0u, unsigned(aLimit - a));
            const uint32_t differ = _mm256_mask_cmpneq_epu8_mask(valid, _mm256_maskz_loadu_epi8(valid, a),
                                                                 _mm256_maskz_loadu_epi8(valid, b));
            return size_t(a - start) + (differ != 0 ? size_t(_tzcnt_u32(differ)) : size_t(aLimit - a));
        }
        return size_t(a - start);
    }

    static size_t equalPrefix32(const uint8_t* a, const uint8_t* b) {
        const uint32_t differ = _mm256_cmpneq_epu8_mask(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a)),
                                                        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b)));
        return size_t(_tzcnt_u64(uint64_t(differ) | (uint64_t(1) << 32)));
    }

    static void copy64(uint8_t* dst, const uint8_t* src) {
        const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
        const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 32));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), x);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 32), y);
    }
};

}  // namespace
}  // namespace lumdc
