// Deflate Huffman output: the merged code tables its fast paths run on, the bit
// writer the format's rule defines, and the variant table of the record writer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/isa.h"
#include "deflate_tables.h"
#include "lumdc.h"

namespace lumdc::deflate {

// Small helpers get internal linkage: the variant translation units are built
// with other instruction sets, and the linker must never hand one's copy to another.
namespace {

// A code and the extra bits that follow it, merged: bits 16.. the value (signed, for
// the distance slots below), bits 8..15 the code's own length (0: the symbol has no code),
// bits 0..7 the length of code and extra bits together.
using Merged = int64_t;
inline constexpr Merged merged(int64_t value, uint32_t codeLen, uint32_t totalLen) {
    return Merged(uint64_t(value) << 16 | codeLen << 8 | totalLen);
}
inline constexpr int64_t mergedValue(Merged e) { return e >> 16; }
inline constexpr uint32_t mergedCodeLen(Merged e) { return uint32_t(e >> 8) & 0xFF; }
inline constexpr uint32_t mergedLen(Merged e) { return uint32_t(e) & 0xFF; }

// Longest code either writer takes: a longer length in a caller's table is read as
// 15, which keeps a record within the 48 bits the callers' room allows.
inline constexpr uint32_t codeLen(const LumDeflateHuffEntry& e) { return e.len > 15 ? 15u : e.len; }
inline constexpr uint32_t codeValue(const LumDeflateHuffEntry& e) { return e.code & ((1u << codeLen(e)) - 1); }

inline constexpr uint32_t kLiteralSlot = 256;

// Distances: entry d - 1 for d - 1 < 256, entry 256 + ((d - 1) >> 7) above (that is
// 258..511). Above 256 all 128 distances of an entry share its code, and the low 7
// bits of d - 1 are the low 7 bits of the extra value, so
//     value = mergedValue(entry) + (((d - 1) & 127) << mergedCodeLen(entry))
// gives code and extra bits for any distance once each entry's value is stored less
// the low 7 bits of its own first distance (below 256, of that very distance).
// Entry 256 is the literal's: value -127, code length 0, so the formula yields 0
// with 0 bits for d - 1 read as 0x7FFF.
inline constexpr uint32_t distSlot(uint32_t distMinus1) {
    return distMinus1 < 256 ? distMinus1 : 256 + (distMinus1 >> 7);
}

// The RFC 1951 codes of a length value and of d - 1, read from the shared table.
inline uint32_t lengthSymbol(uint32_t lengthMinus3) { return kCodes.t[lengthMinus3]; }
inline uint32_t distSymbol(uint32_t distMinus1) {
    return distMinus1 < 256 ? kCodes.t[256 + distMinus1] : kCodes.t[512 + (distMinus1 >> 7)];
}

}  // namespace

struct MergedCodes {
    Merged litLen[512];  // literal bytes 0..255, then length values (length - 3) 0..255
    Merged dist[512];
};

// Fills `m` from the caller's code tables (lengths above 15 read as 15, code bits
// above the length ignored).
void buildMergedCodes(const LumDeflateHuffEntry* litCodes, const LumDeflateHuffEntry* distCodes, MergedCodes& m);

// Pending output of a writer: `n` bits in acc, lowest first, to go to dst[out...].
struct BitState {
    uint8_t* dst;
    uint32_t out;
    uint64_t acc;
    uint32_t n;
};

// Records [begin, end) written through the merged tables with one 8-byte store per
// record, which may write up to 7 bytes past the last whole byte: the caller ends
// with records worth at least 64 bits written by the word rule (see deflate_huff.cpp).
// Enters and leaves with n < 8.
struct HuffKernels {
    void (*table)(const uint8_t* lit, const uint16_t* dist, size_t begin, size_t end, const MergedCodes& m,
                  BitState& s);
};

namespace ref {
extern const HuffKernels kHuffKernels;
}
namespace avx2 {
extern const HuffKernels kHuffKernels;
}
namespace avx512 {
extern const HuffKernels kHuffKernels;
}

inline constexpr Variant<const HuffKernels*> kHuffVariants[] = {
    {"avx512", kIsaAvx512, &avx512::kHuffKernels},
    {"avx2", kIsaAvx2, &avx2::kHuffKernels},
    {"ref", kIsaRef, &ref::kHuffKernels},
};

// From this many records on, lumsDeflateHuff_8u merges the tables first.
inline constexpr int32_t kHuffTableMin = 2048;

}  // namespace lumdc::deflate
