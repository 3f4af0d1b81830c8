// LZSS encoding: the greedy coder over the record's buffer, built once per kernel
// variant (Ops supplies the match extension, Hash the key's hash).
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>

#ifdef __SSE4_2__
#include <immintrin.h>
#endif

#include "core/unaligned.h"
#include "lzss/lzss.h"

namespace lumdc::lzss {
namespace {

// Pending bits live in a 64-bit accumulator (the record's two words), newest at
// the bottom; items are added only below 8 pending bits, so 31 bits suffice.
struct BitSink {
    uint64_t acc;
    int32_t count;
    uint8_t* dst;
    uint32_t room;

    void put(uint32_t value, int n) {
        acc = acc << n | value;
        count += n;
    }
    // Whole bytes out while there is room; false when bytes are left over.
    bool drain() {
        if (room >= 8) {
            // All whole bytes in one store: how many varies item by item, which a
            // loop would mispredict.
            const uint64_t top = acc << 1 << (63 - count);  // pending bits at the top
            const uint32_t n = uint32_t(count) / 8;
            const uint64_t bytes = __builtin_bswap64(top);
            std::memcpy(dst, &bytes, 8);
            dst += n;
            room -= n;
            count -= int32_t(8 * n);
            return true;
        }
        while (count >= 8 && room > 0) {
            count -= 8;
            *dst++ = uint8_t(acc >> count);
            --room;
        }
        return count < 8;
    }
};

// The record's tables as one call uses them, held apart from the record so they
// stay in registers across the stores of output bytes (which may alias anything).
struct Tables {
    const uint16_t* hashTables;
    uint16_t* head;
    uint16_t* chain;
    const uint8_t* buffer;
};

// The hash of the 3-byte key at p, from the record's tables.
struct TableHash {
    static uint32_t of(const uint16_t* tables, const uint8_t* p) {
        return tables[p[0]] ^ tables[256 + p[1]] ^ tables[512 + p[2]];
    }
};

#ifdef __SSE4_2__
// The same hash by instruction: the tables are the top half of one CRC-32C step
// of the key as a 32-bit word (see lzss.cpp). The word is loaded from the byte
// before the key, which always lies inside the record, and shifted down, as the
// byte after the key may lie past its end.
struct CrcHash {
    static uint32_t of(const uint16_t*, const uint8_t* p) { return _mm_crc32_u32(0, read32(p - 1) >> 8) >> 16; }
};
#endif

// Enters position p (buffer index i) under its hash and returns the previous
// position with that hash (32768 or more behind when there is none).
//
// The chain area holds two tables of 16-bit distances by position mod 32768: how
// far back the previous position with the same hash lies, and the one before it
// (saturated at 65535, out of reach like any distance of 32768 or more). With the
// second, a walk follows two interleaved chains, one load deep per pair of
// candidates instead of one per candidate. Its entry for p is made from the first
// table's entry for the previous position, which stays valid for as long as that
// position is within reach, the only time a walk reads it.
template <class Hash>
uint32_t enter(const Tables& h, uint32_t i, uint32_t p) {
    const uint32_t key = Hash::of(h.hashTables, h.buffer + i);
    const uint32_t distance = (p - h.head[key]) & 0xFFFF, previous = p - distance;
    h.chain[kWindow + p % kWindow] = uint16_t(std::min<uint32_t>(distance + h.chain[previous % kWindow], 0xFFFF));
    h.chain[p % kWindow] = uint16_t(distance);
    h.head[key] = uint16_t(p);
    return previous;
}

// Positions are entered up to kAhead ahead of the walks, in a loop of their own:
// the walk at a position then starts from its finished entry instead of waiting
// on the head and chain loads behind it, and the entering runs without the
// walks' mispredicted branches in between. Entering q takes over the slot of
// q - 32768, which a walk from behind q may still reach (it lies less than
// 32768 back until the cursor passes q). Walks read a candidate's second-table
// entry only (the first is read for the position being entered, whose slot is
// never taken over yet), so that is what a side table keeps, by position mod
// kAhead, for those walks.
inline constexpr uint32_t kAhead = 32;

struct SideTable {
    uint16_t afterNext[kAhead];
};

template <class Hash>
void enterAhead(const Tables& h, SideTable& side, uint32_t i, uint32_t p) {
    side.afterNext[p % kAhead] = h.chain[kWindow + p % kWindow];
    enter<Hash>(h, i, p);
}

// Enters position p (buffer index i) and walks its chain: the longest match of
// at most `limit` bytes among the first 16 candidates within reach, the nearest
// of equally long ones, as the greedy rule has it (a candidate replaces the best
// only when strictly longer, so checking the two bytes at the ends of the best
// first changes nothing but the work). Returns its length with its distance, or
// 2 or less and distance 0. This form, byte by byte, serves the last few
// positions of the data, where fewer than 8 bytes are left.
template <class Hash>
uint32_t longestShortMatch(const Tables& h, uint32_t i, uint32_t p, uint32_t limit, uint32_t& distance) {
    const uint8_t* const buf = h.buffer;
    const uint32_t reach = std::min(i, kWindow - 1);  // candidates stay inside the buffer
    uint32_t best = 2, bestDistance = 0, candidate = enter<Hash>(h, i, p);
    for (uint32_t k = 0; k < 16; ++k) {
        const uint32_t d = p - candidate;
        if (d - 1 >= reach) break;  // 0 only for a stale head entry
        uint32_t len = 0;
        while (len < limit && buf[i - d + len] == buf[i + len]) ++len;
        if (len > best) {
            best = len;
            bestDistance = d;
        }
        candidate -= h.chain[candidate % kWindow];
    }
    distance = bestDistance;
    return best;
}

// The same walk with 8 or more bytes to match. Checking candidates one after the
// other branches on data at every step, and on binary data those branches are
// coin tosses. So the walk first compares 8-byte prefixes, choosing the best
// without branching; only candidates whose whole prefix agrees go on to the full
// extension, in walk order.
//
// Ahead: p is entered already, and so are the positions up to kAhead after it;
// candidates more than `edge` back lost their slots to those, and their second
// links are in `side`. Otherwise p is entered here.
template <class Ops, class Hash, bool Ahead>
uint32_t longestMatch(const Tables& h, const SideTable& side, uint32_t edge, uint32_t i, uint32_t p, uint32_t limit,
                      uint32_t& distance) {
    const uint8_t* const buf = h.buffer;
    const uint8_t* const here = buf + i;
    const uint32_t reach = std::min(i, kWindow - 1);
    const uint64_t prefix = read64(here);
    uint32_t best = 2, bestDistance = 0, distances[16], whole = 0;
    // Takes the k-th candidate; false when it is out of reach, which ends the walk.
    const auto take = [&](uint32_t k, uint32_t candidate) {
        const uint32_t d = p - candidate;
        if (d - 1 >= reach) return false;
        const uint64_t diff = prefix ^ read64(here - d);
        const uint32_t len = diff == 0 ? 8 : uint32_t(std::countr_zero(diff)) / 8;
        const bool longer = len > best;
        best = longer ? len : best;
        bestDistance = longer ? d : bestDistance;
        distances[k] = d;
        whole |= uint32_t(len == 8) << k;
        return true;
    };
    const uint16_t* const next = h.chain;
    const uint16_t* const afterNext = h.chain + kWindow;
    // The distance from a candidate within reach to the one two links on.
    const auto skip = [&](uint32_t candidate) -> uint32_t {
        if (Ahead && p - candidate > edge) [[unlikely]]
            return side.afterNext[candidate % kAhead];
        return afterNext[candidate % kWindow];
    };
    uint32_t even, odd;
    if (Ahead) {
        even = p - next[p % kWindow];
        odd = p - afterNext[p % kWindow];
    } else {
        even = enter<Hash>(h, i, p);
        odd = even - next[even % kWindow];
    }
    for (uint32_t k = 0; k < 16; k += 2) {
        if (!take(k, even) || !take(k + 1, odd)) break;
        even -= skip(even);
        odd -= skip(odd);
    }
    if (whole != 0 && limit > 8) {
        best = 7;  // the first whole prefix wins until a longer match turns up
        for (; whole != 0; whole &= whole - 1) {
            const uint32_t d = distances[std::countr_zero(whole)];
            const uint8_t* const cand = here - d;
            if (best >= 8 && read16(cand + best - 1) != read16(here + best - 1)) continue;
            const uint32_t len = 8 + uint32_t(Ops::extend(here + 8, cand + 8, here + limit));
            if (len > best) {
                best = len;
                bestDistance = d;
                if (best == limit) break;
            }
        }
    }
    distance = bestDistance;
    return best;
}

// Codes items from the cursor while the output takes them: positions with
// kLookahead bytes ahead, or all of them when `final`. The buffer holds 32 KiB
// before the cursor (or everything since the start), so d <= i keeps every
// candidate inside it.
template <class Ops, class Hash>
Stop codeItems(Header& h, uint8_t*& dst, uint32_t& room, bool final) {
    const Tables t{h.hashTables, h.head, h.chain, h.buffer};
    const uint32_t filled = h.filled;
    const uint64_t position = h.position;
    BitSink out{uint64_t(h.overflow) << 32 | h.bits, h.bitCount, dst, room};
    Stop stop = Stop::Done;
    uint32_t i = h.cursor;
    // Positions with kLookahead bytes ahead are coded in this call whatever comes
    // (the output permitting), so they may be entered ahead; entered positions
    // are always coded before the call returns, so the side table need not last.
    const uint32_t aheadEnd = filled >= kLookahead ? filled - kLookahead + 1 : 0;
    constexpr uint32_t kAheadRoom = 3 * kAhead + 16;  // kAhead items and the pending bits
    uint32_t entered = i;                             // positions before it are entered
    SideTable side;
    for (;;) {
        if (!out.drain()) {
            stop = Stop::DstFull;
            break;
        }
        const uint32_t avail = filled - i;
        if (avail == 0) break;
        if (!final && avail < kLookahead) {
            stop = Stop::NeedInput;
            break;
        }
        const uint32_t p = uint32_t(position + i), limit = std::min(avail, kMaxMatch);
        uint32_t best = 2, bestDistance = 0;
        if (i < entered || (i < aheadEnd && out.room >= kAheadRoom)) {
            if (entered <= i)  // a batch, once the last one is used up
                for (const uint32_t end = std::min(aheadEnd, i + kAhead); entered < end; ++entered)
                    enterAhead<Hash>(t, side, entered, uint32_t(position + entered));
            best = longestMatch<Ops, Hash, true>(t, side, kWindow - (entered - i), i, p, limit, bestDistance);
        } else {
            // Near the end of the data or of the output: one position at a time.
            if (avail >= 8)
                best = longestMatch<Ops, Hash, false>(t, side, kWindow, i, p, limit, bestDistance);
            else if (avail >= kMinMatch)
                best = longestShortMatch<Hash>(t, i, p, avail, bestDistance);
            entered = i + 1;
        }
        if (bestDistance != 0) {
            out.put(bestDistance << 8 | (best - kMinMatch), 24);
            i += best;
            // The positions the match covers, those with three bytes left.
            for (; entered < i && filled - entered >= kMinMatch; ++entered)
                enter<Hash>(t, entered, uint32_t(position + entered));
        } else {
            out.put(0x100 | t.buffer[i], 9);
            ++i;
        }
    }
    h.cursor = i;
    dst = out.dst;
    room = out.room;
    out.acc &= (uint64_t(1) << out.count) - 1;  // drop the bits already written
    h.bits = uint32_t(out.acc);
    h.overflow = uint32_t(out.acc >> 32);
    h.bitCount = out.count;
    return stop;
}

}  // namespace
}  // namespace lumdc::lzss
