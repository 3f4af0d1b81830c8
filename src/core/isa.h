// Instruction-set levels of lumDC's kernel variants.
//
// Each variant source file is compiled with the flags of exactly one level (see
// cmake/LumdcIsa.cmake); the masks below list the same features, so a variant is
// only ever called where every instruction the compiler may have used exists.
// Variant code lives in a namespace named after its level: an inline helper built
// with AVX-512 flags must never be the copy the linker hands to portable code.
#pragma once

#include <cstdint>

#include "lumcore.h"

namespace lumdc {

inline constexpr uint64_t kIsaRef = 0;
inline constexpr uint64_t kIsaSse42 = LUM_CPU_SSE2 | LUM_CPU_SSSE3 | LUM_CPU_SSE41 | LUM_CPU_SSE42 | LUM_CPU_POPCNT;
inline constexpr uint64_t kIsaClmul = kIsaSse42 | LUM_CPU_CLMUL;
inline constexpr uint64_t kIsaAvx2 =
    kIsaClmul | LUM_CPU_AVX | LUM_CPU_AVX2 | LUM_CPU_BMI1 | LUM_CPU_BMI2 | LUM_CPU_LZCNT;
inline constexpr uint64_t kIsaAvx512 =
    kIsaAvx2 | LUM_CPU_AVX512F | LUM_CPU_AVX512CD | LUM_CPU_AVX512BW | LUM_CPU_AVX512DQ | LUM_CPU_AVX512VL;

// A kernel variant: its name (also the test parameter and benchmark label), the
// features it needs, and its entry point. Families list variants best first; the
// dispatcher takes the first one whose features are present.
template <class Fn>
struct Variant {
    const char* name;
    uint64_t features;
    Fn fn;
};

template <class Fn, std::size_t N>
inline Fn pickVariant(const Variant<Fn> (&table)[N]) {
    for (std::size_t i = 0; i + 1 < N; ++i)
        if (ownGetFeature(table[i].features)) return table[i].fn;
    return table[N - 1].fn;  // the portable kernel closes every table
}

}  // namespace lumdc
