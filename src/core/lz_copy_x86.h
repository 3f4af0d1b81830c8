// Over-running copies for the LZ77 decoders with 16- and 32-byte vector moves,
// shared by the AVX2 and AVX-512 variants (the contracts are those of lz_copy.h).
// Offsets below 16 repeat a pattern made by one PSHUFB from the 16 bytes at the
// match start (only the first `offset` of them are history; the rest are ignored
// by the shuffle).
//
// The AVX-512 variants keep these on purpose. A decoder is bound by the latency
// of its item-to-item chain, not by copy width: a 256-bit VPERMB pattern for
// offsets up to 31 measured slower than PSHUFB plus 16-byte moves (its three
// cycles sit on the match's path), and 512-bit moves slowed long-literal data by
// lowering the clock the chain runs on.
//
// Internal linkage: each variant's translation unit includes this once, compiled
// with its own flags.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace lumdc {
namespace {

// Row d: byte i of a 16-byte lane takes history byte i mod d.
struct LzPatternTable {
    alignas(16) uint8_t index[16][16];
    uint8_t stride[16];  // the largest multiple of d not above 16
    constexpr LzPatternTable() : index{}, stride{} {
        for (int d = 1; d < 16; ++d) {
            for (int i = 0; i < 16; ++i) index[d][i] = uint8_t(i % d);
            stride[d] = uint8_t(16 - 16 % d);
        }
    }
};
constexpr LzPatternTable kLzPatterns;

inline __m128i load16(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store16(uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline __m256i load32(const uint8_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
inline void store32(uint8_t* p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }

// The 16 bytes of the repeating pattern of a match at offset 1 to 15, from the
// history bytes in `history` (16 bytes from the match start, of which only the
// first d matter).
inline __m128i lzPattern16(__m128i history, size_t d) {
    return _mm_shuffle_epi8(history, _mm_load_si128(reinterpret_cast<const __m128i*>(kLzPatterns.index[d])));
}

struct VectorLzCopies {
    static void copyShortLiterals(uint8_t* dst, const uint8_t* src) { store16(dst, load16(src)); }

    static void copyLiterals(uint8_t* dst, const uint8_t* src, size_t n) {
        for (size_t i = 0; i < n; i += 32) store32(dst + i, load32(src + i));
    }

    static void copyShortMatch(uint8_t* dst, size_t d, size_t n) {
        if (d >= n)
            store32(dst, load32(dst - d));
        else if (d != 0)
            copyMatch(dst, d, n);  // n <= 32 writes at most 47 bytes here
    }

    static void copyMatch(uint8_t* dst, size_t d, size_t n) {
        const uint8_t* m = dst - d;
        if (d >= 32) {
            for (size_t i = 0; i < n; i += 32) store32(dst + i, load32(m + i));
        } else if (d >= 16) {
            for (size_t i = 0; i < n; i += 16) store16(dst + i, load16(m + i));
        } else {
            const __m128i pattern = lzPattern16(load16(m), d);
            const size_t stride = kLzPatterns.stride[d];
            for (size_t i = 0; i < n; i += stride) store16(dst + i, pattern);
        }
    }
};

}  // namespace
}  // namespace lumdc
