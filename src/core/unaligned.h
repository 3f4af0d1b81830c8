// Unaligned little-endian loads of the machine's own byte order, through memcpy
// (one move on x86). Internal linkage: variant translation units built with
// different flags each keep their own copy.
#pragma once

#include <cstdint>
#include <cstring>

namespace lumdc {
namespace {

inline uint16_t read16(const uint8_t* p) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
}

inline uint32_t read32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

inline uint64_t read64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}

}  // namespace
}  // namespace lumdc
