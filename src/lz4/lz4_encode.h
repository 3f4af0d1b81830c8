// LZ4 block encoding: the job a kernel runs and the table of kernel variants.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/isa.h"

namespace lumdc::lz4 {

inline constexpr size_t kHashTableBytes = 16384;

struct EncodeJob {
    const uint8_t* src;
    size_t srcLen;
    uint8_t* dst;
    size_t capacity;  // ignored by the unbounded kernels
    void* table;      // zeroed, or loaded with a dictionary, by the caller
    int accel;        // the Fast kernels only
    const uint8_t* dict;
    size_t dictLen;  // the Dict kernel only; 0: no dictionary
};

struct EncodeResult {
    size_t consumed;
    size_t produced;
};

struct EncodeKernels {
    EncodeResult (*plain)(const EncodeJob&);  // unbounded; 16-bit slots below 65536 bytes
    EncodeResult (*safe)(const EncodeJob&);   // bounded, same matching as plain
    EncodeResult (*fast)(const EncodeJob&);   // unbounded, accelerated search
    EncodeResult (*dict)(const EncodeJob&);   // bounded, 32-bit slots over dictionary + source
    void (*loadDict)(uint32_t* table, const uint8_t* dict, size_t dictLen);
};

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
    {"avx512", kIsaAvx512, &avx512::kEncodeKernels},
    {"avx2", kIsaAvx2, &avx2::kEncodeKernels},
    {"ref", kIsaRef, &ref::kEncodeKernels},
};

}  // namespace lumdc::lz4
