// The fastest matcher, compiled once per instruction-set level with that level's
// hash and compares (Ops: hash(word), and extend() of core/lz_match.h).
//
// Each position gets one probe: the CRC-32C of its four bytes picks a head-table
// slot, whose position is the only candidate, and the slot takes this position.
// A candidate within the window whose four bytes agree is extended up to 258 bytes;
// matches start at 4 bytes. Of the positions a match covers, the last two are
// entered into the table (each entry costs a hash and a store; it is the end of a
// match that the next repetition most often starts from, and entering all of them
// bought 1-2% of size for a third of the speed on text).
//
// No skipping over incompressible stretches: every decision may rest only on the
// data and the head table, since the caller's variables hold nothing else between
// calls, and a step that grew with the literals seen so far would make the bits
// depend on where the calls were cut. Literals are cheap instead: the probe loop
// only notes where a run of them starts, and the run is coded (or counted) in a
// loop of its own when a match ends it, three codes to a store.
//
// Decisions at a position read at most 261 bytes from it (258 of match and the
// keys of the last entered positions), which is what a non-final call holds back;
// near the end of a final call the same rules run with those reads cut short, so
// a position is decided the same way whichever call reaches it. A call stops for
// room only between records, before the next position touches the table.
//
// Internal linkage: each variant's translation unit includes its own copy.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "core/unaligned.h"
#include "deflate_fastest.h"
#include "deflate_huff_bits.h"

#define LUMDC_INLINE [[gnu::always_inline]] inline

namespace lumdc::deflate {
namespace {

// Writes records as codes: each code (or group of codes) joins fewer than 8
// pending bits, the 8 bytes are stored whole and the pointer moves on by the whole
// bytes (see deflate_huff_core.h).
struct CodeSink {
    uint8_t* out;
    uintptr_t lastStart;  // a record may start while out <= lastStart (0: none may)
    uint64_t acc;
    uint32_t n;
    const FastestCodes* c;

    // Records that surely fit: each takes at most 6 bytes.
    LUMDC_INLINE size_t recordsLeft() const {
        return uintptr_t(out) <= lastStart ? (lastStart - uintptr_t(out)) / 6 + 1 : 0;
    }

    // v < 2^len, len <= 56.
    LUMDC_INLINE void put(uint64_t v, uint32_t len) {
        acc |= v << n;
        n += len;
        store64le(out, acc);
        out += n >> 3;
        acc >>= n & 56;
        n &= 7;
    }
    // Three literal codes are at most 45 bits.
    LUMDC_INLINE void literals(const uint8_t* p, size_t count) {
        const uint16_t* const value = c->litValue;
        const uint8_t* const length = c->litLength;
        size_t k = 0;
        for (; k + 3 <= count; k += 3) {
            const uint32_t l0 = length[p[k]], l1 = length[p[k + 1]], l2 = length[p[k + 2]];
            const uint64_t v = value[p[k]] | uint64_t(value[p[k + 1]]) << l0 | uint64_t(value[p[k + 2]]) << (l0 + l1);
            put(v, l0 + l1 + l2);
        }
        for (; k < count; ++k) put(value[p[k]], length[p[k]]);
    }
    // Codes a match of len bytes at dist, shortened to a length whose symbol has a
    // code; returns the length coded, or 0 when it cannot be coded at all.
    LUMDC_INLINE uint32_t match(uint32_t len, uint32_t dist) {
        const uint32_t lv = c->fit[len - 3];
        const uint32_t dm1 = dist - 1;
        const Merged e2 = c->m.dist[distSlot(dm1)];
        if (lv == 0xFFFF || mergedCodeLen(e2) == 0) return 0;
        const Merged e1 = c->m.litLen[256 + lv];
        const uint64_t v2 = uint64_t(mergedValue(e2)) + (uint64_t(dm1 & 127) << mergedCodeLen(e2));
        const uint32_t len1 = mergedLen(e1);
        put(uint64_t(mergedValue(e1)) | v2 << len1, len1 + mergedLen(e2));
        return lv + 3;
    }
};

// Counts the records instead (every symbol taken to have a code). Literals count
// in four tables by position: a run of one byte value would otherwise chain every
// count through the same memory word.
struct CountSink {
    uint32_t (*lit)[256];  // four tables
    uint32_t* lengths;     // 29 length symbols
    uint32_t* dist;

    static size_t recordsLeft() { return SIZE_MAX; }
    LUMDC_INLINE void literals(const uint8_t* p, size_t count) {
        size_t k = 0;
        for (; k + 4 <= count; k += 4) {
            ++lit[0][p[k]];
            ++lit[1][p[k + 1]];
            ++lit[2][p[k + 2]];
            ++lit[3][p[k + 3]];
        }
        for (; k < count; ++k) ++lit[k & 3][p[k]];
    }
    LUMDC_INLINE uint32_t match(uint32_t len, uint32_t d) {
        ++lengths[lengthSymbol(len - 3)];
        ++dist[distSymbol(d - 1)];
        return len;
    }
};

// The matcher over one job. Every field is a copy, and run() works on a copy of
// the sink: the output stores go through byte pointers, which may alias anything
// whose address has escaped, and locals that never escape stay in registers.
// kOneBuffer: the history lies right before src (window == src), so a candidate
// is read at cur - dist whether it is history or input.
template <class Ops, bool kOneBuffer>
struct Fastest {
    const uint8_t* const src;
    const uint8_t* const window;
    int32_t* const head;
    const uint32_t idx;
    const uint32_t winSize;
    const uint32_t hashMask;

