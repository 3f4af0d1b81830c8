// Match extension with 32-byte compares, and 64-byte literal moves, for the AVX2
// variants of the LZ77 encoders (the contracts are those of core/lz_match.h).
//
// Internal linkage; included by AVX2-level translation units only.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lumdc {
namespace {

struct Avx2MatchOps {
    static size_t extend(const uint8_t* a, const uint8_t* b, const uint8_t* aLimit) {
        const uint8_t* const start = a;
        for (; a + 32 <= aLimit; a += 32, b += 32) {
            const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a));
            const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b));
            const uint32_t equal = uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(x, y)));
            if (equal != 0xFFFFFFFFu) return size_t(a - start) + size_t(_tzcnt_u32(~equal));
        }
        for (; a + 8 <= aLimit; a += 8, b += 8) {
            uint64_t x, y;
            std::memcpy(&x, a, 8);
            std::memcpy(&y, b, 8);
            if (x != y) return size_t(a - start) + size_t(_tzcnt_u64(x ^ y) / 8);
        }
        for (; a < aLimit && *a == *b; ++a, ++b) {
        }
        return size_t(a - start);
    }

    static size_t equalPrefix32(const uint8_t* a, const uint8_t* b) {
        const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a));
        const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b));
        const uint32_t equal = uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(x, y)));
        return size_t(_tzcnt_u64(~uint64_t(equal)));
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
