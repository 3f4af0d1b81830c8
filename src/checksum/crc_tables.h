// CRC tables and folding constants, derived at compile time from the polynomials.
//
// All three CRCs run on one state convention: a 32-bit value c updated byte by byte
// as c = (c >> 8) ^ T[(c ^ byte) & 0xFF]. For the reflected CRCs (CRC-32, CRC-32C)
// that is the textbook update. The bzip2 CRC is taken most-significant bit first;
// keeping its register byte-swapped turns its shift-left update into the same
// shift-right form, with tables holding the byte-swapped entries. One slicing
// kernel and one merge rule (c is XORed into the first four data bytes, little
// endian) then serve all three.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumdc::crc {

inline constexpr uint32_t kPolyCrc32 = 0x04C11DB7u;  // x^32 term implied
inline constexpr uint32_t kPolyCrc32c = 0x1EDC6F41u;

// Table k gives the contribution of a byte followed by k further bytes.
struct SliceTables {
    uint32_t t[8][256];
};

constexpr uint32_t reflect32(uint32_t v) {
    uint32_t r = 0;
    for (int i = 0; i < 32; ++i) r |= ((v >> i) & 1u) << (31 - i);
    return r;
}

constexpr uint32_t byteSwap32(uint32_t v) {
    return (v >> 24) | ((v >> 8) & 0xFF00u) | ((v << 8) & 0xFF0000u) | (v << 24);
}

constexpr SliceTables sliceFrom(SliceTables s) {
    for (int k = 1; k < 8; ++k)
        for (int i = 0; i < 256; ++i) {
            const uint32_t prev = s.t[k - 1][i];
            s.t[k][i] = (prev >> 8) ^ s.t[0][prev & 0xFF];
        }
    return s;
}

constexpr SliceTables reflectedTables(uint32_t poly) {
    const uint32_t rpoly = reflect32(poly);
    SliceTables s{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int b = 0; b < 8; ++b) c = (c >> 1) ^ ((c & 1u) ? rpoly : 0u);
        s.t[0][i] = c;
    }
    return sliceFrom(s);
}

constexpr SliceTables swappedMsbFirstTables(uint32_t poly) {
    SliceTables s{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i << 24;
        for (int b = 0; b < 8; ++b) c = (c << 1) ^ ((c & 0x80000000u) ? poly : 0u);
        s.t[0][i] = byteSwap32(c);
    }
    return sliceFrom(s);
}

extern const SliceTables kCrc32Tables;   // entry 1: 0x77073096
extern const SliceTables kBz2Tables;     // entry 1: 0xB71DC104
extern const SliceTables kCrc32cTables;  // entry 1: 0xF26B8303

// x^n mod P, in natural bit order (bit i is the coefficient of x^i).
constexpr uint32_t xPowMod(uint64_t n, uint32_t poly) {
    uint32_t r = 1;
    for (uint64_t i = 0; i < n; ++i) r = (r << 1) ^ ((r & 0x80000000u) ? poly : 0u);
    return r;
}

// The two 64-bit multipliers that fold a 128-bit block forward by `bytes` bytes:
// the block X = Xh x^64 + Xl at some position contributes to the CRC exactly what
// Xh (x^(D+64) mod P) + Xl (x^D mod P), D = 8 bytes, contributes D bits later, and
// that product fits in 96 bits. With the lane in a register, the fold is
//   clmul(lane.lo, k.lo) ^ clmul(lane.hi, k.hi).
// In natural order the data is byte-reversed into the lane, so Xh is the high
// half: k.hi = x^(D+64), k.lo = x^D. In reflected order Xh is the low half and
// a carry-less product of two bit-reversed 64-bit values comes out as the reversed
// product times x, so each exponent drops by one: k.lo = rev(x^(D+63)),
// k.hi = rev(x^(D-1)), rev placing a 32-bit remainder in the top of 64 bits.
struct FoldConst {
    uint64_t lo, hi;
};

constexpr FoldConst foldConst(bool natural, uint32_t poly, size_t bytes) {
    const uint64_t d = 8 * uint64_t(bytes);
    if (natural) return {xPowMod(d, poly), xPowMod(d + 64, poly)};
    return {uint64_t(reflect32(xPowMod(d + 63, poly))) << 32, uint64_t(reflect32(xPowMod(d - 1, poly))) << 32};
}

// Multiplier that advances a reflected CRC state a over `bytes` zero bytes:
// crc32_u64(0, clmul(a, k)) = a x^(8 bytes) mod P, where the instruction's own
// x^32 and the product's extra x account for the 33.
constexpr uint64_t shiftConst(uint32_t poly, size_t bytes) {
    return reflect32(xPowMod(8 * uint64_t(bytes) - 33, poly));
}

}  // namespace lumdc::crc
