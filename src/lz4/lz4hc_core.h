// High-compression LZ4 encoding over hash chains, written once and instantiated
// per variant with that variant's primitives (Ops: hash4, extend, copy64).
//
// Chains. Every position of the window is entered, in order: head[hash] holds the
// latest position with that 4-byte hash (plus one, so 0 means none), and
// chain[position mod 65536] the distance back to the one before it, 65535 when
// there is none in reach: a walk then steps by a plain subtraction and leaves
// the window at such a step, with no test for "none" on its critical path. The
// distances fill the first half of the chain table: half the cache footprint of
// whole positions, which the walk, one dependent load after another, feels. The
// head table is zeroed for each block; chain entries are only read for positions
// entered during this block and younger than 65536 positions (older ones are out
// of an offset's reach and their entry may already belong to a newer position),
// so the chain table needs no clearing and its old contents can do no harm.
//
// Parsing. Levels 1 to 9 walk 2 to 256 candidates per position and choose among
// the matches a lazy search meets with the optimal parser's costs (see
// encodeFrontier). Levels
// 10 to 12 parse optimally: within a window of up to kOptWindow positions they
// find, by dynamic programming over exact byte costs, the cheapest way to reach
// the furthest point any match reached, then emit that path.
//
// Internal linkage: each variant includes this once.
#pragma once

#include <cstring>

#include "core/crc32c_hash.h"
#include "lz4_block_writer.h"
#include "lz4hc.h"

namespace lumdc::lz4 {
namespace {

constexpr unsigned kHcHashBits = 15;
// The format lets the last match start 12 bytes before the end; the fast
// encoders' rules stop one byte earlier, which costs a few bytes per block.
constexpr size_t kHcMatchStartMargin = kMatchStartMargin - 1;
constexpr uint32_t kChainMask = 0xFFFF;
// The optimal parsers' nodes live in the second half of the chain table (the
// first holds the 16-bit chain distances): 4098 nodes of 12 bytes fit its
// 128 KiB with room to spare, and no stack is spent on them.
constexpr size_t kOptWindow = 4096;

struct HcLevel {
    uint32_t attempts;    // candidates examined per search
    uint32_t sufficient;  // lazy: a match this long ends the search; optimal: it is taken at once
    bool optimal;
    bool everyPosition;  // optimal: every match counts, not only those that reach further
};

constexpr HcLevel kHcLevels[13] = {
    {0, 0, false, false},
    {2, 16, false, false},
    {2, 16, false, false},
    {4, 16, false, false},
    {8, 16, false, false},
    {16, 16, false, false},
    {32, 16, false, false},
    {64, 16, false, false},
    {128, 16, false, false},
    {256, 65535, false, false},
    {96, 64, true, false},
    {512, 128, true, false},
    {16384, kOptWindow, true, true},
};

struct HcMatch {
    size_t len;  // 0: none
    size_t offset;
};

// Finds the longest match at a position over the chains. Chain swap: a match
// longer than the best so far must agree with it at every offset k inside it, so
// the walk may follow the chain of the 4 bytes at any such offset instead of
// those at offset 0; we follow the one whose previous occurrence lies furthest
// back, which skips the candidates that cannot win. Runs of one byte are crossed
// in one step (see enterUpTo).
template <class Ops>
class HcMatcher {
public:
    HcMatcher(const HcJob& job)
        : base_(job.src - job.prefixLen),
          head_(job.head),
          chain_(reinterpret_cast<uint16_t*>(job.chain)),
          first_(uint32_t(job.prefixLen > kMaxOffset ? job.prefixLen - kMaxOffset : 0)),
          next_(first_) {}

    // The longest match at p longer than minLen and ending by `limit`; at most
    // `attempts` candidates, stopping early at `sufficient`.
    HcMatch longest(const uint8_t* p, size_t minLen, const uint8_t* limit, uint32_t attempts, size_t sufficient) {
        const uint32_t pos = uint32_t(p - base_);
        enterUpTo(pos);
        const size_t room = size_t(limit - p);
        if (minLen >= room) return {0, 0};
        const uint32_t word = load32le(p);
        // In a run of one byte, how far it goes from p: a candidate that is an
        // earlier run's first position matches just that far when its own run is
        // longer, and the position of that run with exactly as much run left (the
        // only one that may match beyond it) was passed over by the chain.
        const bool run = word == (word & 0xFF) * 0x01010101u;
        const size_t runLeft = run ? kMinMatch + Ops::extend(p + kMinMatch, p, limit) : 0;

        return run ? walk<true>(p, pos, minLen, room, word, runLeft, limit, attempts, sufficient)
                   : walk<false>(p, pos, minLen, room, word, 0, limit, attempts, sufficient);
    }

