// Deflate code building: optimal length-limited code lengths from counts and the
// canonical codes of RFC 1951 from lengths, for the fastest family's exports and
// the block header's code-length code.
#pragma once

#include <cstdint>

#include "lumdc.h"

namespace lumdc::deflate {

inline constexpr int kMaxSymbols = 286;

// Lengths of an optimal prefix code over the symbols of nonzero count, none longer
// than maxBits (2^maxBits >= the number of such symbols); 0 for the others. One
// symbol alone gets length 1. Ties among equal counts go the same way every time.
void huffmanLengths(const uint32_t* freq, int n, int maxBits, uint8_t* lens);

// Codes as RFC 1951 derives them from lengths (within a length, rising with the
// symbol), bit-reversed for least-significant-bit-first output; code 0 where the
// length is 0.
void canonicalCodes(const uint8_t* lens, int n, LumDeflateHuffEntry* codes);

// Gives a second symbol length 1 where lens (of a code made by huffmanLengths)
// has exactly one coded symbol: `preferred`, or `fallback` when that is the one.
// Inflaters accept a one-symbol code only in some alphabets; two are always safe.
void completeSingle(uint8_t* lens, int n, int preferred, int fallback);

// Counts of typical data, for codes made without counts of their own.
extern const uint16_t kTypicalLitFreq[286];
extern const uint16_t kTypicalDistFreq[30];

}  // namespace lumdc::deflate
