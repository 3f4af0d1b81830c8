// LZSS encoding: the greedy coder over the record's buffer, built once per kernel
// variant (Ops supplies the match extension).
#pragma once

#include <algorithm>
#include <cstring>

#include "lzss/lzss.h"

namespace lumdc::lzss {
namespace {

// Pending bits live in a 64-bit accumulator (the record's two words), newest at
// the bottom; items are added only below 8 pending bits, so 31 bits suffice.
struct BitSink {
    uint64_t acc;
    int32_t count;
    uint8_t*& dst;
    uint32_t& room;

    void put(uint32_t value, int n) {
        acc = acc << n | value;
        count += n;
    }
    // Whole bytes out while there is room; false when bytes are left over.
    bool drain() {
        while (count >= 8 && room > 0) {
            count -= 8;
            *dst++ = uint8_t(acc >> count);
            --room;
        }
        return count < 8;
    }
};

inline uint32_t hash3(const uint16_t* tables, const uint8_t* p) {
    return tables[p[0]] ^ tables[256 + p[1]] ^ tables[512 + p[2]];
}

// Enters position p (buffer index i) under its hash and returns the distance to
// the previous position with that hash (32768 or more when there is none).
inline uint32_t enter(Header& h, uint32_t i, uint64_t p) {
    const uint32_t key = hash3(h.hashTables, h.buffer + i);
    const uint32_t distance = (uint32_t(p) - h.head[key]) & 0xFFFF;
    h.chain[p % kWindow] = uint32_t(p) - distance;
    h.head[key] = uint16_t(p);
    return distance;
}

// Codes items from the cursor while the output takes them: positions with
// kLookahead bytes ahead, or all of them when `final`. The buffer holds 32 KiB
// before the cursor (or everything since the start), so d <= i keeps every
// candidate inside it.
template <class Ops>
Stop codeItems(Header& h, uint8_t*& dst, uint32_t& room, bool final) {
    BitSink out{uint64_t(h.overflow) << 32 | h.bits, h.bitCount, dst, room};
    Stop stop = Stop::Done;
    const uint8_t* const buf = h.buffer;
    for (;;) {
        if (!out.drain()) {
            stop = Stop::DstFull;
            break;
        }
        const uint32_t i = h.cursor, avail = h.filled - i;
        if (avail == 0) break;
        if (!final && avail < kLookahead) {
            stop = Stop::NeedInput;
            break;
        }
        const uint64_t p = h.position + i;
        uint32_t best = 2, bestDistance = 0;
        if (avail >= kMinMatch) {
            const uint32_t limit = std::min(avail, kMaxMatch);
            uint32_t d = enter(h, i, p);
            for (int k = 0; k < 16 && d != 0 && d < kWindow && d <= i; ++k) {
                const uint8_t* cand = buf + i - d;
                if (cand[best - 1] == buf[i + best - 1] && cand[best] == buf[i + best]) {
                    const uint32_t len = uint32_t(Ops::extend(buf + i, cand, buf + i + limit));
                    if (len > best) {
                        best = len;
                        bestDistance = d;
                        if (best == limit) break;
                    }
                }
                d = uint32_t(p) - h.chain[(p - d) % kWindow];
            }
        }
        if (bestDistance != 0) {
            out.put(bestDistance << 8 | (best - kMinMatch), 24);
            for (uint32_t j = i + 1; j < i + best && h.filled - j >= kMinMatch; ++j) enter(h, j, h.position + j);
            h.cursor = i + best;
        } else {
            out.put(0x100 | buf[i], 9);
            h.cursor = i + 1;
        }
    }
    out.acc &= (uint64_t(1) << out.count) - 1;  // drop the bits already written
    h.bits = uint32_t(out.acc);
    h.overflow = uint32_t(out.acc >> 32);
    h.bitCount = out.count;
    return stop;
}

}  // namespace
}  // namespace lumdc::lzss
