// Match extension and literal moves for the LZ77 encoders, portable version.
//   extend(a, b, aLimit)  how many bytes a[i] == b[i] for a + i < aLimit, reading
//                         nothing at or past aLimit (nor the same distance past b);
//   copy64(dst, src)      moves 64 bytes.
//
// Internal linkage: each variant's translation unit includes its own version.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lumdc {
namespace {

struct PortableMatchOps {
    static size_t extend(const uint8_t* a, const uint8_t* b, const uint8_t* aLimit) {
        const uint8_t* const start = a;
        for (; a + 8 <= aLimit; a += 8, b += 8) {
            uint64_t x, y;
            std::memcpy(&x, a, 8);
            std::memcpy(&y, b, 8);
            if (x != y) return size_t(a - start) + size_t(std::countr_zero(x ^ y) / 8);
        }
        for (; a < aLimit && *a == *b; ++a, ++b) {
        }
        return size_t(a - start);
    }

    static void copy64(uint8_t* dst, const uint8_t* src) { std::memcpy(dst, src, 64); }
};

}  // namespace
}  // namespace lumdc
