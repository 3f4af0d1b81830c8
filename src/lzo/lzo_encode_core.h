// The LZO1X encoders, written once and instantiated per variant with that
// variant's hash, match-extension and copy primitives (Ops), checked or not.
//
// Output: literal runs and matches in the instruction set that lzo_decode_core.h
// reads, ended by the marker 0x11 0x00 0x00. A match takes the shortest form that
// holds it: two bytes for up to 8 bytes within 2048, three (plus length
// extension) within 16384, three (plus extension) for 16385 to 49151. Its trailing
// literal field is left 0 and filled in when the next run has 1 to 3 bytes.
//
// A writer is unchecked when the capacity covers the worst case (no test can
// fail then) and checked otherwise, stopping at the first item that does not fit.
//
// Everything here has internal linkage; each variant includes it once.
#pragma once

#include <cstring>

#include "core/crc32c_hash.h"
#include "lzo_encode.h"

namespace lumdc::lzo {
namespace {

constexpr size_t kMinMatch = 4;
constexpr uint8_t kMarker[3] = {0x11, 0x00, 0x00};

inline size_t extensionBytes(size_t rest) { return (rest - 1) / 255 + 1; }  // rest >= 1

// Room a writer wants before it moves whole words past an item's end. An
// unchecked writer always has it: its capacity is at least worstCase(srcLen),
// which exceeds the largest stream by more than this.
constexpr size_t kSlack = 16;

// Ops supplies copy64(dst, src).
template <class Ops, bool kChecked>
class Writer {
public:
    Writer(uint8_t* dst, size_t capacity) : begin_(dst), op_(dst), end_(dst + capacity) {}

    // A literal run of n bytes, src[0, n) with srcEnd bounding the moves; false
    // (and nothing written) when it does not fit.
    bool run(const uint8_t* from, size_t n, const uint8_t* srcEnd) {
        // Most runs between matches are 0 to 3 bytes (on text, nine in ten): they
        // go into the previous match's trailing field, with one 4-byte move
        // whatever the count, so that the count decides no branch.
        if (n < 4 && !first() && kSlack <= room() && 4 <= size_t(srcEnd - from)) {
            op_[-2] |= uint8_t(n);
            std::memcpy(op_, from, 4);
            op_ += n;
            return true;
        }
        if constexpr (kChecked)
            if (headerBytes(n) + n > room()) return false;
        writeHeader(n);
        copyLiterals(from, n, srcEnd);
        return true;
    }

    // The last run: when it does not fit, its header and as many bytes as do.
    bool finalRun(const uint8_t* from, size_t n, const uint8_t* srcEnd) {
        if constexpr (kChecked) {
            if (headerBytes(n) + n > room()) {
                if (headerBytes(n) > room()) return false;
                writeHeader(n);
                const size_t k = room();
                std::memcpy(op_, from, k);
                op_ += k;
                return false;
            }
        }
        writeHeader(n);
        copyLiterals(from, n, srcEnd);
        return true;
    }

    bool match(size_t distance, size_t len) {
        // Without a length extension, the two- and three-byte forms are built side
        // by side and one is stored, as one 4-byte move: which form a match takes
        // is as good as random.
        const bool near = distance <= 16384;
        if (len <= 9 + 24 * size_t(near) && kSlack <= room()) {
            const uint32_t dm = uint32_t(distance - 1);
            const uint32_t two = uint32_t(len - 1) << 5 | (dm & 7) << 2 | (dm >> 3) << 8;
            const uint32_t d = near ? dm : uint32_t(distance - 16384);
            const uint32_t opcode = near ? 32u : 16u | (d >> 14) << 3;
            const uint32_t three = (opcode | uint32_t(len - 2)) | (d & 0x3FFF) << 10;
            const bool short2 = (distance <= 2048) & (len <= 8);
            const uint32_t v = short2 ? two : three;
            std::memcpy(op_, &v, 4);
            op_ += short2 ? 2 : 3;
            return true;
        }
        if (distance <= 2048 && len <= 8) {
            if (kChecked && room() < 2) return false;
            op_[0] = uint8_t((len - 1) << 5 | ((distance - 1) & 7) << 2);
            op_[1] = uint8_t((distance - 1) >> 3);
            op_ += 2;
            return true;
        }
        const size_t inField = near ? 33 : 9;  // the longest length the opcode holds
        if (kChecked && room() < 3 + (len > inField ? extensionBytes(len - inField) : 0)) return false;
        const size_t d = near ? distance - 1 : distance - 16384;
        uint8_t t = near ? 32 : uint8_t(16 | (d >> 14) << 3);
        if (len <= inField) {
            *op_++ = uint8_t(t | (len - 2));
        } else {
            *op_++ = t;
            writeExtension(len - inField);
        }
        op_[0] = uint8_t((d & 0x3FFF) << 2);
        op_[1] = uint8_t((d & 0x3FFF) >> 6);
        op_ += 2;
        return true;
    }