    explicit Fastest(const FastestJob& j)
        : src(j.src), window(j.window), head(j.head), idx(j.idx), winSize(j.winSize), hashMask(j.hashMask) {}

    // Enters position i, whose four bytes are `word`, and returns the distance to
    // the candidate it replaces.
    LUMDC_INLINE uint32_t enter(size_t i, uint32_t word) const {
        const uint32_t h = Ops::hash(word) & hashMask;
        const uint32_t pos = idx + uint32_t(i);
        const uint32_t dist = pos - uint32_t(head[h]);
        head[h] = int32_t(pos);
        return dist;
    }
    LUMDC_INLINE void enter(size_t i) const { enter(i, read32(src + i)); }

    // Bytes src[i...] has in common with the candidate dist back (1 <= dist <
    // winSize), at most maxLen (src[i, i + maxLen) readable).
    LUMDC_INLINE size_t matchLength(size_t i, uint32_t dist, size_t maxLen) const {
        const uint8_t* const cur = src + i;
        if (kOneBuffer || dist <= i) return Ops::extend(cur, cur - dist, cur + maxLen);
        const size_t inWindow = dist - i;
        if (inWindow >= maxLen) return Ops::extend(cur, window - inWindow, cur + maxLen);
        // The candidate runs from the history into src.
        size_t n = Ops::extend(cur, window - inWindow, cur + inWindow);
        if (n == inWindow) n += Ops::extend(cur + n, src, cur + maxLen);
        return n;
    }

    // Whether the candidate dist back from i is in reach and may match: its first
    // four bytes equal `word`, or (history apart from src) they straddle the end
    // of the history and only matchLength() can tell.
    //
    // Most positions of poorly compressible data have a candidate in reach whose
    // bytes differ, and whether one is in reach is a coin toss: so reach and the
    // first bytes are judged together without a branch (a candidate out of reach
    // compares src with itself and is masked out), and only a likely match
    // branches away. The selection is arithmetic on masks, as compilers like to
    // turn conditional moves and logical ands back into the branches avoided.
    //
    // Above all no flag may be turned into a value with setcc: it writes a byte of
    // a register and so waits for the register's last value, which can be the end
    // of the previous position's chain of loads, and the positions then run one
    // after another instead of side by side.
    LUMDC_INLINE bool mayMatch(size_t i, uint32_t dist, uint32_t word) const {
        const uint8_t* const cur = src + i;
        const uint64_t reach = inReach(dist);
        if (kOneBuffer) return (uint32_t(read32(cur - (dist & reach)) ^ word) | uint32_t(reach + 1)) == 0;
        const bool inSrc = dist <= i;
        const size_t inWindow = dist - i;
        const uint8_t* const cand = inSrc ? cur - dist : window - inWindow;
        const bool readable = (reach != 0) & (inSrc | (inWindow >= 4));
        const uint8_t* const at = readable ? cand : cur;
        // Straddling candidates in reach go to matchLength() as if they matched.
        return (read32(at) == word && readable) || (reach != 0 && !readable);
    }

    // All ones when 1 <= dist < winSize, else 0: the borrow of a 64-bit subtraction
    // of 32-bit values, spread by an arithmetic shift.
    LUMDC_INLINE uint64_t inReach(uint32_t dist) const {
        return uint64_t(int64_t(uint64_t(dist - 1) - (winSize - 1)) >> 63);
    }

    // Positions i + 1 .. i + len - 1 that go into the table: the last two, those
    // whose keys lie within src[0, end).
    LUMDC_INLINE void enterInner(size_t i, size_t len, size_t end) const {
        const size_t last = i + len - 1;
        if (last + 4 <= end) {
            enter(last - 1);
            enter(last);
        } else if (last + 3 <= end) {
            enter(last - 1);
        }
    }

    // The match at i, with src[i, end) readable (end - i >= 4; kAhead: end - i >
    // 261, so eight bytes can be read at i and at any candidate in src, and a
    // match may run to 258 bytes unchecked): its length and distance, or a length
    // below 4 for none. Enters i.
    template <bool kAhead>
    LUMDC_INLINE size_t probe(size_t i, size_t end, uint32_t& dist) const {
        const uint8_t* const cur = src + i;
        if (kAhead && kOneBuffer) {
            // The first eight bytes are compared at once: most matches are shorter.
            const uint64_t word8 = read64(cur);
            dist = enter(i, uint32_t(word8));
            const uint64_t reach = inReach(dist);
            const uint64_t differ = read64(cur - (dist & reach)) ^ word8;
            if ((uint32_t(differ) | uint32_t(reach + 1)) != 0) return 0;
            return differ != 0 ? size_t(std::countr_zero(differ) >> 3)
                               : 8 + Ops::extend(cur + 8, cur - dist + 8, cur + kMaxMatch);
        }
        const uint32_t word = read32(cur);
        dist = enter(i, word);
        if (!mayMatch(i, dist, word)) return 0;
        return matchLength(i, dist, end - i < kMaxMatch ? end - i : kMaxMatch);
    }

