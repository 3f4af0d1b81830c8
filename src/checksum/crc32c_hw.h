// CRC-32C on the processor's crc32 instruction, for the variants built with SSE4.2
// or more. Internal linkage: each variant keeps a copy compiled with its own flags.
#pragma once

#include <nmmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/unaligned.h"

namespace lumdc::crc {
namespace {

// Eight bytes per instruction; the instruction's state is our raw state c.
inline uint32_t crc32cHw(uint32_t c, const uint8_t* p, size_t n) {
    uint64_t c64 = c;
    for (; n >= 8; n -= 8, p += 8) c64 = _mm_crc32_u64(c64, read64(p));
    c = uint32_t(c64);
    if (n & 4) {
        uint32_t v;
        std::memcpy(&v, p, 4);
        c = _mm_crc32_u32(c, v);
        p += 4;
    }
    if (n & 2) {
        uint16_t v;
        std::memcpy(&v, p, 2);
        c = _mm_crc32_u16(c, v);
        p += 2;
    }
    if (n & 1) c = _mm_crc32_u8(c, *p);
    return c;
}

}  // namespace
}  // namespace lumdc::crc
