// Deflate LZ77 matching, lazy (levels 5-9, 15-19, 25-29): a match found at a
// position waits while the next position is searched for a longer one; the
// longer wins, and a lost pending match leaves one literal behind. The search
// one later starts from the pending length, so it only measures candidates that
// could beat it, and with a quarter of the chain once the pending match is good.
//
// Nothing survives a call, so a call never ends with a match pending: at the
// end of its positions, or with one record of room left, the pending match is
// written without the look one later (its position is entered as the look would
// have), and a pending literal is written and its successor left to the next
// call. Either way no position is entered twice.
#pragma once

#include <algorithm>
#include <cstdint>

#include "deflate/deflate_lz77_core.h"

namespace lumdc::deflate {
namespace {

template <class Ops, bool Contig>
struct Lazy {
    using M = Matcher<Ops, Contig>;

    // The position before the current one, not yet written: a match when len
    // is 4 or more, else a literal.
    struct Pending {
        uint32_t len;
        uint32_t dist;
        bool held;
    };

    static MatchResult run(const MatchJob& j) {
        const M m(j);
        Records r{j.litDst, j.distDst, 0, j.room, j.litCounts, j.distCounts};
        const Bounds b = boundsOf(j);
        Pending pd{0, 0, false};
        uint32_t i = 0;
        if (b.limit > 0) i = loop<false>(m, r, 0, uint32_t(b.limit), pd, j.params);
        if (j.final && int64_t(i) < b.tailEnd) i = loop<true>(m, r, i, uint32_t(b.tailEnd), pd, j.params);
        if (pd.held) settle(m, r, i, pd);
        if (j.final) m.lastLiterals(r, i);
        return {i, r.out};
    }

    // The inner positions of a match of len at distance dist starting at offset
    // s, whose first two positions are entered already. Overlapping, the entries
    // start one later than the greedy matcher's.
    LZ77_INLINE static void enterInner(const M& m, uint32_t s, uint32_t len, uint32_t dist) {
        if (len <= dist) {
            m.enterRange(s + 2, s + len);
            return;
        }
        const int32_t skip = std::max<int32_t>(1, int32_t(len - dist) - 3);
        if (skip <= int32_t(len) - 2) m.enterRange(s + 1 + uint32_t(skip), s + len);
    }

    // Writes the pending record at offset i - 1 without a look at i.
    static void settle(const M& m, Records& r, uint32_t& i, Pending& pd) {
        if (pd.len >= 4) {
            r.match(pd.len, pd.dist);
            m.enter(i);
            enterInner(m, i - 1, pd.len, pd.dist);
            i += pd.len - 1;
        } else {
            r.literal(m.src[i - 1]);
        }
        pd = Pending{0, 0, false};
    }

    template <bool Tail>
    static uint32_t loop(const M& matcher, Records& records, uint32_t i, uint32_t stop, Pending& pending,
                         const DeflateMatchParams& prm) {
        // Local copies: a record's byte store may alias anything reached through
        // a reference, which would reload every pointer after each record.
        const M m = matcher;
        Records r = records;
        Pending pd = pending;
        const uint32_t chainLimit = uint32_t(prm.chain), good = uint32_t(prm.good), nice = uint32_t(prm.nice),
                       lazy = uint32_t(prm.limit);
        // The next position's hash, known one position ahead in the main loop so
        // that its head entry is on its way while this one is walked.
        uint32_t h = i < stop && !Tail ? m.hashAt(i) : 0;
        while (i < stop && !r.full()) {
            if (pd.held && r.left() == 1) {
                settle(m, r, i, pd);
                break;
            }
            const int32_t cand = Tail ? m.enter(i) : m.enterAt(i, h);
            if (!Tail && i + 1 < stop) {
                h = m.hashAt(i + 1);
                __builtin_prefetch(&m.head[h]);
            }
            const uint32_t prevLen = pd.len;
            uint32_t best = std::max(kMinLen, prevLen), d = 0;
            if (prevLen < lazy) {
                uint32_t chainLeft = Tail || prevLen < good ? chainLimit : chainLimit >> 2;
                // The walk stops after any candidate once the best reaches nice.
                if (best >= nice) chainLeft = std::min(chainLeft, 1u);
                if (Tail)
                    d = m.searchTail(i, cand, best, chainLeft, nice, std::min(kMaxLen, stop - i));
                else if (best < kMaxLen)
                    d = m.template search<false>(i, cand, best, chainLeft, prm);
            }
            if (pd.held) {
                if (d == 0 && prevLen >= 4) {
                    if (!Tail && i - 1 + prevLen < stop) {
                        h = m.hashAt(i - 1 + prevLen);
                        __builtin_prefetch(&m.head[h]);
                    }
                    r.match(prevLen, pd.dist);
                    enterInner(m, i - 1, prevLen, pd.dist);
                    i += prevLen - 1;
                    pd = Pending{0, 0, false};
                    continue;
                }
                r.literal(m.src[i - 1]);
            }
            pd = Pending{d != 0 ? best : 0, d, true};
            ++i;
        }
        records = r;
        pending = pd;
        return i;
    }
};

}  // namespace
}  // namespace lumdc::deflate
