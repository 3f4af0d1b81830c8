// Deflate LZ77 matching: what the three matchers share, built once per kernel
// variant. Ops supplies the variant's CRC-32C step (`crc`), a compare of the
// first kBlock bytes of a position (kept as a `Key`) with a candidate's
// (`prefix`: how many are equal), the exact length from a block boundary on
// (`matchFrom`, reading bytes [0, 258) of both sides) and a bounded extension
// (`extend`, the contract of core/lz_match.h).
//
// Reads. The main loops run only at offsets i with i + 261 <= srcLen (the hold-
// back), so everything they read at or after src + i (a 4-byte key, 258 bytes
// of match) lies inside the input, and a candidate's bytes lie at most as far
// past the candidate. When the history is a buffer of its own, a candidate
// within 258 bytes of its end would read past it: such candidates go through
// the bounded compare, which switches to the input where the history ends. The
// tail of the last call compares bounded throughout.
//
// Internal linkage: every variant's translation unit keeps its own copy.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/unaligned.h"
#include "deflate/deflate_lz77.h"
#include "deflate/deflate_tables.h"

namespace lumdc::deflate {
namespace {

#define LZ77_INLINE inline __attribute__((always_inline))

inline constexpr uint32_t kMinLen = kMinMatch, kMaxLen = kMaxMatch;

// Records and this call's symbol counts.
struct Records {
    uint8_t* lit;
    uint16_t* dist;
    uint32_t out;
    uint32_t room;
    uint32_t* litCounts;
    uint32_t* distCounts;

    LZ77_INLINE bool full() const { return out >= room; }
    LZ77_INLINE uint32_t left() const { return room - out; }
    LZ77_INLINE void literal(uint8_t b) {
        lit[out] = b;
        dist[out] = 0;
        ++out;
        ++litCounts[b];
    }
    LZ77_INLINE void match(uint32_t len, uint32_t d) {
        lit[out] = uint8_t(len - kMinLen);
        dist[out] = uint16_t(d);
        ++out;
        ++litCounts[kEndOfBlock + 1 + lengthCode(len - kMinLen)];
        ++distCounts[distCode(d - 1)];
    }
};

// The tables and bytes of one call. Contig: the history ends where the input
// starts (win == src), so a candidate at distance d from offset i is src + i - d
// whatever its position.
template <class Ops, bool Contig>
struct Matcher {
    const uint8_t* src;
    const uint8_t* win;
    uint32_t srcLen;
    uint32_t idx;
    uint32_t winMask;
    uint32_t hashMask;
    int32_t* head;
    int32_t* chain;

    explicit Matcher(const MatchJob& j)
        : src(j.src),
          win(j.win),
          srcLen(j.srcLen),
          idx(j.idx),
          winMask(j.winMask),
          hashMask(j.hashMask),
          head(j.head),
          chain(j.chain) {}

    // A candidate is usable at distance 1 .. winSize - 1 only: a table entry at
    // or after the position itself (a caller's table that ran ahead) ends a walk
    // as surely as one out of reach.
    LZ77_INLINE bool inReach(uint32_t d) const { return d - 1 < winMask; }

    LZ77_INLINE uint32_t hashAt(uint32_t i) const { return Ops::crc(read32(src + i)) & hashMask; }

    // Enters offset i under its CRC-32C key; returns the previous head.
    LZ77_INLINE int32_t enter(uint32_t i) const { return enterAt(i, hashAt(i)); }
    // The same with the key's hash h known.
    LZ77_INLINE int32_t enterAt(uint32_t i, uint32_t h) const {
        const int32_t cand = head[h];
        chain[(idx + i) & winMask] = cand;
        head[h] = int32_t(idx + i);
        return cand;
    }
    LZ77_INLINE void enterRange(uint32_t from, uint32_t to) const {
        for (uint32_t i = from; i < to; ++i) enter(i);
    }

    LZ77_INLINE const uint8_t* candidate(uint32_t i, uint32_t d) const {
        if (Contig || d <= i) return src + i - d;
        return win - (d - i);
    }
    // Whether a 258-byte compare of the candidate would run past the history.
    LZ77_INLINE bool straddles(uint32_t i, uint32_t d) const { return !Contig && d > i && d - i < kMaxLen; }

    // Exact length of at most cap bytes, reading nothing past cap on either side
    // and switching from history to input where the history ends.
    uint32_t lengthBounded(uint32_t i, uint32_t d, uint32_t cap) const {
        const uint8_t* const ip = src + i;
        if (Contig || d <= i) return uint32_t(Ops::extend(ip, ip - d, ip + cap));
        const uint32_t before = std::min(cap, d - i);
        const uint32_t len = uint32_t(Ops::extend(ip, win - (d - i), ip + before));
        if (len < before || before == cap) return len;
        return len + uint32_t(Ops::extend(ip + before, src, ip + cap));
    }

    LZ77_INLINE uint32_t length258(uint32_t i, uint32_t d) const {
        if (straddles(i, d)) return lengthBounded(i, d, kMaxLen);
        const uint8_t* const ip = src + i;
        const uint8_t* const cp = candidate(i, d);
        const uint32_t n = Ops::prefix(Ops::key(ip), cp);
        return n < Ops::kBlock ? n : Ops::matchFrom(ip, cp, Ops::kBlock);
    }

    // Where a walk stands: the best length so far and its distance (0: none
    // beat the length given), the position's 4 bytes ending at that length,
    // the candidates examined and how many may be.
    struct Walk {
        uint32_t best, bestD, tail, n, chainLeft;
    };