    // longest()'s walk, apart for runs so that other searches carry no run test.
    template <bool kRun>
    HcMatch walk(const uint8_t* p, uint32_t pos, size_t bestLen, size_t room, uint32_t word, size_t runLeft,
                 const uint8_t* limit, uint32_t attempts, size_t sufficient) {
        const int64_t lowest = lowestInReach(pos);
        HcMatch best{0, 0};
        int64_t c1 = firstBefore(p, pos);  // on the chain we walk
        uint32_t follow = 0;               // the offset inside the match whose chain that is
        while (c1 - follow >= lowest && attempts-- > 0) {
            const uint32_t c = uint32_t(c1 - follow);
            const uint8_t* q = base_ + c;
            // A run as long as ours and longer: the position of that run with
            // exactly as much of it left matches at least as far as q does (q
            // itself matches just our run), so only that position is judged.
            if (kRun && runLeft < room && load32le(q) == word && q[runLeft] == p[0] &&
                Ops::extend(p, q, p + runLeft) == runLeft) {
                // How much longer its run is than ours (counted against its own
                // start, so however long; a count that reaches p gives a < pos
                // false and q is judged as it stands).
                const size_t more = Ops::extend(q + runLeft, q, p + runLeft < limit ? p + runLeft : limit);
                const uint32_t a = c + uint32_t(more);
                if (a < pos) {
                    const uint8_t* qa = base_ + a;
                    const size_t len = runLeft + Ops::extend(p + runLeft, qa + runLeft, limit);
                    if (len > bestLen) {
                        bestLen = len;
                        best = {len, size_t(pos - a)};
                        if (len >= sufficient || len >= room) break;
                    }
                    c1 = before(c + follow);
                    continue;
                }
            }
            if (q[bestLen] == p[bestLen] && load32le(q) == word) {
                const size_t len = kMinMatch + Ops::extend(p + kMinMatch, q + kMinMatch, limit);
                if (len > bestLen) {
                    bestLen = len;
                    best = {len, size_t(pos - c)};
                    if (len >= sufficient || len >= room) break;
                    follow = widestGap(c, len, pos);
                }
            }
            c1 = before(c + follow);
        }
        notePeriod(pos, best.len, best.offset);
        return best;
    }

    // The longest match found at s, each candidate also extended backward down
    // to `low`, longer than minLen in total. Returns its start through `start`.
    HcMatch wider(const uint8_t* s, const uint8_t* low, size_t minLen, const uint8_t* limit, uint32_t attempts,
                  const uint8_t*& start) {
        const uint32_t pos = uint32_t(s - base_);
        enterUpTo(pos);
        const int64_t lowest = lowestInReach(pos);
        // Every candidate is judged in full and the best kept without a branch
        // on the outcome: which candidate wins is unpredictable, and a
        // mispredicted guess would also throw away the chain steps already
        // taken ahead, the loads this walk waits on. Only long extensions (past
        // 32 bytes forward or 8 backward) and backward steps with fewer than 8
        // bytes of room branch on the data.
        //
        // Once a match of 64 bytes or more is in hand, the walk ends after 64
        // candidates: on markup, where such matches are common and chains long,
        // older candidates seldom beat it by enough to pay for their steps (xml
        // at level 9: 5% faster, 0.18% larger); on text and binary data, whose
        // walks decide their sizes, so long a match is rare.
        size_t bestLen = minLen, bestOffset = 0, bestBack = 0;
        const bool wide = s + 32 <= limit;
        const uint32_t shortWalkEnd = attempts > 64 ? attempts - 64 : 0;  // `attempts` left after 64
        for (int64_t c = firstBefore(s, pos), prev; c >= lowest && attempts > 0; --attempts, c = prev) {
            const uint8_t* q = base_ + c;
            prev = before(c);
            size_t forward;
            if (wide) {
                forward = Ops::equalPrefix32(s, q);
                if (forward == 32) forward += Ops::extend(s + 32, q + 32, limit);
            } else {
                forward = Ops::extend(s, q, limit);
            }
            const size_t backRoom = size_t(s - low) < size_t(q - base_) ? size_t(s - low) : size_t(q - base_);
            const size_t back = backwardEqual(s, q, backRoom, size_t(q - base_));
            const size_t total = forward + back;
            const bool better = (forward >= kMinMatch) & (total > bestLen);
            bestLen = better ? total : bestLen;
            bestOffset = better ? size_t(pos - c) : bestOffset;
            bestBack = better ? back : bestBack;
            if ((bestLen >= 64) & (attempts <= shortWalkEnd + 1)) break;
        }
        if (bestOffset == 0) return {0, 0};
        start = s - bestBack;
        notePeriod(uint32_t(pos - bestBack), bestLen, bestOffset);
        return {bestLen, bestOffset};
    }

