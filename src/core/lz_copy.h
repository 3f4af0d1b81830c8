// Copies for the LZ77 decoders (LZ4, LZO), portable versions. ExactLzCopies moves
// exactly the bytes asked for. PortableLzCopies moves 8 and 16 bytes at a time and
// may read and write past the bytes asked for: callers keep margins so that the
// extra bytes stay inside their buffers, and bytes written past the output
// position are garbage until later items overwrite them.
//
// Contracts of the over-running copies (n >= 1 unless said otherwise):
//   copyShortLiterals(dst, src)  moves exactly 16 bytes;
//   copyLiterals(dst, src, n)    reads and writes fewer than n + 32 bytes;
//   copyShortMatch(dst, d, n)    n <= 32, writes at most 48 bytes; d = 0 leaves
//                                the destination as it was;
//   copyMatch(dst, d, n)         d >= 1, writes fewer than n + 32 bytes.
// A match copy reads only bytes before dst or bytes it has already written, so an
// offset below the length repeats the pattern, as the formats require.
//
// Internal linkage: each variant's translation unit includes this once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lumdc {
namespace {

// Exact copies, for the decoders' careful paths, which must not write a byte past
// the ones asked for. A variant may replace them (its Ops derive from this).
struct ExactLzCopies {
    // Match copy of n bytes at offset d: no byte outside dst[0, n) is written.
    static void copyMatchExact(uint8_t* dst, size_t d, size_t n) {
        if (d == 0) return;
        const uint8_t* m = dst - d;
        if (d >= n) {
            std::memcpy(dst, m, n);
            return;
        }
        size_t i = 0;
        if (d >= 8)
            for (; i + 8 <= n; i += 8) std::memcpy(dst + i, m + i, 8);
        for (; i < n; ++i) dst[i] = m[i];
    }

    // Literal copy that tolerates a source overlapping the destination (in-place
    // decoding keeps the source ahead of the output): forward byte by byte then.
    static void copyLiteralsExact(uint8_t* dst, const uint8_t* src, size_t n) {
        if (!overlaps(dst, src, n)) {
            std::memcpy(dst, src, n);
            return;
        }
        for (size_t i = 0; i < n; ++i) dst[i] = src[i];
    }

    static bool overlaps(const uint8_t* dst, const uint8_t* src, size_t n) {
        const auto d = reinterpret_cast<uintptr_t>(dst), s = reinterpret_cast<uintptr_t>(src);
        return d + n > s && s + n > d;
    }
};

struct PortableLzCopies {
    static void copyShortLiterals(uint8_t* dst, const uint8_t* src) { std::memcpy(dst, src, 16); }

    static void copyLiterals(uint8_t* dst, const uint8_t* src, size_t n) {
        for (size_t i = 0; i < n; i += 16) std::memcpy(dst + i, src + i, 16);
    }

    static void copyShortMatch(uint8_t* dst, size_t d, size_t n) {
        if (d >= n) {  // all of it is history: one move, loaded before it is stored
            uint8_t piece[32];
            std::memcpy(piece, dst - d, 32);
            std::memcpy(dst, piece, 32);
        } else if (d != 0) {
            copyMatch(dst, d, n);
        }
    }

    // Offsets below 8 repeat a 16-byte pattern built once, stored at the largest
    // multiple of the offset that fits in 16 bytes.
    static void copyMatch(uint8_t* dst, size_t d, size_t n) {
        const uint8_t* m = dst - d;
        if (d >= 16) {
            for (size_t i = 0; i < n; i += 16) std::memcpy(dst + i, m + i, 16);
        } else if (d >= 8) {
            for (size_t i = 0; i < n; i += 8) std::memcpy(dst + i, m + i, 8);
        } else {
            uint8_t pattern[16];
            std::memcpy(pattern, m, d);
            for (size_t j = d; j < 16; ++j) pattern[j] = pattern[j - d];
            const size_t stride = 16 - 16 % d;
            for (size_t i = 0; i < n; i += stride) std::memcpy(dst + i, pattern, 16);
        }
    }
};

}  // namespace
}  // namespace lumdc
