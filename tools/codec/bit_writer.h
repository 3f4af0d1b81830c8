// A least-significant-bit-first bit writer over a growing byte vector, sharing the
// bit-buffer convention of the library's Deflate writers (a 16-bit word of fewer
// than 8 pending bits between calls), so that our bits and theirs interleave.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumcodec {

class BitWriter {
public:
    explicit BitWriter(std::vector<uint8_t>& out) : out_(out) {}

    // Appends the low `len` bits of value (len <= 16).
    void put(uint32_t value, uint32_t len) {
        uint32_t acc = bitBuf | (value & ((1u << len) - 1)) << bitCount;
        uint32_t n = bitCount + len;
        while (n >= 8) {
            out_.push_back(uint8_t(acc));
            acc >>= 8;
            n -= 8;
        }
        bitBuf = uint16_t(acc);
        bitCount = n;
    }
    // Pads the pending bits with zeros to a whole byte.
    void align() {
        if (bitCount > 0) put(0, 8 - bitCount);
    }
    void byte(uint8_t b) { out_.push_back(b); }  // only when aligned

    // Room for a library call that writes at dst[*pDstIdx...] with at most `room`
    // bytes: the vector grows to hold them; done() trims it to what was written.
    uint8_t* reserve(size_t room, uint32_t& idx) {
        idx = uint32_t(out_.size());
        out_.resize(out_.size() + room);
        return out_.data();
    }
    void done(uint32_t idx) { out_.resize(idx); }

    std::vector<uint8_t>& bytes() { return out_; }

    uint16_t bitBuf = 0;    // pending bits, lowest first
    uint32_t bitCount = 0;  // below 8 between calls

private:
    std::vector<uint8_t>& out_;
};

}  // namespace lumcodec
