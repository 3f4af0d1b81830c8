// Writing LZ4 sequences into a destination, bounded or not: shared by the fast and
// the high-compression encoders, so both close a block that does not fit the
// same way.
//
// Bounded writers accept a sequence only if, after it, there is still room for a
// final literal run of up to 12 bytes (or all that is left of the source, if
// less): when a sequence is refused, the encoder stops matching and the final
// run takes as many of the remaining bytes as fit. The block then decodes to a
// prefix of the source whose last match still starts 12 or more bytes before its
// end, as the format requires.
//
// Unbounded writers move literal runs in 16- and 64-byte pieces, which may write
// up to 63 bytes past the block's final size (the destination slack the
// unbounded encoders document) but never read past the source.
//
// Internal linkage: each variant includes this once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lumdc::lz4 {
namespace {

constexpr size_t kMinMatch = 4;
constexpr size_t kMatchStartMargin = 12;  // no match starts in the last 12 bytes
constexpr size_t kMatchEndMargin = 5;     // nor reaches into the last 5
constexpr size_t kMaxOffset = 65535;
constexpr size_t kLiteralPiece = 64;

inline size_t lengthBytes(size_t value) { return value < 15 ? 0 : (value - 15) / 255 + 1; }

// The largest literal run that fits `room` bytes with its token and length bytes.
inline size_t literalsFitting(size_t room) {
    if (room <= 15) return room == 0 ? 0 : room - 1;
    size_t r = room - 1 - lengthBytes(room - 1);
    while (1 + lengthBytes(r + 1) + r + 1 <= room) ++r;
    while (1 + lengthBytes(r) + r > room) --r;
    return r;
}

inline uint8_t* writeLength(uint8_t* op, size_t rest) {
    for (; rest >= 255; rest -= 255) *op++ = 255;
    *op++ = uint8_t(rest);
    return op;
}

// Ops supplies copy64(dst, src).
template <class Ops, bool kBounded>
struct BlockWriter {
    uint8_t* const begin;
    uint8_t* op;
    uint8_t* const end;  // capacity end (bounded writers only)
    const uint8_t* const srcEnd;

    BlockWriter(uint8_t* dst, size_t capacity, const uint8_t* sourceEnd)
        : begin(dst), op(dst), end(dst + capacity), srcEnd(sourceEnd) {}

    // Whether a sequence of `lit` literals and a match of `len` ending at
    // `matchEnd` may be written (always, unbounded).
    bool fits(size_t lit, size_t len, const uint8_t* matchEnd) const {
        if constexpr (!kBounded) return true;
        const size_t rest = size_t(srcEnd - matchEnd);
        const size_t need = 1 + lengthBytes(lit) + lit + 2 + lengthBytes(len - kMinMatch) + 1 +
                            (rest < kMatchStartMargin ? rest : kMatchStartMargin);
        return need <= size_t(end - op);
    }

    void sequence(const uint8_t* anchor, size_t lit, size_t offset, size_t len) {
        // The common case first: a short run and a short match, one 16-byte move
        // (the run's source is checked against the source end: a few bytes before
        // the end, 16 bytes from the run's start may pass it).
        const size_t ml = len - kMinMatch;
        if (!kBounded && lit < 15 && ml < 15 && size_t(srcEnd - anchor) >= 16) {
            op[0] = uint8_t(lit << 4 | ml);
            std::memcpy(op + 1, anchor, 16);
            op += 1 + lit;
            op[0] = uint8_t(offset);
            op[1] = uint8_t(offset >> 8);
            op += 2;
            return;
        }
        uint8_t* token = op++;
        if (lit >= 15) {
            *token = 15 << 4;
            op = writeLength(op, lit - 15);
        } else {
            *token = uint8_t(lit << 4);
        }
        copyLiterals(anchor, lit);
        op[0] = uint8_t(offset);
        op[1] = uint8_t(offset >> 8);
        op += 2;
        if (ml >= 15) {
            *token |= 15;
            op = writeLength(op, ml - 15);
        } else {
            *token |= uint8_t(ml);
        }
    }

    // The final literal run from `anchor`: all of the source, or (bounded) as much
    // as fits. Returns how many source bytes it covers.
    size_t last(const uint8_t* anchor) {
        size_t lit = size_t(srcEnd - anchor);
        if constexpr (kBounded) {
            const size_t fit = literalsFitting(size_t(end - op));
            if (lit > fit) lit = fit;
        }
        *op++ = uint8_t((lit < 15 ? lit : 15) << 4);
        if (lit >= 15) op = writeLength(op, lit - 15);
        std::memcpy(op, anchor, lit);
        op += lit;
        return lit;
    }

    size_t produced() const { return size_t(op - begin); }

private:
    // Most runs are a few bytes: one 16-byte move covers them; longer ones go on
    // in 64-byte pieces. Either way the moves stay inside the source and within
    // 64 bytes past the run in the destination.
    void copyLiterals(const uint8_t* from, size_t n) {
        const bool roomForPieces = !kBounded || size_t(end - op) >= n + kLiteralPiece;
        if (roomForPieces && size_t(srcEnd - from) >= 16 + ((n + kLiteralPiece - 1) & ~(kLiteralPiece - 1))) {
            std::memcpy(op, from, 16);
            for (size_t i = 16; i < n; i += kLiteralPiece) Ops::copy64(op + i, from + i);
        } else {
            std::memcpy(op, from, n);
        }
        op += n;
    }
};

}  // namespace
}  // namespace lumdc::lz4
