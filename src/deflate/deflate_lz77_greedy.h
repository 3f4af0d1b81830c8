// Deflate LZ77 matching, greedy: each position takes the longest match its walk
// finds, at once. Over CRC-32C hash chains (levels 1-4, 11-14, 21-24) a match
// is at least 4 bytes and only short matches (up to the insert limit) enter
// their inner positions, which is what makes these levels fast; with one probe
// of the rolling 3-byte hash (levels 0, 10, 20) matches start at 3 bytes and
// every inner position is entered.
#pragma once

#include <algorithm>
#include <cstdint>

#include "deflate/deflate_lz77_core.h"

namespace lumdc::deflate {
namespace {

template <class Ops, bool Contig>
struct GreedyChained {
    using M = Matcher<Ops, Contig>;

    static MatchResult run(const MatchJob& j) {
        const M m(j);
        Records r{j.litDst, j.distDst, 0, j.room, j.litCounts, j.distCounts};
        const Bounds b = boundsOf(j);
        uint32_t i = 0;
        if (b.limit > 0) i = loop<false>(m, r, 0, uint32_t(b.limit), b.insertLimit, j.params);
        if (j.final) {
            if (int64_t(i) < b.tailEnd) i = loop<true>(m, r, i, uint32_t(b.tailEnd), b.insertLimit, j.params);
            m.lastLiterals(r, i);
        }
        return {i, r.out};
    }

    // Offsets i < stop; the tail (stop = the last call's end - 3) caps lengths
    // at stop - i.
    template <bool Tail>
    static uint32_t loop(const M& matcher, Records& records, uint32_t i, uint32_t stop, uint32_t insertLimit,
                         const DeflateMatchParams& prm) {
        // Local copies: a record's byte store may alias anything reached through
        // a reference, which would reload every pointer after each record.
        const M m = matcher;
        Records r = records;
        const uint32_t chainLimit = uint32_t(prm.chain);
        // The next position's hash, known one position ahead in the main loop so
        // that its head entry is on its way while this one is walked.
        uint32_t h = i < stop && !Tail ? m.hashAt(i) : 0;
        while (i < stop && !r.full()) {
            const int32_t cand = Tail ? m.enter(i) : m.enterAt(i, h);
            if (!Tail && i + 1 < stop) {
                h = m.hashAt(i + 1);
                __builtin_prefetch(&m.head[h]);
            }
            uint32_t best = kMinLen, d;
            if (Tail)
                d = m.searchTail(i, cand, best, chainLimit, uint32_t(prm.nice), std::min(kMaxLen, stop - i));
            else
                d = m.template search<true>(i, cand, best, chainLimit, prm);
            if (d == 0) {
                r.literal(m.src[i]);
                ++i;
                continue;
            }
            if (!Tail && i + best < stop) {
                h = m.hashAt(i + best);
                __builtin_prefetch(&m.head[h]);
            }
            r.match(best, d);
            if (best <= d) {
                if (best <= insertLimit) m.enterRange(i + 1, i + best);
            } else if (d <= insertLimit) {
                // Overlapping: only the last few positions, where the repeat
                // can next be picked up, are entered.
                m.enterRange(i + uint32_t(std::max<int32_t>(1, int32_t(best - d) - 3)), i + best);
            }
            i += best;
        }
        records = r;
        return i;
    }
};

template <class Ops, bool Contig>
struct GreedyRolling {
    static MatchResult run(const MatchJob& j) {
        const Matcher<Ops, Contig> m(j);
        Records r{j.litDst, j.distDst, 0, j.room, j.litCounts, j.distCounts};
        const uint8_t* const src = j.src;
        const uint32_t n = j.srcLen, mask = j.hashMask;
        int32_t* const head = j.head;
        // The hash at offset i covers bytes i .. i + 2: the last call hashes up to
        // its third-last byte, others stop where the hold-back begins.
        const int64_t stop = j.final ? int64_t(n) - 2 : int64_t(n) - (kHoldBack - 1);
        uint32_t h = n >= 3 ? uint32_t(src[0]) << 5 ^ src[1] : 0;
        uint32_t i = 0;
        while (int64_t(i) < stop && !r.full()) {
            h = (h << 5 ^ src[i + 2]) & mask;
            const uint32_t d = j.idx + i - uint32_t(head[h]);
            head[h] = int32_t(j.idx + i);
            uint32_t len = 0;
            if (m.inReach(d)) {
                const uint32_t cap = j.final ? uint32_t(std::min<int64_t>(kMaxLen, stop - int64_t(i))) : kMaxLen;
                len = cap == kMaxLen ? m.length258(i, d) : m.lengthBounded(i, d, cap);
            }
            if (len < kMinLen) {
                r.literal(src[i]);
                ++i;
                continue;
            }
            r.match(len, d);
            for (uint32_t q = i + 1; q < i + len; ++q) {
                h = (h << 5 ^ src[q + 2]) & mask;
                head[h] = int32_t(j.idx + q);
            }
            i += len;
        }
        if (j.final)
            for (; i < n && !r.full(); ++i) r.literal(src[i]);
        return {i, r.out};
    }
};

}  // namespace
}  // namespace lumdc::deflate