    // One step of the main loops' walk from offset i: the candidate at distance
    // d, in reach. A strictly longer one becomes the best (so the newest of
    // equally long ones wins); the walk ends at `nice` or after chainLeft
    // candidates. Reduce (the greedy rule): once the best reaches `good`, a
    // quarter of the chain limit suffices. True when the walk is over.
    //
    // Only a candidate whose 4 bytes ending at the best length agree can be
    // longer; the others, most of a long walk, cost one compare.
    template <bool Reduce>
    LZ77_INLINE bool examine(uint32_t i, uint32_t d, Walk& w, const DeflateMatchParams& prm) const {
        uint32_t len;
        if (straddles(i, d)) [[unlikely]] {
            len = lengthBounded(i, d, kMaxLen);
        } else {
            const uint8_t* const cp = candidate(i, d);
            if (read32(cp + w.best - 3) != w.tail) return ++w.n >= w.chainLeft;
            len = Ops::prefix(Ops::key(src + i), cp);
            if (len == Ops::kBlock) len = Ops::matchFrom(src + i, cp, Ops::kBlock);
        }
        if (len > w.best) {
            w.best = len;
            w.bestD = d;
            if (Reduce && len >= uint32_t(prm.good)) w.chainLeft = uint32_t(prm.chain) >> 2;
            if (len >= uint32_t(prm.nice) || len >= kMaxLen) return true;
            w.tail = read32(src + i + len - 3);
        }
        return ++w.n >= w.chainLeft;
    }

    // The walk from candidate cand on, each next candidate read from the chain.
    template <bool Reduce>
    LZ77_INLINE void walkFrom(uint32_t i, int32_t cand, Walk& w, const DeflateMatchParams& prm) const {
        // The loop carries the candidate's position, not its distance: one chain
        // entry's address is then one mask away from the entry before.
        const uint32_t p = idx + i;
        for (uint32_t c = uint32_t(cand); inReach(p - c);) {
            const int32_t next = chain[c & winMask];
            if (examine<Reduce>(i, p - c, w, prm)) return;
            c = uint32_t(next);
        }
    }

    // The whole walk from offset i, whose previous head entry is cand. Returns
    // the best's distance, or 0 when none beat bestLen.
    template <bool Reduce>
    LZ77_INLINE uint32_t search(uint32_t i, int32_t cand, uint32_t& bestLen, uint32_t chainLeft,
                                const DeflateMatchParams& prm) const {
        Walk w{bestLen, 0, read32(src + i + bestLen - 3), 0, chainLeft};
        if (chainLeft != 0) walkFrom<Reduce>(i, cand, w, prm);
        bestLen = w.best;
        return w.bestD;
    }

    // The same walk for the last call's tail: lengths capped at cap, bounded
    // compares, no reduction.
    uint32_t searchTail(uint32_t i, int32_t cand, uint32_t& bestLen, uint32_t chainLeft, uint32_t nice,
                        uint32_t cap) const {
        const uint32_t p = idx + i;
        uint32_t d = p - uint32_t(cand), best = bestLen, bestD = 0;
        if (best >= cap) return 0;
        for (uint32_t n = 0; inReach(d) && n < chainLeft; ++n) {
            const int32_t next = chain[(p - d) & winMask];
            const uint32_t len = lengthBounded(i, d, cap);
            if (len > best) {
                best = len;
                bestD = d;
                if (best >= nice || best >= cap) break;
            }
            d = p - uint32_t(next);
        }
        bestLen = best;
        return bestD;
    }

    // The last call's last bytes: literals, not entered, and a chain slot that
    // holds a position at or after its own, or one before this call, is set to
    // -winSize.
    void lastLiterals(Records& r, uint32_t& i) const {
        for (; i < srcLen && !r.full(); ++i) {
            r.literal(src[i]);
            const uint32_t p = idx + i;
            int32_t& slot = chain[p & winMask];
            if (int64_t(slot) >= int64_t(p) || int64_t(slot) < int64_t(idx)) slot = -int32_t(winMask + 1);
        }
    }
};

// The chained matchers' split of a call: the main loop's end (offset; may be
// negative), the tail's end for the last call, and the insert limit.
struct Bounds {
    int64_t limit;
    int64_t tailEnd;
    uint32_t insertLimit;
};

inline Bounds boundsOf(const MatchJob& j) {
    Bounds b{int64_t(j.srcLen) - kHoldBack, int64_t(j.srcLen) - kHoldBack + kMaxLen, uint32_t(j.params.limit)};
    if (!j.final && j.srcLen == kHoldBack) {
        // One position more when the input starts exactly at the hold-back, so a
        // caller feeding that much at a time still makes progress.
        b.limit = 1;
        b.insertLimit = std::min<uint32_t>(b.insertLimit, kMaxLen - 1);
    }
    return b;
}

// Runs kernel<Ops, Contig> with Contig chosen by the job's layout.
template <template <class, bool> class Kernel, class Ops>
MatchResult runKernel(const MatchJob& j) {
    if (j.win == j.src) return Kernel<Ops, true>::run(j);
    return Kernel<Ops, false>::run(j);
}

template <class Ops>
void enterChained(const uint8_t* src, uint32_t pos, uint32_t n, int32_t* head, uint32_t hashMask, int32_t* chain,
                  uint32_t winMask) {
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t h = Ops::crc(read32(src + i)) & hashMask;
        chain[(pos + i) & winMask] = head[h];
        head[h] = int32_t(pos + i);
    }
}

}  // namespace
}  // namespace lumdc::deflate