    // From x on, the first position before `stop` that may start a match: one
    // with a candidate whose 4 bytes equal its own among the first `attempts`
    // of its chain (where longest() would find a match), or one this loop
    // leaves to longest(): the start of a run word, or any position when
    // entries ahead of x exist. Positions are entered as the loop passes them,
    // `skip` without a search. Most positions of poorly compressible data find
    // nothing: here the hash that enters a position also gives the head of its
    // chain, and no call or set-up is spent per position.
    const uint8_t* toCandidate(const uint8_t* x, const uint8_t* stop, const uint8_t* skip, uint32_t attempts) {
        uint32_t pos = uint32_t(x - base_);
        if (next_ > pos) return x;
        enterUpTo(pos);
        for (; x < stop; ++x, ++pos) {
            const uint32_t word = load32le(x);
            if (word == (word & 0xFF) * 0x01010101u) break;
            const uint32_t h = hashOf(x);
            const uint32_t prev = head_[h];  // the latest position before pos, plus one
            const uint32_t gap = pos + 1 - prev;
            chain_[pos & kChainMask] = uint16_t(gap > kMaxOffset ? kMaxOffset : gap);
            head_[h] = pos + 1;
            inRun_ = false;
            if (x == skip) continue;
            const int64_t lowest = lowestInReach(pos);
            int64_t c = int64_t(prev) - 1;
            for (uint32_t n = attempts; c >= lowest && n > 0; --n, c = before(c)) {
                if (load32le(base_ + c) == word) {
                    next_ = pos + 1;
                    return x;
                }
            }
        }
        next_ = pos;
        return x;
    }

    const uint8_t* windowStart() const { return base_; }

private:
    uint32_t hashOf(const uint8_t* p) const { return Ops::hash4(p) & ((1u << kHcHashBits) - 1); }

    // Inside a run of one byte, a position is linked to the run's first position
    // rather than to the one before it: a walk then crosses a whole run, this one
    // or an earlier one, in one step. Only positions deeper inside earlier runs
    // are passed over, and they match no further than the run's first position
    // (whose remaining run is longest) does for any but one alignment.
    void enterUpTo(uint32_t pos) {
        if (period_ != 0 && periodFrom_ < pos) enterPeriodic(pos);
        enterEach(pos);
    }

    // Position after position, but long runs at once.
    void enterEach(uint32_t pos) {
        // The loop runs on copies: the members could alias the tables' stores, and
        // would then go through memory at every position.
        uint32_t next = next_, runFirst = runFirst_;
        bool inRun = inRun_;
        for (; next < pos; ++next) {
            const uint8_t* x = base_ + next;
            const uint32_t h = hashOf(x);
            uint32_t gap = next + 1 - head_[h];  // an empty head stands for position -1
            if (load32le(x) == x[0] * 0x01010101u) {
                if (next == 0 || !inRun || x[-1] != x[0]) {
                    inRun = true;
                    runFirst = next;
                } else if (next + 16 >= pos || x[19] != x[0]) {
                    gap = next - runFirst;
                } else {
                    // A long run: its word goes on for as long as the bytes after
                    // it repeat it (up to the last word before pos), and all those
                    // positions share this hash and link to the run's first. They
                    // are entered at once rather than each through a head that the
                    // one before has just stored.
                    const uint32_t last = next + uint32_t(Ops::extend(x + 4, x + 3, base_ + pos + 3));
                    for (uint32_t i = next; i <= last; ++i) {
                        const uint32_t d = i - runFirst;
                        chain_[i & kChainMask] = uint16_t(d > kMaxOffset ? kMaxOffset : d);
                    }
                    head_[h] = last + 1;
                    next = last;
                    continue;
                }
            } else {
                inRun = false;
            }
            chain_[next & kChainMask] = uint16_t(gap > kMaxOffset ? kMaxOffset : gap);
            head_[h] = next + 1;
        }
        next_ = next;
        runFirst_ = runFirst;
        inRun_ = inRun;
    }

