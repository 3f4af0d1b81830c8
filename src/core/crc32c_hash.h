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

// Builds the tables at compile time (for kCrc32cWordTables, and for tables other
// families derive from the same step).
constexpr Crc32cWordTables makeCrc32cWordTables() {
    Crc32cWordTables s{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int b = 0; b < 8; ++b) c = (c >> 1) ^ ((c & 1u) ? 0x82F63B78u : 0u);
        s.t[0][i] = c;
    }
    for (int k = 1; k < 4; ++k)
        for (int i = 0; i < 256; ++i) s.t[k][i] = (s.t[k - 1][i] >> 8) ^ s.t[0][s.t[k - 1][i] & 0xFF];
    return s;
}

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
