// The hash of the LZ4, Deflate and LZO matchers: one CRC-32C step (Castagnoli,
// reflected, no inversion) of a 32-bit little-endian word from a given start value,
// as the processor's crc32 instruction computes it. The instruction form is for
// variants built with SSE4.2; the table form gives the same values anywhere.
#pragma once

#include <cstdint>
#include <cstring>

namespace lumdc {

// Slicing tables of one 32-bit step: table k holds the effect of a byte followed
// by k more bytes.
struct Crc32cWordTables {
    uint32_t t[4][256];
};

extern const Crc32cWordTables kCrc32cWordTables;

inline uint32_t crc32cWordPortable(uint32_t c, uint32_t word) {
    const uint32_t x = c ^ word;
    const auto& t = kCrc32cWordTables.t;
    return t[3][x & 0xFF] ^ t[2][(x >> 8) & 0xFF] ^ t[1][(x >> 16) & 0xFF] ^ t[0][x >> 24];
}

inline uint32_t load32le(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

}  // namespace lumdc
