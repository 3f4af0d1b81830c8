// LZ4 decoding with the AVX-512 instructions that help at 32-byte width: any
// offset below 32 repeats a pattern made by one VPERMB (VBMI, on 256-bit
// registers) from the 32 bytes at the match start, stored every largest multiple
// of the offset that fits in 32 bytes. We keep to 256-bit registers on purpose:
// the decoder is bound by the latency of its token-to-token chain, not by copy
// width, and 512-bit instructions can lower the core clock on which that chain
// runs, which measured slower than the AVX2 kernel on long-literal data.

#include <immintrin.h>

#include "lz4_decode_core.h"

namespace lumdc::lz4 {
namespace {

// Row d: byte i takes history byte i mod d. Row 0 is the identity, so that a
// match of offset 0 stores the destination bytes back as they were.
struct PatternTable {
    alignas(32) uint8_t index[32][32];
    uint8_t stride[32];
    constexpr PatternTable() : index{}, stride{} {
        for (int i = 0; i < 32; ++i) index[0][i] = uint8_t(i);
        for (int d = 1; d < 32; ++d) {
            for (int i = 0; i < 32; ++i) index[d][i] = uint8_t(i % d);
            stride[d] = uint8_t(32 - 32 % d);
        }
    }
};
constexpr PatternTable kPatterns;

inline __m256i load32(const uint8_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
inline void store32(uint8_t* p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }

struct Avx512Ops {
    static void copyShortLiterals(uint8_t* dst, const uint8_t* src) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_loadu_si128(reinterpret_cast<const __m128i*>(src)));
    }

    static void copyLiterals(uint8_t* dst, const uint8_t* src, size_t n) {
        for (size_t i = 0; i < n; i += 32) store32(dst + i, load32(src + i));
    }

    static __m256i pattern(const uint8_t* m, size_t d) {
        const __m256i index = _mm256_load_si256(reinterpret_cast<const __m256i*>(kPatterns.index[d]));
        return _mm256_permutexvar_epi8(index, load32(m));
    }

    // A plain move when the match does not overlap itself (the common case, kept
    // free of the permute's latency), else one 32-byte pattern, which covers the
    // whole match; offset 0 takes row 0 and stores the destination back unchanged.
    static void copyShortMatch(uint8_t* dst, size_t d, size_t n) {
        if (d >= n)
            store32(dst, load32(dst - d));
        else
            store32(dst, pattern(dst - d, d));
    }

    static void copyMatch(uint8_t* dst, size_t d, size_t n) {
        const uint8_t* m = dst - d;
        if (d >= 32) {
            for (size_t i = 0; i < n; i += 32) store32(dst + i, load32(m + i));
            return;
        }
        const __m256i p = pattern(m, d);
        const size_t stride = kPatterns.stride[d];
        for (size_t i = 0; i < n; i += stride) store32(dst + i, p);
    }
};
}  // namespace

namespace avx512 {
const DecodeKernels kDecodeKernels = kernelsOf<Avx512Ops>();
}  // namespace avx512

}  // namespace lumdc::lz4
