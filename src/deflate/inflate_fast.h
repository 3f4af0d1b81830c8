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
    constexpr uint64_t kLitMask = (1u << kLitRootBits) - 1, kDistMask = (1u << kDistRootBits) - 1;
    FastExit exit = FastExit::Margin;

    // Whole bytes only: the bits above `count` are those of the next byte, which
    // the next load ORs in again unchanged.
    auto refill = [&] {
        bits |= load64(src) << count;
        src += (63 - count) >> 3;
        count |= 56;
    };
    // Consumes an entry's bits. The shift takes the entry itself as its count (a
    // 64-bit shift looks only at the count's low 6 bits, and an entry's bit total
    // is below 32), which keeps a mask off the path from one lookup to the next.
    auto consume = [&](uint32_t e) {
        bits >>= (e & 63);
        count -= entryLen(e);
    };

    if (src > srcLimit || out > outLimit) goto done;
    refill();
    // `e` is always the entry of the next item, looked up before the item starts,
    // and every item starts with 56 or more bits at hand.
    for (uint32_t e = lit[bits & kLitMask];;) {
        const uint32_t kind = entryKind(e);
        if (kind == kLiteral) {
            // Up to three literals from one refill (15 + 11 + 11 bits at most, and
            // 19 left for the next lookup): literal runs are most of text.
            *out++ = uint8_t(entryValue(e));
            consume(e);
            e = lit[bits & kLitMask];
            if (entryKind(e) == kLiteral) {
                *out++ = uint8_t(entryValue(e));
                consume(e);
                e = lit[bits & kLitMask];
                if (entryKind(e) == kLiteral) {
                    *out++ = uint8_t(entryValue(e));
                    consume(e);
                    e = lit[bits & kLitMask];
                }
            }
            if (src > srcLimit || out > outLimit) break;
            refill();
            continue;
        }
        if (kind != kLength) {
            if (kind == kSubtable) {  // a long code: its entry comes from the subtable
                e = lit[entryValue(e) + ((bits >> kLitRootBits) & ((1u << entrySubBits(e)) - 1))];
                continue;
            }
            if (kind == kEndOfBlock) {
                consume(e);
                exit = FastExit::EndOfBlock;
            } else {
                exit = FastExit::BadData;
            }
            break;
        }
        const uint32_t length = entryValue(e) + extraValue(bits, e);
        consume(e);
        uint32_t d = dist[bits & kDistMask];
        if (entryKind(d) == kSubtable)
            d = dist[entryValue(d) + ((bits >> kDistRootBits) & ((1u << entrySubBits(d)) - 1))];
        if (entryKind(d) != kLength) {
            exit = FastExit::BadData;
            break;
        }
        const uint32_t distance = entryValue(d) + extraValue(bits, d);
        consume(d);
        if (distance > size_t(out - r.dst)) {  // before the history (codes allow at most 32768)
            exit = FastExit::BadData;
            break;
        }
        // The next item's entry is loaded before the copy, so the two overlap.
        const bool more = src <= srcLimit;
        if (more) refill();
        e = lit[bits & kLitMask];
        Copies::copyMatch(out, distance, length);
        out += length;
        if (!more || out > outLimit) break;
    }
done:
    // Hand back only the bits counted: the careful loop adds bytes above them.
    r.src = src;
    r.bitBuf = count >= 64 ? bits : bits & ((uint64_t(1) << count) - 1);
    r.bitCount = count;
    r.out = out;
    return exit;
}

}  // namespace
}  // namespace lumdc::inflate
