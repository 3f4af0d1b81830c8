// The LZ4 block encoder, written once and instantiated per variant with that
// variant's hash and match-extension primitives (Ops), and per table layout.
//
// Matching is greedy with one candidate per position: the table slot of the
// position's hash holds the last position that hashed there. The hash is one
// CRC-32C step over the 4 bytes at p from the byte at p + 4, so five bytes decide
// the slot while four equal bytes accept the candidate. On a miss the position
// advances by counter >> 6, the counter starting at 64 after each sequence and
// growing by one per miss: incompressible stretches are skipped ever faster.
// A match found is extended backward over the pending literals and forward as
// far as it goes; after it, the position two bytes before its end is entered.
//
// The block format's end rules are kept for every encoder: no match starts in
// the last 12 bytes and none extends into the last 5, so a decoder always finds
// a final run of at least 5 literals.
//
// Positions in the table are "virtual": counted from the dictionary's start when
// there is one (the dictionary occupies [0, dictLen), the source follows), else
// from the source's start. Every candidate is checked to lie before the current
// position and within 65535 bytes of it before any byte of it is read, so a
// table holding anything at all cannot lead us outside the buffers.
//
// Bounded encoders close a block that does not fit as lz4_block_writer.h says.
//
// Ops supplies hash(p) (the unmasked CRC-32C step), extend(a, b, aLimit) (how many
// bytes a[i] == b[i] for a + i < aLimit) and copy64(dst, src).
//
// Everything here has internal linkage; each variant includes it once.
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>

#include "core/crc32c_hash.h"
#include "lz4_block_writer.h"
#include "lz4_encode.h"

