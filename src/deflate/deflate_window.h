// Positions of the Deflate matchers: the renumbering that keeps them from
// overflowing, shared by every matcher that keeps the caller's hash tables.
#pragma once

#include <algorithm>
#include <cstdint>

namespace lumdc::deflate {

inline constexpr int32_t kNoPosition = -32768;  // a table entry that is never in reach

// A table entry after renumbering by delta (<= 0): saturated at kNoPosition, so an
// entry that was out of reach stays out of reach and none can wrap around.
inline int32_t renumbered(int32_t entry, int64_t delta) {
    return int32_t(std::max<int64_t>(std::max<int64_t>(entry, kNoPosition) + delta, kNoPosition));
}

// Renumbers positions once the call could carry them near 2^31: the current
// position becomes winSize and every head (and, given, chain) entry moves with it.
// The test is made on the call's own numbers before anything is read. Entries keep
// their distances but not their chain slots (a slot is a position modulo winSize),
// so a chain walk after renumbering may see other candidates than one without it:
// the records stay valid, not identical to an unrenumbered run's.
inline void rebase(uint32_t& srcIdx, uint32_t srcLen, int32_t winSize, int32_t* head, int32_t hashSize,
                   int32_t* chain) {
    if (srcIdx + uint32_t(winSize) + srcLen < (srcLen ^ 0x7FFFFFFFu) || srcIdx <= uint32_t(winSize)) return;
    const int64_t delta = int64_t(winSize) - int64_t(srcIdx);
    for (int32_t i = 0; i < hashSize; ++i) head[i] = renumbered(head[i], delta);
    if (chain != nullptr)
        for (int32_t i = 0; i < winSize; ++i) chain[i] = renumbered(chain[i], delta);
    srcIdx = uint32_t(winSize);
}

}  // namespace lumdc::deflate
