// Deflate LZ77 matching: the job one matcher call runs, and the kernel variants.
//
// A call matches the input from position idx: offset i of the input is position
// idx + i, and the hash tables hold positions. The three matchers (greedy over
// hash chains, greedy over one rolling-hash probe, lazy over hash chains) each
// come in every variant; they differ only in how fast they hash and compare, and
// all produce the same records, counts and tables.
#pragma once

#include <cstdint>

#include "core/isa.h"
#include "lumdc.h"

namespace lumdc::deflate {

// Input held back by a call that is not the last: a position is matched only
// when the longest match (258) and the 4-byte keys of all its positions (3 more)
// fit before the end of what has arrived.
inline constexpr uint32_t kHoldBack = 261;

struct MatchJob {
    const uint8_t* src;  // input: position idx + i at src[i], i < srcLen
    const uint8_t* win;  // history: position p < idx at win[p - idx]
    uint32_t srcLen;
    uint32_t idx;
    uint32_t winMask;   // winSize - 1
    uint32_t hashMask;  // hashSize - 1
    int32_t* head;
    int32_t* chain;  // winSize entries; unused by the rolling matcher
    uint8_t* litDst;
    uint16_t* distDst;
    uint32_t room;  // records that fit
    DeflateMatchParams params;
    bool final;
    // Symbol counts of this call, added to the caller's tables by the export.
    uint32_t* litCounts;   // 286
    uint32_t* distCounts;  // 30
};

struct MatchResult {
    uint32_t consumed;
    uint32_t written;
};

struct MatchKernels {
    MatchResult (*greedy)(const MatchJob&);   // chain limit > 0
    MatchResult (*rolling)(const MatchJob&);  // chain limit 0
    MatchResult (*lazy)(const MatchJob&);
    // Enters positions pos .. pos + n - 1 with keys at src[0, n + 3) into head and
    // chain (CRC-32C of the 4-byte key).
    void (*enter)(const uint8_t* src, uint32_t pos, uint32_t n, int32_t* head, uint32_t hashMask, int32_t* chain,
                  uint32_t winMask);
};

namespace ref {
extern const MatchKernels kMatchKernels;
}
namespace avx2 {
extern const MatchKernels kMatchKernels;
}
namespace avx512 {
extern const MatchKernels kMatchKernels;
}

inline constexpr Variant<const MatchKernels*> kMatchVariants[] = {
    {"avx512", kIsaAvx512, &avx512::kMatchKernels},
    {"avx2", kIsaAvx2, &avx2::kMatchKernels},
    {"ref", kIsaRef, &ref::kMatchKernels},
};

}  // namespace lumdc::deflate
