// LZ4 block decoding: the job a kernel runs and the table of kernel variants.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/isa.h"
#include "lumdc.h"

namespace lumdc::lz4 {

struct DecodeJob {
    const uint8_t* src;
    size_t srcLen;    // >= 1
    uint8_t* out;     // output start
    size_t capacity;  // >= 1
    // Bytes before the output start that matches may reach. With `dict` null they
    // lie in memory right before `out` (may be negative: the window then starts
    // after `out`); otherwise they are the last `history` bytes of dict[0, history).
    ptrdiff_t history;
    const uint8_t* dict;
};

// Returns 0, 32 or 33 with *consumed and *produced set, or -2 / -6 without them.
using DecodeKernel = LumStatus (*)(const DecodeJob& job, size_t* consumed, size_t* produced);

// A kernel for blocks within one contiguous window, one for a separate dictionary.
struct DecodeKernels {
    DecodeKernel contiguous;
    DecodeKernel separateDict;
};

namespace ref {
extern const DecodeKernels kDecodeKernels;
}
namespace avx2 {
extern const DecodeKernels kDecodeKernels;
}
namespace avx512 {
extern const DecodeKernels kDecodeKernels;
}

inline constexpr Variant<const DecodeKernels*> kDecodeVariants[] = {
    {"avx512", kIsaAvx512, &avx512::kDecodeKernels},
    {"avx2", kIsaAvx2, &avx2::kDecodeKernels},
    {"ref", kIsaRef, &ref::kDecodeKernels},
};

}  // namespace lumdc::lz4
