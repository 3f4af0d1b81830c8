// LZ4 high-compression encoding: the job a kernel runs and the variants.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/isa.h"
#include "lz4_encode.h"

namespace lumdc::lz4 {

inline constexpr size_t kHcHeadBytes = 0x20000;   // 32768 32-bit chain heads
inline constexpr size_t kHcChainBytes = 0x40000;  // 65536 32-bit predecessors

struct HcJob {
    const uint8_t* src;  // prefixLen bytes before src may be matched too
    size_t srcLen;
    size_t prefixLen;
    uint8_t* dst;
    size_t capacity;
    uint32_t* head;   // zeroed by the caller
    uint32_t* chain;  // any contents
    int level;        // 1..12
};

using HcKernel = EncodeResult (*)(const HcJob&);

namespace ref {
EncodeResult encodeHc(const HcJob& job);
}
namespace avx2 {
EncodeResult encodeHc(const HcJob& job);
}
namespace avx512 {
EncodeResult encodeHc(const HcJob& job);
}

inline constexpr Variant<HcKernel> kHcVariants[] = {
    {"avx512", kIsaAvx512, avx512::encodeHc},
    {"avx2", kIsaAvx2, avx2::encodeHc},
    {"ref", kIsaRef, ref::encodeHc},
};

}  // namespace lumdc::lz4