    // A match of len bytes at `start`, `offset` back: with an offset of 2 to 16
    // the bytes from start - offset on repeat with that period, and the
    // positions after its first period can be entered at once (enterPeriodic).
    // Searches note their matches here, so that entering tests nothing per
    // position.
    void notePeriod(uint32_t start, size_t len, size_t offset) {
        if (offset - 2 > 14 || len < 32) return;
        const uint32_t from = start + uint32_t(offset) > next_ ? start + uint32_t(offset) : next_;
        const uint32_t last = start + uint32_t(len) - kMinMatch;  // the last position whose word repeats
        if (from + 16 > last) return;
        periodFrom_ = from;
        periodLast_ = last;
        period_ = uint32_t(offset);
    }

    // Enters the noted periodic stretch up to pos (positions before it one by
    // one), unless its entries show that two positions of a period share a hash
    // or its first word is a run's.
    __attribute__((noinline, cold)) void enterPeriodic(uint32_t pos) {
        const uint32_t gap = period_;
        period_ = 0;
        if (periodFrom_ < next_) return;  // passed already
        enterEach(periodFrom_);
        const uint32_t at = next_;
        const uint8_t* x = base_ + at;
        if (at < first_ + gap || at + 1 - head_[hashOf(x)] != gap || load32le(x) == x[0] * 0x01010101u ||
            !periodicEntries(at, gap))
            return;
        const uint32_t last = periodLast_ < pos - 1 ? periodLast_ : pos - 1;
        enterPeriod(at, last, gap, inRun_, runFirst_);
        next_ = last + 1;
        if (last < periodLast_) {  // the rest with a later search
            periodFrom_ = next_;
            period_ = gap;
        }
    }

    // Whether the positions of the period before `at` (whose word repeats `gap`
    // bytes later) were each linked `gap` back: then no two of them share a hash,
    // and as long as the bytes keep the period every position's latest
    // predecessor with its hash lies exactly `gap` back.
    bool periodicEntries(uint32_t at, uint32_t gap) const {
        for (uint32_t k = at - gap + 1; k < at; ++k)
            if (chain_[k & kChainMask] != gap) return false;
        return true;
    }

    // Enters positions at .. last of a stretch with period `gap` (see
    // periodicEntries) at once: each links `gap` back, and only the last period's
    // positions become heads. No position of it continues a run (its bytes
    // would all be one), but the last may start one.
    void enterPeriod(uint32_t at, uint32_t last, uint32_t gap, bool& inRun, uint32_t& runFirst) {
        for (uint32_t i = at; i <= last; ++i) chain_[i & kChainMask] = uint16_t(gap);
        for (uint32_t i = last + 1 - gap; i <= last; ++i) head_[hashOf(base_ + i)] = i + 1;
        const uint8_t* x = base_ + last;
        inRun = load32le(x) == x[0] * 0x01010101u;
        if (inRun) runFirst = last;
    }

    // The latest entered position before pos with x's hash (below the window's
    // reach, possibly negative, when there is none). Entries ahead of pos exist
    // when a search resumes behind them.
    int64_t firstBefore(const uint8_t* x, uint32_t pos) const {
        int64_t c = int64_t(head_[hashOf(x)]) - 1;
        while (c >= pos) c = before(c);
        return c;
    }

    // The earliest position an offset from pos can reach.
    static int64_t lowestInReach(uint32_t pos) { return pos > kMaxOffset ? int64_t(pos - kMaxOffset) : 0; }