    bool marker() {
        if (kChecked && room() < sizeof kMarker) return false;
        std::memcpy(op_, kMarker, sizeof kMarker);
        op_ += sizeof kMarker;
        return true;
    }

    size_t produced() const { return size_t(op_ - begin_); }

private:
    size_t room() const { return size_t(end_ - op_); }
    bool first() const { return op_ == begin_; }

    size_t headerBytes(size_t n) const {
        if (first() && n <= 238) return 1;
        if (n < 4) return 0;  // goes into the previous match's trailing field
        if (n <= 18) return 1;
        return 2 + (n - 18 <= 255 ? 0 : (n - 274) / 255 + 1);
    }

    void writeHeader(size_t n) {
        if (first() && n <= 238) {
            *op_++ = uint8_t(n + 17);
        } else if (n < 4) {
            op_[-2] |= uint8_t(n);
        } else if (n <= 18) {
            *op_++ = uint8_t(n - 3);
        } else {
            *op_++ = 0;
            writeExtension(n - 18);
        }
    }

    // 255 per zero byte, then the rest (1 to 255).
    void writeExtension(size_t rest) {
        const size_t zeros = (rest - 1) / 255;
        std::memset(op_, 0, zeros);
        op_ += zeros;
        *op_++ = uint8_t(rest - 255 * zeros);
    }

    // One 16-byte move covers most runs; longer ones go on in 64-byte pieces,
    // where both buffers have room for them; else exact.
    void copyLiterals(const uint8_t* from, size_t n, const uint8_t* srcEnd) {
        const size_t span = 16 + ((n + 63) & ~size_t(63));
        if (span <= size_t(srcEnd - from) && span <= room()) {
            std::memcpy(op_, from, 16);
            for (size_t i = 16; i < n; i += 64) Ops::copy64(op_ + i, from + i);
        } else {
            std::memcpy(op_, from, n);
        }
        op_ += n;
    }

