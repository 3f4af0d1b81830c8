// The record writer's fast loop, compiled once per instruction-set level.
//
// Each record becomes one merged value of at most 48 bits (literal or length code
// with its extra bits, then distance code with its extra bits) found without a
// branch on the record's kind: a literal reads the literal half of the lit/length
// table and the distance table's literal slot, which adds nothing. Values join
// fewer than 8 pending bits (at most 63 in all), the whole 8 bytes are stored, and
// the pointer moves on by the whole bytes, with no test of room.
//
// Internal linkage: each variant's translation unit includes its own copy.
#pragma once

#include <cstddef>
#include <cstdint>

#include "deflate_huff.h"
#include "deflate_huff_bits.h"

namespace lumdc::deflate {
namespace {

// Merged value and length of record (l, d).
inline uint64_t recordBits(uint32_t l, uint32_t d, const MergedCodes& m, uint32_t& len) {
    const uint32_t isMatch = d != 0;
    const Merged e1 = m.litLen[l | isMatch << 8];
    const uint32_t dm1 = (d - 1) & 0x7FFF;
    const uint32_t slot = isMatch ? distSlot(dm1) : kLiteralSlot;
    const Merged e2 = m.dist[slot];
    const uint64_t v2 = uint64_t(mergedValue(e2)) + (uint64_t(dm1 & 127) << mergedCodeLen(e2));
    const uint32_t len1 = mergedLen(e1);
    len = len1 + mergedLen(e2);
    return uint64_t(mergedValue(e1)) | v2 << len1;
}

// Two records go out together when their bits fit beside the pending ones, as
// nearly all pairs do (two literals take at most 30 bits): one store and one turn
// of the accumulator's dependency chain per pair instead of per record. kLiterals:
// for streams mostly of literals, two literals take a shorter way, past the
// distance table (a branch that the few matches seldom mispredict).
template <bool kLiterals>
void writeRecordsTable(const uint8_t* lit, const uint16_t* dist, size_t begin, size_t end, const MergedCodes& m,
                       BitState& s) {
    uint8_t* out = s.dst + s.out;
    uint64_t acc = s.acc;
    uint32_t n = s.n;
    const auto put = [&](uint64_t v, uint32_t len) {
        acc |= v << n;
        n += len;
        store64le(out, acc);
        out += n >> 3;
        acc >>= n & 56;
        n &= 7;
    };
    size_t i = begin;
    for (; i + 2 <= end; i += 2) {
        if (kLiterals && (dist[i] | dist[i + 1]) == 0) {
            const Merged e0 = m.litLen[lit[i]], e1 = m.litLen[lit[i + 1]];
            const uint32_t len0 = mergedLen(e0);
            put(uint64_t(mergedValue(e0)) | uint64_t(mergedValue(e1)) << len0, len0 + mergedLen(e1));
            continue;
        }
        uint32_t len0, len1;
        const uint64_t v0 = recordBits(lit[i], dist[i], m, len0);
        const uint64_t v1 = recordBits(lit[i + 1], dist[i + 1], m, len1);
        if (len0 + len1 <= 56) [[likely]] {
            put(v0 | v1 << len0, len0 + len1);
        } else {
            put(v0, len0);
            put(v1, len1);
        }
    }
    if (i < end) {
        uint32_t len;
        const uint64_t v = recordBits(lit[i], dist[i], m, len);
        put(v, len);
    }
    s.out = uint32_t(out - s.dst);
    s.acc = acc;
    s.n = n;
}

// Chooses by the share of literals among the records.
[[maybe_unused]] void writeRecords(const uint8_t* lit, const uint16_t* dist, size_t begin, size_t end,
                                   const MergedCodes& m, BitState& s) {
    size_t literals = 0;
    for (size_t i = begin; i < end; ++i) literals += dist[i] == 0;
    if (literals * 8 >= (end - begin) * 7)
        writeRecordsTable<true>(lit, dist, begin, end, m, s);
    else
        writeRecordsTable<false>(lit, dist, begin, end, m, s);
}

}  // namespace
}  // namespace lumdc::deflate