    // The position before c in c's chain; one out of reach of any later position
    // when there is none.
    int64_t before(int64_t c) const { return c - chain_[c & kChainMask]; }

    // How many bytes before a and b are equal, at most `room`; `readable` bytes
    // before b (and so before a, which lies later) may be read.
    static size_t backwardEqual(const uint8_t* a, const uint8_t* b, size_t room, size_t readable) {
        size_t n = 0;
        const auto equalBefore8 = [&] {
            uint64_t x, y;
            std::memcpy(&x, a - n - 8, 8);
            std::memcpy(&y, b - n - 8, 8);
            return x == y ? size_t(8) : size_t(__builtin_clzll(x ^ y) / 8);
        };
        for (; n + 8 <= room; n += 8) {
            const size_t k = equalBefore8();
            if (k < 8) return n + k;
        }
        // Under 8 bytes of room is the common case at the frontier, a match or two
        // of a few bytes back: one more wide compare, clipped, rather than a
        // byte loop whose exit the data decides.
        if (n + 8 <= readable) {
            const size_t k = n + equalBefore8();
            return k < room ? k : room;
        }
        for (; n < room && a[-1 - ptrdiff_t(n)] == b[-1 - ptrdiff_t(n)]; ++n) {
        }
        return n;
    }

    // Among the offsets k inside a match at c of length len (whose positions are
    // already entered), the one whose 4-byte sequence occurred least recently.
    uint32_t widestGap(uint32_t c, size_t len, uint32_t pos) const {
        uint32_t bestK = 0, bestGap = 0;
        const uint32_t kMax = uint32_t(len - kMinMatch);
        for (uint32_t k = 0; k <= kMax && c + k < pos; ++k) {
            const uint32_t back = chain_[(c + k) & kChainMask];
            const uint32_t gap = back >= kMaxOffset || back > c ? 0xFFFFFFFFu : back;  // none in reach: best of all
            if (gap > bestGap) {
                bestGap = gap;
                bestK = k;
            }
        }
        return bestK;
    }

