// The fastest Deflate family: one hash probe per position, matches written at once
// as codes. The job a kernel runs, the code tables it writes with, and the variant
// table shared by the exports, the tests and the benchmarks.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/isa.h"
#include "deflate_huff.h"

namespace lumdc::deflate {

inline constexpr uint32_t kFastestMinMatch = 4;
// Input a non-final call leaves for the next: the longest match and the four-byte
// keys of its last positions.
inline constexpr uint32_t kFastestHoldBack = 261;
// Output room below which a call stops: a record takes at most 6 bytes and the
// writer stores 8 at a time.
inline constexpr uint32_t kFastestMinRoom = 16;
// The hash table lumsDeflateLZ77FastestGetStat_8u keeps on the stack, and its window.
inline constexpr uint32_t kStatHashSize = 8192;
inline constexpr uint32_t kStatWindow = 32768;

// The caller's codes merged with their extra bits, and for each length value the
// longest length value not above it whose symbol has a code (0xFFFF: none of 4 or
// more); the literal codes once more, split for runs of literals.
struct FastestCodes {
    MergedCodes m;
    uint16_t fit[256];
    uint16_t litValue[256];
    uint8_t litLength[256];
    uint64_t eob;  // end-of-block code << 8 | its length
};
void buildFastestCodes(const LumDeflateHuffEntry* litCodes, const LumDeflateHuffEntry* distCodes, FastestCodes& c);

// One call's input: src[0, srcLen) at position idx, history through window.
struct FastestJob {
    const uint8_t* src;
    uint32_t srcLen;
    uint32_t idx;
    const uint8_t* window;
    uint32_t winSize;
    int32_t* head;
    uint32_t hashMask;
    bool final;
};

// Output of a coding call: bits through dst[0, room), starting with n < 8 pending
// bits in acc.
struct FastestOutput {
    uint8_t* dst;
    size_t room;
    size_t produced;
    uint64_t acc;
    uint32_t n;
    bool full;  // stopped for room with input (or the end-of-block code) still to code
};

struct FastestKernels {
    // Codes the job into out; returns the bytes of src consumed.
    size_t (*code)(const FastestJob& job, const FastestCodes& codes, FastestOutput& out);
    // Adds the symbols of a final job to 32-bit counts (286 and 30).
    void (*count)(const FastestJob& job, uint32_t* litCount, uint32_t* distCount);
};

namespace ref {
extern const FastestKernels kFastestKernels;
}
namespace avx2 {
extern const FastestKernels kFastestKernels;
}
namespace avx512 {
extern const FastestKernels kFastestKernels;
}

inline constexpr Variant<const FastestKernels*> kFastestVariants[] = {
    {"avx512", kIsaAvx512, &avx512::kFastestKernels},
    {"avx2", kIsaAvx2, &avx2::kFastestKernels},
    {"ref", kIsaRef, &ref::kFastestKernels},
};

}  // namespace lumdc::deflate
