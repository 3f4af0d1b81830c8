// The version record: one constant object, so every call returns the same address.

#include "lumdc.h"

namespace {

constexpr LumLibraryVersion kVersion = {
    2022,
    0,
    0,
    320770992,  // 0x131e93b0
    {'q', '2', '\0', '\0'},
    "lumDC AVX-512F/CD/BW/DQ/VL (q2)",
    "2022.0.0 (r0x131e93b0)",
    "Sep  4 2024",
};

}  // namespace

extern "C" LUMDC_API const LumLibraryVersion* lumdcGetLibVersion(void) { return &kVersion; }
