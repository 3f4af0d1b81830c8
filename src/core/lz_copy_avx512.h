// Exact copies for the LZ77 decoders' careful paths with AVX-512 masked moves:
// the last items of every block, where each copy must stop at its exact byte
// count. A masked store finishes a run in one move where the portable copies loop
// byte by byte, which matters for small blocks (a 4 KiB page spends a few percent
// of its items there). Masked-off bytes are neither read nor written, faults
// included, so the copies never touch memory outside the run.
//
// Internal linkage; included after core/lz_copy_x86.h by AVX-512 variants only.
#pragma once

#include <immintrin.h>

#include "core/lz_copy.h"
#include "core/lz_copy_x86.h"

namespace lumdc {
namespace {

inline __mmask32 firstBytes(size_t n) { return _bzhi_u32(~0u, unsigned(n)); }  // n <= 32

inline void copyMaskedTail(uint8_t* dst, const uint8_t* src, size_t n) {
    _mm256_mask_storeu_epi8(dst, firstBytes(n), _mm256_maskz_loadu_epi8(firstBytes(n), src));
}

struct MaskedLzCopies : ExactLzCopies {
    static void copyLiteralsExact(uint8_t* dst, const uint8_t* src, size_t n) {
        if (overlaps(dst, src, n)) return ExactLzCopies::copyLiteralsExact(dst, src, n);
        for (; n > 32; n -= 32, dst += 32, src += 32) store32(dst, load32(src));
        copyMaskedTail(dst, src, n);
    }

    // Whole pieces while they fit, then a masked piece; each piece reads only
    // bytes already written, as in the fast paths.
    static void copyMatchExact(uint8_t* dst, size_t d, size_t n) {
        if (d == 0) return;
        const uint8_t* m = dst - d;
        if (d >= 32 || d >= n) {
            for (; n > 32; n -= 32, dst += 32, m += 32) store32(dst, load32(m));
            copyMaskedTail(dst, m, n);
        } else if (d >= 16) {
            for (; n > 16; n -= 16, dst += 16, m += 16) store16(dst, load16(m));
            copyMaskedTail(dst, m, n);
        } else {
            // Only the d history bytes are read: the 16 from the match start may
            // run past the end of the destination.
            const __m128i pattern = lzPattern16(_mm_maskz_loadu_epi8(__mmask16(firstBytes(d)), m), d);
            const size_t stride = kLzPatterns.stride[d];
            for (; n > 16; n -= stride, dst += stride) store16(dst, pattern);
            _mm_mask_storeu_epi8(dst, __mmask16(firstBytes(n)), pattern);
        }
    }
};

}  // namespace
}  // namespace lumdc
