// The inflater's fast loop, compiled once per variant with its copies: whole
// items while at least 8 bytes of input and 290 bytes of room remain. Each item
// starts with a refill to 56 or more bits, which covers the longest item (a
// 15-bit length code, 5 extra bits, a 15-bit distance code and 13 extra bits), so
// a code the tables do not know is invalid data here, never a short read.
//
// Internal linkage: each variant's translation unit includes this once.
#pragma once

#include <cstring>

#include "deflate/inflate.h"

namespace lumdc::inflate {
namespace {

inline uint64_t load64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}

template <class Copies>
FastExit decodeFast(Run& r, const State& s) {
    const uint8_t* src = r.src;
    uint64_t bits = r.bitBuf;
    uint32_t count = r.bitCount;
    uint8_t* out = r.out;
    const uint8_t* const srcLimit = r.srcEnd - kFastSrcMargin;
    uint8_t* const outLimit = r.outEnd - kFastDstMargin;
    const uint32_t* const lit = s.litTable;
    const uint32_t* const dist = s.distTable;
    FastExit exit = FastExit::Margin;

    while (src <= srcLimit && out <= outLimit) {
        // Whole bytes only: the bits above `count` are those of the next byte, which
        // the next load ORs in again unchanged.
        bits |= load64(src) << count;
        src += (63 - count) >> 3;
        count |= 56;

        uint32_t e = lit[bits & ((1u << kLitRootBits) - 1)];
        if (entryKind(e) == kSubtable) e = lit[entryValue(e) + ((bits >> kLitRootBits) & ((1u << entryExtra(e)) - 1))];
        const uint32_t kind = entryKind(e);
        bits >>= entryLen(e);
        count -= entryLen(e);
        if (kind == kLiteral) {
            *out++ = uint8_t(entryValue(e));
            // A second literal from the same refill (41 or more bits are left, and a
            // root entry is at most 10): literal runs are most of text.
            const uint32_t e2 = lit[bits & ((1u << kLitRootBits) - 1)];
            if (entryKind(e2) == kLiteral) {
                *out++ = uint8_t(entryValue(e2));
                bits >>= entryLen(e2);
                count -= entryLen(e2);
            }
            continue;
        }
        if (kind != kLength) {
            exit = kind == kEndOfBlock ? FastExit::EndOfBlock : FastExit::BadData;
            break;
        }
        const uint32_t length = entryValue(e) + uint32_t(bits & ((1u << entryExtra(e)) - 1));
        bits >>= entryExtra(e);
        count -= entryExtra(e);

        uint32_t d = dist[bits & ((1u << kDistRootBits) - 1)];
        if (entryKind(d) == kSubtable)
            d = dist[entryValue(d) + ((bits >> kDistRootBits) & ((1u << entryExtra(d)) - 1))];
        if (entryKind(d) != kLength) {
            exit = FastExit::BadData;
            break;
        }
        bits >>= entryLen(d);
        count -= entryLen(d);
        const uint32_t distance = entryValue(d) + uint32_t(bits & ((1u << entryExtra(d)) - 1));
        bits >>= entryExtra(d);
        count -= entryExtra(d);
        if (distance > size_t(out - r.dst)) {  // before the history: codes allow at most 32768
            exit = FastExit::BadData;
            break;
        }
        Copies::copyMatch(out, distance, length);
        out += length;
    }
    // Hand back only the bits counted: the careful loop adds bytes above them.
    r.src = src;
    r.bitBuf = count == 64 ? bits : bits & ((uint64_t(1) << count) - 1);
    r.bitCount = count;
    r.out = out;
    return exit;
}

}  // namespace
}  // namespace lumdc::inflate