    const uint8_t* const base_;
    uint32_t* const head_;
    uint16_t* const chain_;
    const uint32_t first_;     // the first position entered
    uint32_t next_;            // the next position to enter
    uint32_t period_ = 0;      // a noted periodic stretch (0: none): its period,
    uint32_t periodFrom_ = 0;  // the first position to enter at once,
    uint32_t periodLast_ = 0;  // and the last
    bool inRun_ = false;       // next_ - 1 began a run word that continues
    uint32_t runFirst_ = 0;    // the first position of that run
};

// Byte costs of the optimal parser: a node's price counts everything emitted so
// far plus the literal bytes (and their length bytes) of its pending run; a
// match adds its token, offset and length bytes.
inline uint32_t literalStep(uint32_t run) {  // cost of growing a run from `run` to run + 1
    const uint32_t n = run + 1;
    return 1 + (n == 15 || (n > 15 && (n - 15) % 255 == 0) ? 1 : 0);
}
inline uint32_t literalsCost(size_t run) { return uint32_t(run + lengthBytes(run)); }
inline uint32_t matchCost(size_t len) {  // token, offset, and length bytes past 18
    return len < 19 ? 3 : len < 274 ? 4 : uint32_t(3 + lengthBytes(len - kMinMatch));
}

struct OptNode {
    uint32_t price;
    uint32_t run;  // pending literals when reached by a literal
    uint16_t len;  // 0: reached by a literal, else by a match of this length
    uint16_t offset;
};

// Emits the path that reaches opt[to] (positions relative to p), leaving its
// final literal run pending at `anchor`; false when the destination refused a
// sequence.
template <class Writer>
bool emitOptimalPath(Writer& out, const uint8_t*& anchor, const OptNode* opt, const uint8_t* p, size_t to) {
    struct Step {
        uint16_t at, len, offset;  // within the window, a window-bounded length, an offset
    };
    Step steps[kOptWindow / kMinMatch + 1];
    size_t count = 0;
    for (size_t e = to; e > 0;) {
        if (opt[e].len == 0) {
            --e;
        } else {
            steps[count++] = {uint16_t(e - opt[e].len), opt[e].len, opt[e].offset};
            e -= opt[e].len;
        }
    }
    while (count > 0) {
        const Step& s = steps[--count];
        const uint8_t* m = p + s.at;
        const size_t lit = size_t(m - anchor);
        if (!out.fits(lit, s.len, m + s.len)) return false;
        out.sequence(anchor, lit, s.offset, s.len);
        anchor = m + s.len;
    }
    return true;
}

// Levels 1 to 9: the byte costs of the optimal parser over only the matches a
// lazy search meets. From a match at p, one search two bytes before the furthest
// point reached ("the frontier") looks for a match extended backward (to just
// after p at most) that reaches beyond it; each match found may be used from its
// start with any length, or from any position inside it to its end, so the
// dynamic programme settles where overlapping matches hand over. Positions are
// finalised in order; a match found further back than the finalised point only
// adds its ends reached from finalised positions. Searches stay as few as a lazy
// parser's.
//
// Positions strictly inside the window that no match starts at are never searched
// there, so a path that ends in literals is cut after its last match and the
// search resumes at that match's end (entries already made further on are passed
// over). A literal wins a tie with a match, so a path ends in literals whenever
// that costs nothing: on image data, where most matches are 4 or 5 bytes, the
// match that one of those literals starts is often a byte longer than what the
// next window would otherwise begin with. The frontier search's own position is
// not searched again when that search found nothing: every candidate it judged
// had fewer than 4 bytes forward, so none would start a match there either.
template <class Ops>
EncodeResult encodeFrontier(const HcJob& job, const HcLevel& level, OptNode* opt) {
    const uint8_t* const src = job.src;
    const uint8_t* const end = src + job.srcLen;
    BlockWriter<Ops, true> out(job.dst, job.capacity, end);
    HcMatcher<Ops> matcher(job);
    const uint8_t* anchor = src;
    constexpr uint32_t kUnreached = 0xFFFFFFFFu;
    struct Active {
        uint32_t start, end;
        uint16_t offset;
    };
    constexpr size_t kMaxActive = 16;
    Active active[kMaxActive];

    if (job.srcLen > kHcMatchStartMargin) {
        const uint8_t* const matchLimit = end - kHcMatchStartMargin;
        const uint8_t* const extendLimit = end - kMatchEndMargin;
        const uint8_t* const low = matcher.windowStart();
        const uint8_t* p = src;
        const uint8_t* searched = nullptr;  // where the last window's frontier search found nothing
        while (p < matchLimit) {
            p = matcher.toCandidate(p, matchLimit, searched, level.attempts);
            if (p == matchLimit) break;
            if (p == searched) {
                ++p;
                continue;
            }
            HcMatch m = matcher.longest(p, kMinMatch - 1, extendLimit, level.attempts, level.sufficient);
            if (m.len == 0) {
                ++p;
                continue;
            }
            while (p > anchor && p - m.offset > low && p[-1] == p[-1 - ptrdiff_t(m.offset)]) {
                --p;
                ++m.len;
            }
            // A match too long to weigh, or one that nothing overlapping beats, is
            // simply taken: with a single match the programme's answer is that match.
            const uint8_t* wStart = nullptr;
            HcMatch w{0, 0};
            if (m.len + 2 * kMinMatch < kOptWindow && m.len < level.sufficient && p + m.len - 2 < matchLimit)
                w = matcher.wider(p + m.len - 2, p + 1, kMinMatch - 1, extendLimit, level.attempts, wStart);
            if (w.len == 0 || size_t(wStart - p) + w.len <= m.len || size_t(wStart - p) + w.len > kOptWindow) {
                const size_t lit = size_t(p - anchor);
                if (!out.fits(lit, m.len, p + m.len)) break;
                out.sequence(anchor, lit, m.offset, m.len);
                p += m.len;
                anchor = p;
                continue;
            }

            const size_t run0 = size_t(p - anchor);
            opt[0] = {literalsCost(run0), uint32_t(run0), 0, 0};
            size_t reach = 0;
            // The programme's steps below are called from several places and would
            // otherwise stay calls, their shared state kept in memory: inlined,
            // it lives in registers.
            const auto touch = [&](size_t upTo) __attribute__((always_inline)) {
                for (; reach < upTo; ++reach) opt[reach + 1] = {kUnreached, 0, 0, 0};
            };
            // No match may start in the last 12 bytes, not even one taken from
            // inside a match found earlier.
            const size_t startLimit = size_t(matchLimit - p);
            const auto relax = [&](size_t from, size_t to, uint16_t offset) __attribute__((always_inline)) {
                if (from >= startLimit) return;
                const uint32_t price = opt[from].price + matchCost(to - from);
                if (price < opt[to].price) opt[to] = {price, 0, uint16_t(to - from), offset};
            };
            size_t active_count = 0, done = 0;                                   // positions below `done` are final
            const auto process = [&](size_t x) __attribute__((always_inline)) {  // finalise x and relax out of it
                const uint32_t run = opt[x].len == 0 ? opt[x].run : 0;
                const uint32_t byLiteral = opt[x].price + literalStep(run);
                if (byLiteral <= opt[x + 1].price) opt[x + 1] = {byLiteral, run + 1, 0, 0};
                for (size_t i = 0; i < active_count;) {
                    const Active& a = active[i];
                    if (x + kMinMatch > a.end) {  // of no more use from here on
                        active[i] = active[--active_count];
                        continue;
                    }
                    if (x == a.start)
                        for (size_t to = x + kMinMatch; to <= a.end; ++to) relax(x, to, a.offset);
                    else if (x > a.start)
                        relax(x, a.end, a.offset);
                    ++i;
                }
                done = x + 1;
            };
            const auto addMatch = [&](size_t start, size_t matchEnd, size_t offset) __attribute__((always_inline)) {
                touch(matchEnd + 1);
                for (size_t x = start; x < done && x + kMinMatch <= matchEnd; ++x) {
                    if (x == start)
                        for (size_t to = done > x + kMinMatch ? done : x + kMinMatch; to <= matchEnd; ++to)
                            relax(x, to, uint16_t(offset));
                    else
                        relax(x, matchEnd, uint16_t(offset));
                }
                if (active_count == kMaxActive) {  // the one ending first is worth least
                    size_t shortest = 0;
                    for (size_t i = 1; i < kMaxActive; ++i)
                        if (active[i].end < active[shortest].end) shortest = i;
                    active[shortest] = active[--active_count];
                }
                active[active_count++] = {uint32_t(start), uint32_t(matchEnd), uint16_t(offset)};
            };

            addMatch(0, m.len, m.offset);
            size_t last = m.len;
            while (done + 2 <= last) process(done);
            addMatch(size_t(wStart - p), size_t(wStart - p) + w.len, w.offset);
            last = size_t(wStart - p) + w.len;
            m = w;
            while (last + 2 * kMinMatch < kOptWindow && m.len < level.sufficient) {
                const uint8_t* s = p + last - 2;
                if (s >= matchLimit) break;
                while (done + 2 <= last) process(done);
                const uint8_t* start = nullptr;
                const HcMatch next = matcher.wider(s, p + 1, kMinMatch - 1, extendLimit, level.attempts, start);
                if (next.len == 0) {
                    searched = s;
                    break;
                }
                const size_t nextEnd = size_t(start - p) + next.len;
                if (nextEnd <= last || nextEnd > kOptWindow) break;
                addMatch(size_t(start - p), nextEnd, next.offset);
                last = nextEnd;
                m = next;
            }
            while (done < last) process(done);
            if (!emitOptimalPath(out, anchor, opt, p, last)) goto last;
            p = anchor > p ? anchor : p + 1;  // (a path without a match moves on by one)
        }
    }
last:
    const size_t lit = out.last(anchor);
    return {size_t(anchor - src) + lit, out.produced()};
}

// Levels 10 to 12. A search runs through all its candidates: stopping at the
// first match of `sufficient` bytes would take it instead of a longer one (xml at
// level 10: 2% larger), and a match that long is rare enough that the rest of
// its walk costs little.
template <class Ops>
EncodeResult encodeOptimal(const HcJob& job, const HcLevel& level, OptNode* opt) {
    const uint8_t* const src = job.src;
    const uint8_t* const end = src + job.srcLen;
    BlockWriter<Ops, true> out(job.dst, job.capacity, end);
    HcMatcher<Ops> matcher(job);
    const uint8_t* anchor = src;
    constexpr uint32_t kUnreached = 0xFFFFFFFFu;

    const auto emitPath = [&](const uint8_t* p, size_t to) { return emitOptimalPath(out, anchor, opt, p, to); };

    if (job.srcLen > kHcMatchStartMargin) {
        const uint8_t* const matchLimit = end - kHcMatchStartMargin;
        const uint8_t* const extendLimit = end - kMatchEndMargin;
        const uint8_t* p = src;
        while (p < matchLimit) {
            p = matcher.toCandidate(p, matchLimit, nullptr, level.attempts);
            if (p == matchLimit) break;
            const HcMatch first = matcher.longest(p, kMinMatch - 1, extendLimit, level.attempts, SIZE_MAX);
            if (first.len == 0) {
                ++p;
                continue;
            }
            if (first.len >= level.sufficient || first.len >= kOptWindow) {
                const size_t lit = size_t(p - anchor);
                if (!out.fits(lit, first.len, p + first.len)) goto last;
                out.sequence(anchor, lit, first.offset, first.len);
                p += first.len;
                anchor = p;
                continue;
            }

            const size_t run0 = size_t(p - anchor);
            opt[0] = {literalsCost(run0), uint32_t(run0), 0, 0};
            size_t reach = 0;  // opt[0 .. reach + 1] are initialised
            const auto touch = [&](size_t upTo) {
                for (; reach < upTo; ++reach) opt[reach + 1] = {kUnreached, 0, 0, 0};
            };
            const auto relaxMatches = [&](size_t cur, const HcMatch& m, size_t from) {
                touch(cur + m.len + 1);
                const uint32_t base = opt[cur].price;
                for (size_t len = from; len <= m.len; ++len) {
                    const uint32_t price = base + matchCost(len);
                    if (price < opt[cur + len].price) opt[cur + len] = {price, 0, uint16_t(len), uint16_t(m.offset)};
                }
            };
            relaxMatches(0, first, kMinMatch);
            size_t last = first.len;  // the furthest point reached by a match
            for (size_t cur = 0; cur < last; ++cur) {
                // The literal step into cur + 1.
                const uint32_t run = opt[cur].len == 0 ? opt[cur].run : 0;
                const uint32_t byLiteral = opt[cur].price + literalStep(run);
                if (byLiteral < opt[cur + 1].price) opt[cur + 1] = {byLiteral, run + 1, 0, 0};
                if (cur == 0) continue;
                const uint8_t* q = p + cur;
                if (q >= matchLimit) continue;
                // A match of 5 bytes or more from cur has its tail from cur + 1: the
                // same offset, one byte shorter, to the same end, and a match's price
                // depends only on its length and never falls as it grows. So when
                // cur + 1 is reached no dearer than cur, a search here could add
                // only a 4-byte match; inside a long match, where every position
                // costs the same, none is searched (levels 10-12 within 0.01% of
                // searching all of them, and several times faster on xml).
                if (opt[cur + 1].price <= opt[cur].price) continue;
                // Below the top level, only matches that reach past `last` count.
                const size_t minLen = level.everyPosition ? kMinMatch - 1 : last - cur;
                const HcMatch m = matcher.longest(q, minLen, extendLimit, level.attempts, SIZE_MAX);
                if (m.len == 0) continue;
                // A match too long for this window closes it here: the next window
                // starts at cur, finds the match again and weighs it against the
                // positions after cur, where a longer match may start a few bytes
                // later.
                if (m.len >= level.sufficient || cur + m.len > kOptWindow) {
                    last = cur;
                    break;
                }
                relaxMatches(cur, m, kMinMatch);
                if (cur + m.len > last) last = cur + m.len;
            }
            if (!emitPath(p, last)) goto last;
            p += last;
        }
    }
last:
    const size_t lit = out.last(anchor);
    return {size_t(anchor - src) + lit, out.produced()};
}

template <class Ops>
EncodeResult encodeHcBlock(const HcJob& job) {
    const HcLevel& level = kHcLevels[job.level];
    OptNode* const nodes = reinterpret_cast<OptNode*>(job.chain + kHcChainBytes / 8);
    static_assert((kOptWindow + 2) * sizeof(OptNode) <= kHcChainBytes / 2);
    return level.optimal ? encodeOptimal<Ops>(job, level, nodes) : encodeFrontier<Ops>(job, level, nodes);
}

}  // namespace
}  // namespace lumdc::lz4
