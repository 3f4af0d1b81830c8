// LZO1X encoding: the state record, the job a kernel runs and the table of
// kernel variants.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/isa.h"
#include "lumdc.h"

// The caller-allocated encoder state (declared opaque in lumdc.h).
struct LumLzoEncodeState {
    uint32_t method;  // 0: the hash matcher, 2: the vector matcher
    uint32_t reserved[7];
    uint32_t hashTable[32768];  // input positions by a 15-bit hash; 0 reads as empty
};

namespace lumdc::lzo {

inline constexpr uint32_t kStateBytes = sizeof(LumLzoEncodeState);
static_assert(kStateBytes == 131104);
inline constexpr uint32_t kHashBits = 15;
inline constexpr size_t kMaxDistance = 49151;

struct EncodeJob {
    const uint8_t* src;
    size_t srcLen;  // >= 1
    uint8_t* dst;
    size_t capacity;
    uint32_t* table;  // never cleared: every entry is range-checked and verified
};

// Bytes written and 0, or 33 when the destination filled up first.
struct EncodeResult {
    size_t produced;
    LumStatus status;
};

using Encoder = EncodeResult (*)(const EncodeJob&);

struct EncodeKernels {
    Encoder hash;    // method 0
    Encoder vector;  // method 2
};

// The largest stream either matcher can write for srcLen bytes, rounded up: a
// literal run of 19 or more bytes costs two header bytes and a 4-byte match at a
// distance above 2048 three, so a source built of such pairs grows by one byte in
// 23. (The folklore bound srcLen + srcLen / 128 + 16 holds for a single literal
// run but not for those.) At or above this capacity the unchecked writer runs.
inline size_t worstCase(size_t srcLen) { return srcLen + srcLen / 16 + 67; }

namespace ref {
extern const EncodeKernels kEncodeKernels;
}
namespace avx2 {
extern const EncodeKernels kEncodeKernels;
}
namespace avx512 {
extern const EncodeKernels kEncodeKernels;
}

inline constexpr Variant<const EncodeKernels*> kEncodeVariants[] = {
    {"avx512", kIsaAvx512 | LUM_CPU_AVX512VBMI, &avx512::kEncodeKernels},
    {"avx2", kIsaAvx2, &avx2::kEncodeKernels},
    {"ref", kIsaRef, &ref::kEncodeKernels},
};

}  // namespace lumdc::lzo
