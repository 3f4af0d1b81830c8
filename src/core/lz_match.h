// Match extension and literal moves for the LZ77 encoders, portable version.
//   extend(a, b, aLimit)  how many bytes a[i] == b[i] for a + i < aLimit, reading
//                         nothing at or past aLimit (nor the same distance past b);
//   equalPrefix32(a, b)   how many of the first 32 bytes a[i] == b[i] (32: all),
//                         reading all 32 of both: for searches that judge many
//                         candidates and would rather not branch on each;
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

    static size_t equalPrefix32(const uint8_t* a, const uint8_t* b) {
        for (size_t i = 0; i < 32; i += 8) {
            uint64_t x, y;
            std::memcpy(&x, a + i, 8);
            std::memcpy(&y, b + i, 8);
            if (x != y) return i + size_t(std::countr_zero(x ^ y) / 8);
        }
        return 32;
    }

    static void copy64(uint8_t* dst, const uint8_t* src) { std::memcpy(dst, src, 64); }
};

}  // namespace
}  // namespace lumdc
