// Inflation: the decoder's record inside the caller's LumInflateState, the format
// of its decoding tables, and the kernel variants of its fast loop.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/isa.h"
#include "lumdc.h"

namespace lumdc::inflate {

// Decoding table entries, 32 bits, laid out so that one item costs one shift of
// the bit buffer: the bits it consumes (its code and the extra bits after it),
// the code's own length (where the extra bits start), what it means, and a value.
//   bits 0-7   bits consumed: code length + extra bits (a subtable pointer: the
//              root table's bits)
//   bits 8-11  code length (a subtable pointer: the subtable's index bits)
//   bits 12-14 kind
//   bits 16-31 literal byte, base length, base distance or subtable offset
enum Kind : uint32_t { kLiteral = 0, kLength = 1, kEndOfBlock = 2, kSubtable = 3, kInvalid = 4 };

constexpr uint32_t entry(uint32_t codeLen, Kind kind, uint32_t extra, uint32_t value) {
    return (codeLen + extra) | codeLen << 8 | uint32_t(kind) << 12 | value << 16;
}
constexpr uint32_t subtableEntry(uint32_t rootBits, uint32_t subBits, uint32_t offset) {
    return rootBits | subBits << 8 | uint32_t(kSubtable) << 12 | offset << 16;
}
constexpr uint32_t entryLen(uint32_t e) { return e & 0xFF; }
constexpr uint32_t entryCodeLen(uint32_t e) { return (e >> 8) & 15; }
constexpr uint32_t entryKind(uint32_t e) { return (e >> 12) & 7; }
constexpr uint32_t entryExtra(uint32_t e) { return entryLen(e) - entryCodeLen(e); }
constexpr uint32_t entryValue(uint32_t e) { return e >> 16; }
constexpr uint32_t entrySubBits(uint32_t e) { return (e >> 8) & 15; }

// The value of an entry's extra bits, from the bit buffer at the entry's code.
constexpr uint32_t extraValue(uint64_t bits, uint32_t e) {
    return uint32_t((bits & ((uint64_t(1) << entryLen(e)) - 1)) >> entryCodeLen(e));
}

// Root table sizes: 11 bits cover nearly every literal/length code of real data in
// one lookup (image and table data too, whose literal codes run long) while the
// table with its subtables stays within 10 KiB; 8 bits do the same for distances. The sizes bound the largest tables
// any lengths can need with these roots (RFC 1951 alphabets, 15-bit codes), with room to spare.
inline constexpr uint32_t kLitRootBits = 11, kDistRootBits = 8, kLenRootBits = 7;
inline constexpr uint32_t kLitTableSize = 2560, kDistTableSize = 512, kLenTableSize = 128;

enum Mode : uint32_t {
    kHeader = 0,  // zero: a zeroed record starts here
    kStoredLen,
    kStored,
    kTableCounts,
    kCodeLenLens,
    kCodeLens,
    kBody,
    kDone,
    kFailed,
};

// The record. Its first 16 bytes are the public bit buffer of LumInflateState.
struct State {
    uint64_t bitBuf;
    uint32_t bitCount;
    uint32_t reserved;
    uint32_t mode;
    uint32_t final;        // the block being decoded is the last
    uint32_t callerBlock;  // the tables came from the caller: stop after this block
    int32_t error;         // the status a failed stream keeps returning
    uint32_t matchLeft;    // bytes of a match still to copy
    uint32_t matchDist;
    uint32_t storedLeft;                           // bytes of a stored block still to copy
    uint16_t numLit, numDist, numLenCodes, index;  // dynamic header being read
    uint8_t lens[288 + 32];
    uint32_t lenTable[kLenTableSize];
    uint32_t litTable[kLitTableSize];
    uint32_t distTable[kDistTableSize];
};
static_assert(sizeof(State) <= sizeof(LumInflateState));
static_assert(offsetof(State, bitBuf) == offsetof(LumInflateState, bitBuf) &&
              offsetof(State, bitCount) == offsetof(LumInflateState, bitCount));

// The fast loop's view of a call: the input, the pending bits, the output.
struct Run {
    const uint8_t* src;
    const uint8_t* srcEnd;
    uint64_t bitBuf;
    uint32_t bitCount;
    uint8_t* dst;  // the caller's buffer: history before out
    uint8_t* out;
    uint8_t* outEnd;
};

// The fast loop's exits; the careful loop takes over from any of them with the
// state exactly at an item boundary.
enum class FastExit { Margin, EndOfBlock, BadData };

// Margins the fast loop keeps: one refill reads 8 bytes; one item writes a match
// of up to 258 bytes plus a copy's over-run of up to 32.
inline constexpr size_t kFastSrcMargin = 8;
inline constexpr size_t kFastDstMargin = 258 + 32;

struct Kernels {
    // Decodes whole items of a block body while both margins hold.
    FastExit (*fast)(Run& r, const State& s);
};

namespace ref {
extern const Kernels kKernels;
}
namespace avx2 {
extern const Kernels kKernels;
}

// The loop is bound by its chain of table lookups; 512-bit registers bring it
// nothing, so the AVX2 kernel (BMI2 bit extraction, 32-byte copies) serves both
// vector levels.
inline constexpr Variant<const Kernels*> kVariants[] = {
    {"avx2", kIsaAvx2, &avx2::kKernels},
    {"ref", kIsaRef, &ref::kKernels},
};

}  // namespace lumdc::inflate
