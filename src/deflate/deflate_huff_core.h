// The record writer's fast loop, compiled once per instruction-set level.
//
// Each record becomes one merged value of at most 48 bits (literal or length code
// with its extra bits, then distance code with its extra bits) found without a
// branch on the record's kind: a literal reads the literal half of the lit/length
// table and the distance table's literal slot, which adds nothing. The value joins
// fewer than 8 pending bits (at most 55 in all), the whole 8 bytes are stored, and
// the pointer moves on by the whole bytes: one store and no test per record.
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

void writeRecordsTable(const uint8_t* lit, const uint16_t* dist, size_t begin, size_t end, const MergedCodes& m,
                       BitState& s) {
    uint8_t* out = s.dst + s.out;
    uint64_t acc = s.acc;
    uint32_t n = s.n;
    for (size_t i = begin; i < end; ++i) {
        uint32_t len;
        const uint64_t v = recordBits(lit[i], dist[i], m, len);
        acc |= v << n;
        n += len;
        store64le(out, acc);
        out += n >> 3;
        acc >>= n & 56;
        n &= 7;
    }
    s.out = uint32_t(out - s.dst);
    s.acc = acc;
    s.n = n;
}

}  // namespace
}  // namespace lumdc::deflate
