// The LZ4 block decoder, written once and instantiated per variant with that
// variant's copy primitives (Ops).
//
// A block is a run of sequences: token (literal count high nibble, match length - 4
// low nibble), 255-continued length bytes when a nibble is 15, the literals, a
// 16-bit little-endian offset and the match length's continuation; the last
// sequence ends after its literals.
//
// Fast path: while a sequence starts at least kSrcMargin source bytes and
// kDstMargin destination bytes before the ends, nothing is bounds-checked per
// copy: the Ops read and write a little past each run and match (see below), and
// the margins keep those accesses inside the caller's buffers. A sequence that does not fit the margins is not decoded
// there at all: we rewind to its token and the careful path takes over for the rest of the block. That path copies
// exact byte counts and reports the precise stop (32, 33, the bytes consumed and produced), so the result never depends
// on where the hand-over happened or which variant ran.
//
// Over-copied bytes beyond the current output position are garbage until later
// sequences overwrite them; they are only ever read again by a match of offset 0,
// which copies the destination onto itself and so keeps whatever it held.
//
// Everything here has internal linkage; each variant includes it once.
#pragma once

#include <cstring>

#include "core/lz_copy.h"
#include "lz4_decode.h"

namespace lumdc::lz4 {
namespace {

constexpr size_t kSrcMargin = 33;
constexpr size_t kDstMargin = 64;

inline size_t load16le(const uint8_t* p) { return size_t(p[0]) | size_t(p[1]) << 8; }

// Continuation bytes of a length: each is added; a byte below 255 ends the run.
// Stops at `limit`; returns false when the run reached it unfinished.
inline bool readLength(const uint8_t*& p, const uint8_t* limit, size_t& length) {
    for (;;) {
        if (p >= limit) return false;
        const unsigned b = *p++;
        length += b;
        if (b != 255) return true;
    }
}

// True when a match at offset d from dst would start before the window: the
// output so far plus `history` bytes (signed: a negative history starts the
// window after the output start, and then even offset 0 lies outside it).
inline bool outsideWindow(const DecodeJob& job, const uint8_t* dst, size_t d) {
    return ptrdiff_t(d) > (dst - job.out) + job.history;
}

struct Cursor {
    const uint8_t* src;
    uint8_t* dst;
};

// Match bytes of offset d that start before the output: the first come from the
// end of the separate dictionary, the rest (if any) continue at the output start
// with the same offset. Returns the count taken from the dictionary.
inline size_t copyFromDict(uint8_t* dst, uint8_t* out, const uint8_t* dictEnd, size_t d, size_t n) {
    const size_t before = d - size_t(dst - out);  // bytes of the match that precede `out`
    const size_t k = before < n ? before : n;
    std::memmove(dst, dictEnd - before, k);
    return k;
}

template <class Ops, bool kSeparateDict>
LumStatus carefulPath(const DecodeJob& job, Cursor c, size_t* consumed, size_t* produced) {
    const uint8_t* src = c.src;
    uint8_t* dst = c.dst;
    const uint8_t* const srcEnd = job.src + job.srcLen;
    uint8_t* const out = job.out;
    uint8_t* const dstEnd = out + job.capacity;
    const auto stop = [&](LumStatus status) {
        *consumed = size_t(src - job.src);
        *produced = size_t(dst - out);
        return status;
    };

    for (;;) {
        if (srcEnd - src < 2) break;
        const unsigned token = *src++;
        size_t lit = token >> 4;
        if (lit == 15) readLength(src, srcEnd, lit);
        const size_t srcLeft = size_t(srcEnd - src), dstLeft = size_t(dstEnd - dst);
        if (lit > dstLeft) {
            const size_t n = srcLeft < dstLeft ? srcLeft : dstLeft;
            Ops::copyLiteralsExact(dst, src, n);
            src += n;
            dst += n;
            return stop(lumStatusDstFull);
        }
        // A valid block never ends a literal run 1 to 7 bytes before its end.
        if (lit != srcLeft && lit + 8 > srcLeft) {
            const size_t n = lit < srcLeft ? lit : srcLeft;
            Ops::copyLiteralsExact(dst, src, n);
            src += n;
            dst += n;
            return stop(lumStatusSrcExhausted);
        }
        Ops::copyLiteralsExact(dst, src, lit);
        src += lit;
        dst += lit;
        if (src == srcEnd || dst == dstEnd) break;

        const size_t d = load16le(src);  // at least 8 source bytes remain here
        src += 2;
        if (outsideWindow(job, dst, d)) return lumStatusDataErr;
        // The match length sums in 32 bits as the format's reference decoders do;
        // a sum that wraps below -3 is refused rather than taken as a length.
        size_t raw = token & 15;
        if (raw == 15) readLength(src, srcEnd, raw);
        const auto sum = int32_t(uint32_t(raw));
        if (sum < -3) return lumStatusSizeErr;
        size_t n = size_t(int64_t(sum) + 4);

        const bool full = n > size_t(dstEnd - dst);
        if (full) n = size_t(dstEnd - dst);
        if constexpr (kSeparateDict) {
            if (d > size_t(dst - out)) {
                const size_t k = copyFromDict(dst, out, job.dict + job.history, d, n);
                dst += k;
                n -= k;
            }
        }
        Ops::copyMatchExact(dst, d, n);
        dst += n;
        if (full) return stop(lumStatusDstFull);
    }
    return stop(job.srcLen == 1 ? lumStatusSrcExhausted : lumStatusOk);
}

// Ops supplies, for one instruction set, the exact and the over-running copies
// of core/lz_copy.h (which may write up to 31 bytes past a run or match).
// A sequence whose literal run is short and whose match is at most 32 bytes
// (most of them) then needs no margin check of its own: from a position inside
// the margins, 16 literal bytes, the offset, a continuation byte and a match move
// of at most 48 bytes all stay inside the buffers.
// A predicted branch on "is the match long" lets the processor run ahead on a
// guess, which is best where the guess is nearly always right (text: one long
// match in a hundred or so); a masked read waits for the length byte but never
// mispredicts, which is best where a fifth to a third of the matches are long
// (databases, markup). Both decode the same bytes. The loop counts long matches
// in each kCheckpoint bytes of output and takes the masked read for the next
// stretch when there were more than kMaskedAbove (text has a handful per 4 KiB,
// databases and markup dozens). The checkpoint shares the loop's test of the
// destination limit, so the branchy mode pays nothing per sequence for it.
constexpr size_t kCheckpoint = 4096;
constexpr size_t kMaskedAbove = 32;

template <class Ops, bool kSeparateDict>
LumStatus decodeBlock(const DecodeJob& job, size_t* consumed, size_t* produced) {
    Cursor c{job.src, job.out};
    if (job.srcLen > kSrcMargin && job.capacity > kDstMargin) {
        const uint8_t* src = job.src;
        uint8_t* dst = job.out;
        uint8_t* const out = job.out;
        const uint8_t* const srcLimit = job.src + job.srcLen - kSrcMargin;
        uint8_t* const dstLimit = out + job.capacity - kDstMargin;
        const intptr_t windowStart = reinterpret_cast<intptr_t>(out) - job.history;
        // Which way to read match lengths, chosen anew at every checkpoint.
        bool masked = false;
        size_t longMatches = 0;
        const auto nextCheckpoint = [&] { return size_t(dstLimit - dst) > kCheckpoint ? dst + kCheckpoint : dstLimit; };
        uint8_t* checkpoint = nextCheckpoint();

        for (;;) {
            c = {src, dst};  // where the careful path resumes if this sequence does not fit
            if (src >= srcLimit || dst >= checkpoint) {
                if (src >= srcLimit || dst >= dstLimit) break;
                masked = longMatches > kMaskedAbove;
                longMatches = 0;
                checkpoint = nextCheckpoint();
            }
            const unsigned token = *src++;
            size_t lit = token >> 4;
            if (lit < 15) {
                Ops::copyShortLiterals(dst, src);
            } else {
                if (!readLength(src, srcLimit, lit)) break;
                if (lit >= size_t(srcLimit - src) || lit >= size_t(dstLimit - dst)) break;
                Ops::copyLiterals(dst, src, lit);
            }
            src += lit;
            dst += lit;

            const size_t d = load16le(src);
            src += 2;
            if (reinterpret_cast<intptr_t>(dst) - intptr_t(d) < windowStart) return lumStatusDataErr;
            size_t n = token & 15;
            if (masked) {
                // The first continuation byte is read whatever the nibble says and
                // masked in: no branch on the nibble, at the price of waiting for
                // that byte, which pays where long matches are frequent and
                // unpredictable (see kMaskedAbove).
                const size_t isLong = n == 15;
                const size_t extra = *src & (size_t(0) - isLong);  // src < srcEnd: a byte is there to read
                src += isLong;
                longMatches += isLong;
                n += extra;
                if (extra == 255 && !readLength(src, srcLimit, n)) break;
            } else if (n == 15) {
                ++longMatches;
                if (!readLength(src, srcLimit, n)) break;
            }
            n += 4;
            const bool shortMatch = n <= 32;
            if (!shortMatch && ptrdiff_t(n) >= dstLimit - dst) break;
            if constexpr (kSeparateDict) {
                if (d > size_t(dst - out)) {
                    const size_t k = copyFromDict(dst, out, job.dict + job.history, d, n);
                    Ops::copyMatchExact(dst + k, d, n - k);
                    dst += n;
                    continue;
                }
            }
            if (shortMatch)
                Ops::copyShortMatch(dst, d, n);
            else if (d != 0)
                Ops::copyMatch(dst, d, n);
            dst += n;
        }
    }
    return carefulPath<Ops, kSeparateDict>(job, c, consumed, produced);
}

template <class Ops>
constexpr DecodeKernels kernelsOf() {
    return {decodeBlock<Ops, false>, decodeBlock<Ops, true>};
}

}  // namespace
}  // namespace lumdc::lz4
