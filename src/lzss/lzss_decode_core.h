// LZSS decoding, the fast loop: whole items while the source has 16 bytes and the
// output has room for a literal run, the longest match and a copy's over-run,
// built once per kernel variant. Copies supplies the over-running match copies
// (core/lz_copy*.h), Literals the extraction of literal runs from the window.
//
// Six 9-bit literals fit in the top 54 bits of the window, so a literal run is
// taken six at a time: the six flag bits say how many of the six items are
// literals, all six bytes are stored, and the output moves on by that many.
#pragma once

#include <bit>
#include <cstring>

#include "lzss/lzss.h"

namespace lumdc::lzss {
namespace {

inline constexpr uint32_t kLiteralsPerWindow = 6;
// Bit 63 - 9k: the flag of the k-th item; the eight bits below it: its byte.
inline constexpr uint64_t kFlagBits = 0x8040201008040000ull;
inline constexpr uint64_t kByteBits = 0x7FBFDFEFF7FBFC00ull;
static_assert((kFlagBits & kByteBits) == 0 && std::popcount(kFlagBits) == 6 && std::popcount(kByteBits) == 48);

// The byte `distance` back from output position start + at: in this call's
// output, or in the ring of earlier calls' last 32 KiB (zeros before the stream).
inline uint8_t historyByte(const uint8_t* out, const uint8_t* ring, uint64_t start, uint32_t at, uint32_t distance) {
    return distance <= at ? out[at - distance] : ring[(start + at - distance) % kWindow];
}

// Literal extraction without bit-gather instructions: the same results, by shifts.
struct PortableLiterals {
    // How many of the six items at the top of the window are literals in a row.
    static uint32_t leadingLiterals(uint64_t window) {
        uint32_t n = 0;
        while (n < kLiteralsPerWindow && (window >> (63 - 9 * n) & 1) != 0) ++n;
        return n;
    }
    // The bytes of the six items as literals, first in the lowest byte.
    static uint64_t literalBytes(uint64_t window) {
        uint64_t bytes = 0;
        for (uint32_t k = 0; k < kLiteralsPerWindow; ++k) bytes |= (window >> (55 - 9 * k) & 0xFF) << (8 * k);
        return bytes;
    }
};

template <class Literals, class Copies>
void decodeFast(DecodeRun& r) {
    // A full right-aligned word does not left-align into a refillable window: the
    // caller takes an item first.
    if (r.count > 56 || r.capacity < kFastRoom) return;
    const uint8_t* src = r.src;
    uint64_t window = r.count == 0 ? 0 : r.acc << (64 - r.count);
    uint32_t valid = uint32_t(r.count);
    uint8_t* const out = r.out;
    uint32_t made = r.made;
    const uint8_t* const srcStop = r.srcEnd - 16;  // two refills of 8 bytes
    const uint32_t madeStop = r.capacity - kFastRoom;
    // The window is the accumulator left-aligned: its top bit is the next item's
    // first, the bits below the valid ones are zero, and one branchless refill
    // tops it up to 56..63 bits.
    const auto refill = [&] {
        uint64_t word;
        std::memcpy(&word, src, 8);
        window |= __builtin_bswap64(word) >> valid;
        src += (63 - valid) >> 3;
        valid |= 56;
    };
    // Whether matches are often preceded by a single literal, judged over the
    // last kJudged steps: then that literal is taken without a branch.
    constexpr uint32_t kJudged = 1024;
    bool mixed = false;
    uint32_t singles = 0, steps = kJudged;
    while (src <= srcStop && made <= madeStop) {
        if (--steps == 0) {
            mixed = singles > kJudged / 8;
            singles = 0;
            steps = kJudged;
        }
        refill();
        uint32_t item;
        if (mixed && int64_t(window & window << 9) >= 0) {
            // A match, or one literal and a match, taken by arithmetic: on binary
            // data a match is as often preceded by a single literal as not, and a
            // branch on which is mispredicted. (Before a match, the literal's
            // byte is scratch that the match covers.) On text the branch below
            // predicts well and keeps the window's chain of dependences short.
            const uint32_t single = uint32_t(window >> 63), bits = 24 + 9 * single;
            out[made] = uint8_t(window >> 55);
            made += single;
            singles += single;
            item = uint32_t(window >> (64 - bits)) & 0xFFFFFF;
            window <<= bits;
            valid -= bits;
        } else {
            if (int64_t(window) < 0) {
                const uint32_t n = Literals::leadingLiterals(window);
                const uint64_t bytes = Literals::literalBytes(window);
                std::memcpy(out + made, &bytes, 8);
                made += n;
                window <<= 9 * n;
                valid -= 9 * n;
                singles += n == 1;
                // A short run is known to end in a match: going straight to it
                // spares the item-type branch.
                if (n == kLiteralsPerWindow) continue;
                refill();
            }
            item = uint32_t(window >> 40);
            window <<= 24;
            valid -= 24;
        }
        const uint32_t d = item >> 8 != 0 ? item >> 8 : kWindow;
        const uint32_t length = (item & 0xFF) + kMinMatch;
        if (d <= made) {
            Copies::copyMatch(out + made, d, length);
        } else {
            // Reaches into the ring of earlier calls; its later bytes may already
            // be this call's.
            for (uint32_t k = made; k < made + length; ++k) out[k] = historyByte(out, r.ring, r.start, k, d);
        }
        made += length;
    }
    r.src = src;
    r.acc = valid == 0 ? 0 : window >> (64 - valid);
    r.count = int32_t(valid);
    r.made = made;
}

}  // namespace
}  // namespace lumdc::lzss