    // The first position in [i, stop) with a match (its length and distance), or
    // stop. Literal stretches run here, in a loop of few live values, apart from
    // the sink's state.
    // The fields are copied to a local first, and the results written once: the
    // table stores could otherwise reach them, and they would be read again and
    // written at every position.
    template <bool kAhead>
    [[gnu::noinline]] size_t scan(size_t i, size_t stop, size_t end, size_t& lenOut, uint32_t& distOut) const {
        const Fastest f = *this;
        for (; i < stop; ++i) {
            uint32_t dist;
            const size_t len = f.probe<kAhead>(i, end, dist);
            if (len >= kFastestMinMatch) {
                lenOut = len;
                distOut = dist;
                break;
            }
        }
        return i;
    }

    // Positions [i, stop) (and on, to the end of the last match), src[0, end)
    // readable; literals from `run` on are pending until a match or the caller
    // codes them. Returns the position reached.
    template <bool kAhead, class Sink>
    LUMDC_INLINE size_t stretch(Sink& s, size_t i, size_t stop, size_t end, size_t& run) const {
        for (;;) {
            size_t len;
            uint32_t dist;
            i = scan<kAhead>(i, stop, end, len, dist);
            if (i >= stop) return i;
            s.literals(src + run, i - run);
            if (const size_t coded = s.match(uint32_t(len), dist); coded != 0) {
                enterInner(i, coded, end);
                i += coded;
                run = i;
            } else {
                run = i++;  // not coded: a literal after all
            }
        }
    }

    // Codes src[0, len) from the start (held back unless final); returns the bytes
    // consumed and whether room ran out. Room is judged once per stretch of as many
    // positions as records surely fit (a record covers a position at least), after
    // the stretch's literals are out.
    template <class Sink>
    LUMDC_INLINE size_t run(Sink& sink, size_t len, bool final, bool& full) const {
        Sink s = sink;
        size_t i = 0, run = 0;
        full = false;
        const size_t held = len > kFastestHoldBack ? len - kFastestHoldBack : 0;
        while (i < held) {
            const size_t fit = s.recordsLeft();
            if (fit == 0) goto stop;
            i = stretch<true>(s, i, held - i < fit ? held : i + fit, len, run);
            s.literals(src + run, i - run);
            run = i;
        }
        if (final) {
            const size_t lastProbe = len >= kFastestMinMatch ? len - kFastestMinMatch + 1 : 0;
            while (i < len) {
                const size_t fit = s.recordsLeft();
                if (fit == 0) goto stop;
                const size_t stop = len - i < fit ? len : i + fit;
                // Positions without four bytes left are literals.
                i = stretch<false>(s, i, stop < lastProbe ? stop : lastProbe, len, run);
                if (i >= lastProbe) i = stop > i ? stop : i;
                s.literals(src + run, i - run);
                run = i;
            }
        }
        sink = s;
        return i;
    stop:
        full = true;
        sink = s;
        return i;
    }
};

template <class Ops, class Sink>
size_t runFastest(const FastestJob& job, Sink& s, bool& full) {
    if (job.window == job.src) return Fastest<Ops, true>(job).run(s, job.srcLen, job.final, full);
    return Fastest<Ops, false>(job).run(s, job.srcLen, job.final, full);
}

template <class Ops>
size_t codeFastest(const FastestJob& job, const FastestCodes& codes, FastestOutput& o) {
    const uintptr_t lastStart =
        o.room >= o.produced + kFastestMinRoom ? uintptr_t(o.dst + (o.room - kFastestMinRoom)) : 0;
    CodeSink s{o.dst + o.produced, lastStart, o.acc, o.n, &codes};
    bool full;
    const size_t consumed = runFastest<Ops>(job, s, full);
    if (!full && job.final) {
        if (s.recordsLeft() != 0)
            s.put(codes.eob >> 8, uint32_t(codes.eob & 0xFF));
        else
            full = true;
    }
    o.produced = size_t(s.out - o.dst);
    o.acc = s.acc;
    o.n = s.n;
    o.full = full;
    return consumed;
}

template <class Ops>
void countFastest(const FastestJob& job, uint32_t* litCount, uint32_t* distCount) {
    uint32_t lit[4][256] = {};
    CountSink s{lit, litCount + 257, distCount};
    bool full;
    runFastest<Ops>(job, s, full);
    for (int b = 0; b < 256; ++b) litCount[b] += lit[0][b] + lit[1][b] + lit[2][b] + lit[3][b];
}

template <class Ops>
constexpr FastestKernels fastestKernelsOf() {
    return {codeFastest<Ops>, countFastest<Ops>};
}

}  // namespace
}  // namespace lumdc::deflate

#undef LUMDC_INLINE