    uint8_t* const begin_;
    uint8_t* op_;
    uint8_t* const end_;
};

// Method 0. Every position is hashed (CRC-32C of its 4 bytes, 15 bits) and
// entered; the entry it replaces is the candidate, taken when it is an earlier
// position within reach whose 4 bytes are equal. The table is never cleared: its
// entries may come from earlier calls or from nothing at all, which the range test
// and the comparison make harmless. Positions inside a match are not entered.
template <class Ops, bool kChecked>
EncodeResult encodeHashMatcher(const EncodeJob& job) {
    const uint8_t* const src = job.src;
    const size_t n = job.srcLen;
    const uint8_t* const end = src + n;
    uint32_t* const table = job.table;
    constexpr uint32_t kMask = (1u << kHashBits) - 1;
    Writer<Ops, kChecked> out(job.dst, job.capacity);
    const auto full = [&] { return EncodeResult{out.produced(), lumStatusDstFull}; };

    // Enters position p (with its 4 bytes `word`) and tells whether its candidate
    // matches, setting the candidate.
    // The range test is done without branches (whether a stale or distant entry
    // is in reach is a coin toss on poorly compressible data): an entry out of
    // reach compares position 0 instead, and fails by the mask.
    const auto probe = [&](size_t p, uint32_t word, size_t& cand) {
        const uint32_t h = Ops::hash4(word) & kMask;
        const uint32_t c = table[h];
        table[h] = uint32_t(p);
        cand = c;
        const uint32_t pos = uint32_t(p);
        const uint32_t inReach = uint32_t(c != 0) & uint32_t(c < pos) & uint32_t(pos - c <= kMaxDistance);
        const uint32_t equal = uint32_t(load32le(src + (c & (0u - inReach))) == word);
        return (inReach & equal) != 0;
    };

    size_t anchor = 0;
    if (n >= kMinMatch) {
        size_t p = 0;
        while (p + kMinMatch <= n) {
            size_t cand;
            bool found = false;
            if (p + 8 <= n) {
                // Four positions share one 8-byte load, entered strictly in order.
                uint64_t w;
                std::memcpy(&w, src + p, 8);
                for (int j = 0; j < 4; ++j, ++p)
                    if (probe(p, uint32_t(w >> (8 * j)), cand)) {
                        found = true;
                        break;
                    }
            } else {
                found = probe(p, load32le(src + p), cand);
                if (!found) ++p;
            }
            if (!found) continue;
            // The next probe is at the match's end, known only once it is extended;
            // most matches are 4 to 7 bytes, so the table lines of those four
            // positions are fetched now, while the extension runs.
            if (p + 16 <= n) {
                uint64_t w;
                std::memcpy(&w, src + p + kMinMatch, 8);
                for (int j = 0; j < 4; ++j)
                    __builtin_prefetch(&table[Ops::hash4(uint32_t(w >> (8 * j))) & kMask], 1, 3);
            }
            const size_t len = kMinMatch + Ops::extend(src + p + kMinMatch, src + cand + kMinMatch, end);
            if (!out.run(src + anchor, p - anchor, end) || !out.match(p - cand, len)) return full();
            p += len;
            anchor = p;
        }
    }
    if (!out.finalRun(src + anchor, n - anchor, end) || !out.marker()) return full();
    return {out.produced(), lumStatusOk};
}

template <class Ops>
EncodeResult encodeHash(const EncodeJob& job) {
    return job.capacity >= worstCase(job.srcLen) ? encodeHashMatcher<Ops, false>(job)
                                                 : encodeHashMatcher<Ops, true>(job);
}

// Method 2. The source is taken in blocks of 64 positions, in two phases. First
// every position of the block looks up its 4-byte multiplicative hash (15 bits)
// in the table as it stood before the block; its candidate counts when it is an
// earlier position, before the block, within reach, with equal 4 bytes. Then all
// 64 positions are entered, later ones winning a shared slot. None of this waits
// on the parse, so it runs at the vector units' throughput. Second, the greedy
// parse walks the block's mask of candidates: the first one at or after the
// current position starts a match, extended forward and backward over the
// pending literals; the walk goes on after it. The next block starts where the
// parse stands, at least at the block's end; when a match ran past the block,
// the positions after it are first looked at one by one, entered as they go,
// until one finds nothing (their matches count as the block's).
//
// A block whose matches cover less than half of the bytes it was walked over is
// weak. From the fourth weak block in a row on, the next block starts 16 bytes
// further on per weak block in the row, so poorly compressible data is crossed
// ever faster (and stored nearly as literals, as it would be anyway). The first
// three pass nothing over: a call starts with a table of stale entries, and
// blocks that find little only for that must not set off the skipping (starting
// at once cost 5-8% of the ratio on database and office files in 64 KiB calls).
// Near the end (fewer than 80 bytes left) positions are looked at one by one,
// entered as they go.
//
// Ops supplies probeBlock(src, p, table, cand): the first phase for the block at
// p (with 80 bytes there to read), the candidates into cand[0, 64), returning the
// mask of those that count. Every variant computes exactly this, so their output
// is the same.
inline uint32_t vectorHash(uint32_t word) { return (word * 0x1824429Du) >> (32 - kHashBits); }
constexpr size_t kBlock = 64;
constexpr size_t kBlockRead = 80;
constexpr size_t kWeakStep = 16;

inline bool blockCandidate(const uint8_t* src, size_t p, size_t pos, uint32_t word, uint32_t c) {
    return c < p && pos - c <= kMaxDistance && load32le(src + c) == word;
}

template <class Ops, bool kChecked>
EncodeResult encodeVectorMatcher(const EncodeJob& job) {
    const uint8_t* const src = job.src;
    const size_t n = job.srcLen;
    const uint8_t* const end = src + n;
    uint32_t* const table = job.table;
    Writer<Ops, kChecked> out(job.dst, job.capacity);
    const auto full = [&] { return EncodeResult{out.produced(), lumStatusDstFull}; };

    size_t anchor = 0;
    size_t matched = 0;  // bytes covered by the matches of the current block
    // Extends a match at p with the candidate c both ways, emits it with the
    // literals before it and returns where it ends (0 when the output is full).
    const auto take = [&](size_t p, size_t c) -> size_t {
        size_t len = kMinMatch + Ops::extend(src + p + kMinMatch, src + c + kMinMatch, end);
        while (p > anchor && c > 0 && src[p - 1] == src[c - 1]) --p, --c, ++len;
        if (!out.run(src + anchor, p - anchor, end) || !out.match(p - c, len)) return 0;
        anchor = p + len;
        matched += len;
        return anchor;
    };

    // Looks at the positions from x one by one, entering each, while x + margin
    // <= n; `untilMiss` stops after the first that finds nothing. False when the
    // output is full.
    const auto oneByOne = [&](size_t& x, size_t margin, bool untilMiss) {
        while (x + margin <= n) {
            const uint32_t word = load32le(src + x);
            const uint32_t h = vectorHash(word);
            const uint32_t c = table[h];
            table[h] = uint32_t(x);
            if (blockCandidate(src, x, x, word, c)) {
                x = take(x, c);
                if (x == 0) return false;
            } else {
                ++x;
                if (untilMiss) break;
            }
        }
        return true;
    };

    size_t p = 0;
    unsigned weak = 0;
    while (p + kBlockRead <= n) {
        alignas(64) uint32_t cand[kBlock];
        uint64_t mask = Ops::probeBlock(src, p, table, cand);
        const size_t blockEnd = p + kBlock;
        size_t q = p;
        matched = 0;
        while (mask != 0) {
            const unsigned j = unsigned(__builtin_ctzll(mask));
            q = take(p + j, cand[j]);
            if (q == 0) return full();
            if (q >= blockEnd) break;
            mask &= ~uint64_t(0) << (q - p);
        }
        // A match that ran past the block is often followed at once by another
        // (on markup, nearly always): the positions after it are looked at one by
        // one, entered as they go, until one finds nothing. Probing a whole block
        // there would spend most of its lookups on bytes the next match covers.
        if (q > blockEnd && !oneByOne(q, kBlockRead, true)) return full();
        const size_t reach = q > blockEnd ? q : blockEnd;
        weak = 2 * matched < reach - p ? weak + 1 : 0;
        p = reach + (weak < 4 ? 0 : kWeakStep * weak);
    }
    if (!oneByOne(p, kMinMatch, false)) return full();
    if (!out.finalRun(src + anchor, n - anchor, end) || !out.marker()) return full();
    return {out.produced(), lumStatusOk};
}

template <class Ops>
EncodeResult encodeVector(const EncodeJob& job) {
    return job.capacity >= worstCase(job.srcLen) ? encodeVectorMatcher<Ops, false>(job)
                                                 : encodeVectorMatcher<Ops, true>(job);
}

// The portable first phase, the definition the vector ones follow.
inline uint64_t probeBlockPortable(const uint8_t* src, size_t p, uint32_t* table, uint32_t* cand) {
    uint32_t h[kBlock];
    uint64_t mask = 0;
    for (size_t j = 0; j < kBlock; ++j) {
        const uint32_t word = load32le(src + p + j);
        h[j] = vectorHash(word);
        cand[j] = table[h[j]];
        mask |= uint64_t(blockCandidate(src, p, p + j, word, cand[j])) << j;
    }
    for (size_t j = 0; j < kBlock; ++j) table[h[j]] = uint32_t(p + j);
    return mask;
}

template <class Ops>
constexpr EncodeKernels encodeKernelsOf() {
    return {encodeHash<Ops>, encodeVector<Ops>};
}

}  // namespace
}  // namespace lumdc::lzo
