// Adler-32 kernels and the table that chooses among them.
//
// A kernel takes the caller's running value (halves not necessarily reduced) and
// returns the updated value with both halves reduced modulo 65521, also for n = 0.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../core/isa.h"

namespace lumdc::adler {

using AdlerKernel = uint32_t (*)(uint32_t adler, const uint8_t* p, size_t n);

inline constexpr uint32_t kMod = 65521;

namespace ref {
uint32_t adler32(uint32_t adler, const uint8_t* p, size_t n);
}
namespace avx2 {
uint32_t adler32(uint32_t adler, const uint8_t* p, size_t n);
}
namespace avx512 {
uint32_t adler32(uint32_t adler, const uint8_t* p, size_t n);
}

inline constexpr Variant<AdlerKernel> kAdler32Variants[] = {
    {"avx512", kIsaAvx512 | LUM_CPU_AVX512VNNI, avx512::adler32},
    {"avx2", kIsaAvx2, avx2::adler32},
    {"ref", kIsaRef, ref::adler32},
};

}  // namespace lumdc::adler
