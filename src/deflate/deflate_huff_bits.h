// The bit writer of the Deflate output calls, as the format of their bit buffer
// defines it: a 32-bit accumulator that stores a word only when a code would not
// fit (never when the bits reach exactly 32), and a last step that writes the whole
// pending bytes and leaves fewer than 8 bits with the caller.
//
// Which bytes come out depends only on the bits put, so any writer that keeps the
// same bits may store differently in between (the fast paths do); the pending
// count a caller hands in is read as at most 32 bits, the room its buffer has.
//
// Internal linkage: each variant's translation unit keeps its own copy.
#pragma once

#include <cstdint>
#include <cstring>

namespace lumdc::deflate {
namespace {

inline void store32le(uint8_t* p, uint32_t v) { std::memcpy(p, &v, 4); }
inline void store64le(uint8_t* p, uint64_t v) { std::memcpy(p, &v, 8); }

struct WordWriter {
    uint8_t* dst;
    uint32_t out;
    uint32_t acc;
    uint32_t n;

    WordWriter(uint8_t* d, uint32_t o, uint16_t bitBuf, uint32_t bitCount)
        : dst(d), out(o), acc(bitBuf), n(bitCount > 32 ? 32 : bitCount) {}

    // value < 2^len for codes; len <= 15.
    void put(uint32_t value, uint32_t len) {
        if (len > 32 - n) {
            store32le(dst + out, acc | uint32_t(uint64_t(value) << n));
            out += 4;
            acc = uint32_t(uint64_t(value) >> (32 - n));
            n = n + len - 32;
        } else {
            acc |= uint32_t(uint64_t(value) << n);
            n += len;
        }
    }

    // The whole pending bytes out; fewer than 8 bits stay.
    void finish(uint16_t* bitBuf, uint32_t* bitCount, uint32_t* dstIdx) {
        if (n >= 8) {
            const uint32_t bytes = n >> 3;
            for (uint32_t i = 0; i < bytes; ++i) dst[out + i] = uint8_t(acc >> (8 * i));
            out += bytes;
            acc = uint32_t(uint64_t(acc) >> (8 * bytes));
            n &= 7;
        }
        *bitBuf = uint16_t(acc);
        *bitCount = n;
        *dstIdx = out;
    }
};

}  // namespace
}  // namespace lumdc::deflate