namespace lumdc::lz4 {
namespace {

struct Search {
    const uint8_t* cand;  // start of the candidate's bytes (in the source or the dictionary)
    size_t offset;
    bool inDict;  // decided by position, never by comparing pointers into different buffers
};

// Policy of one instantiation.
template <class SlotT, unsigned kHashBitsV, bool kBoundedV, bool kDictV, bool kFastV>
struct Layout {
    using Slot = SlotT;
    static constexpr uint32_t kMask = (1u << kHashBitsV) - 1;
    static constexpr bool kBounded = kBoundedV;
    static constexpr bool kDict = kDictV;
    static constexpr bool kFast = kFastV;
};

template <class Ops, class L>
EncodeResult encodeBlock(const EncodeJob& job) {
    using Slot = typename L::Slot;
    const uint8_t* const src = job.src;
    const uint8_t* const end = src + job.srcLen;
    Slot* const table = static_cast<Slot*>(job.table);
    BlockWriter<Ops, L::kBounded> out(job.dst, job.capacity, end);
    const uint8_t* anchor = src;
    const uint32_t base = L::kDict ? uint32_t(job.dictLen) : 0;  // virtual position of src[0]
    const uint8_t* const dict = job.dict;
    const uint8_t* const dictEnd = L::kDict ? dict + job.dictLen : nullptr;

    // Checks the table entry c against position p; on success sets the candidate.
    // Without a dictionary the table was zeroed for this call, so every entry is
    // an earlier position of it (zero for "none yet", position 0, which is fine to
    // test); 16-bit entries are then also always within reach.
    const auto acceptWord = [&](uint32_t pos, uint32_t word, uint32_t c, Search& s) {
        if constexpr (L::kDict) {
            if (c >= pos || pos - c > kMaxOffset) return false;
        } else if constexpr (sizeof(Slot) > 2) {
            // Any entry is safe to read, so reach and bytes are tested together:
            // whether an entry is still in reach is a coin toss where the search
            // skips, and one branch costs less than two.
            const uint8_t* const q = src + c;
            if (!((pos - c <= kMaxOffset) & (load32le(q) == word))) return false;
            s = {q, pos - c, false};
            return true;
        }
        const uint8_t* q;
        bool inDict = false;
        if constexpr (L::kDict) {
            if (c >= base) {
                q = src + (c - base);
            } else {
                if (c + kMinMatch > base) return false;  // would straddle the dictionary's end
                q = dict + c;
                inDict = true;
            }
        } else {
            q = src + c;
        }
        if (load32le(q) != word) return false;
        s = {q, pos - c, inDict};
        return true;
    };

    // The search's first 64 probes step one byte at a time: four of them at once
    // share one 8-byte load (position p + j hashes bytes j..j+3 from byte j + 4),
    // while the table is still read and written strictly in order.
    const auto probeFourAt = [&](const uint8_t* p, Search& s) -> int {
        uint64_t w;
        std::memcpy(&w, p, 8);
        const uint32_t pos = base + uint32_t(p - src);
        for (int j = 0; j < 4; ++j) {
            const uint32_t word = uint32_t(w >> (8 * j));
            const uint32_t h = Ops::hashWord(uint8_t(w >> (8 * j + 32)), word) & L::kMask;
            const uint32_t c = table[h];
            table[h] = Slot(pos + uint32_t(j));
            if (__builtin_expect(acceptWord(pos + uint32_t(j), word, c, s), 0)) return j;
        }
        return -1;
    };

    const auto probe = [&](const uint8_t* p, Search& s) {
        const uint32_t h = Ops::hash(p) & L::kMask;
        const uint32_t c = table[h];
        const uint32_t pos = base + uint32_t(p - src);
        table[h] = Slot(pos);
        return acceptWord(pos, load32le(p), c, s);
    };

    if (job.srcLen > kMatchStartMargin) {
        const uint8_t* const matchLimit = end - kMatchStartMargin;
        const uint8_t* const extendLimit = end - kMatchEndMargin;
        const uint8_t* p = src + (L::kDict ? 0 : 1);
        for (;;) {
            Search s;
            if constexpr (L::kFast) {
                // Rounds of four probes accel bytes apart, then a step that grows
                // by one every four rounds: the spacing per probe grows by one
                // every 64 probes, as the plain search's step does at accel 1.
                const size_t a = size_t(job.accel);
                size_t counter = 64 * a;
                for (;;) {
                    if (p >= matchLimit) goto last;
                    if (probe(p, s)) break;
                    const uint8_t* q = p + a;
                    if (q < matchLimit && probe(q, s)) {
                        p = q;
                        break;
                    }
                    q += a;
                    if (q < matchLimit && probe(q, s)) {
                        p = q;
                        break;
                    }
                    q += a;
                    if (q < matchLimit && probe(q, s)) {
                        p = q;
                        break;
                    }
                    p = q + (counter >> 6);
                    counter += 16;
                }
            } else {
                size_t counter = 64;
                for (;;) {
                    if (counter <= 124 && p + 4 <= matchLimit) {
                        const int j = probeFourAt(p, s);
                        if (__builtin_expect(j >= 0, 0)) {
                            p += j;
                            break;
                        }
                        p += 4;
                        counter += 4;
                        continue;
                    }
                    if (__builtin_expect(p >= matchLimit, 0)) goto last;
                    if (__builtin_expect(probe(p, s), 0)) break;
                    p += counter++ >> 6;
                }
            }

            // Extend backward over equal bytes the search stepped past (within the
            // pending literals and the candidate's own buffer), then forward; a
            // dictionary match that runs to the dictionary's end continues at the
            // start of the source.
            size_t len = kMinMatch;
            {
                const uint8_t* const low = s.inDict ? dict : src;
                const size_t reach = std::min(size_t(p - anchor), size_t(s.cand - low));
                size_t back = 0;
                if (p - src >= 8 && s.cand - low >= 8) {
                    // Eight bytes before both at once: the count of equal bytes is
                    // the leading zero bytes of their difference, taken without a
                    // branch on the data; the rare run of eight goes on by bytes.
                    uint64_t x, y;
                    std::memcpy(&x, p - 8, 8);
                    std::memcpy(&y, s.cand - 8, 8);
                    back = std::min(size_t(std::countl_zero(x ^ y) >> 3), reach);
                }
                if (back == 8 || p - src < 8 || s.cand - low < 8)
                    while (back < reach && p[-1 - ptrdiff_t(back)] == s.cand[-1 - ptrdiff_t(back)]) ++back;
                p -= back;
                s.cand -= back;
                len += back;
            }
            if (s.inDict) {
                const uint8_t* limit = p + size_t(dictEnd - s.cand);
                if (limit > extendLimit) limit = extendLimit;
                len += Ops::extend(p + len, s.cand + len, limit);
                if (s.cand + len == dictEnd) len += Ops::extend(p + len, src, extendLimit);
            } else {
                len += Ops::extend(p + len, s.cand + len, extendLimit);
            }

            const size_t lit = size_t(p - anchor);
            if (!out.fits(lit, len, p + len)) goto last;
            out.sequence(anchor, lit, s.offset, len);
            p += len;
            anchor = p;
            // The position two bytes before the match's end goes into the table
            // too: it seeds the search that starts right here with a fresh
            // neighbour (its five hashed bytes end inside the source, since
            // matches end at least 5 bytes before it).
            table[Ops::hash(p - 2) & L::kMask] = Slot(base + uint32_t(p - 2 - src));
        }
    }

last:
    const size_t lit = out.last(anchor);
    return {size_t(anchor - src) + lit, out.produced()};
}

// Enters every third position of the dictionary, as 32-bit positions from its start.
template <class Ops>
void loadDictionary(uint32_t* table, const uint8_t* dict, size_t dictLen) {
    for (size_t i = 0; dictLen > 8 && i < dictLen - 8; i += 3) table[Ops::hash(dict + i) & 0xFFF] = uint32_t(i);
}

template <class Ops>
constexpr EncodeKernels encodeKernelsOf() {
    return {
        [](const EncodeJob& j) {
            return j.srcLen < 65536 ? encodeBlock<Ops, Layout<uint16_t, 12, false, false, false>>(j)
                                    : encodeBlock<Ops, Layout<uint32_t, 12, false, false, false>>(j);
        },
        [](const EncodeJob& j) {
            return j.srcLen < 65536 ? encodeBlock<Ops, Layout<uint16_t, 12, true, false, false>>(j)
                                    : encodeBlock<Ops, Layout<uint32_t, 12, true, false, false>>(j);
        },
        [](const EncodeJob& j) {
            return j.srcLen < 65536 ? encodeBlock<Ops, Layout<uint16_t, 13, false, false, true>>(j)
                                    : encodeBlock<Ops, Layout<uint32_t, 12, false, false, true>>(j);
        },
        encodeBlock<Ops, Layout<uint32_t, 12, true, true, false>>,
        loadDictionary<Ops>,
    };
}

}  // namespace
}  // namespace lumdc::lz4
