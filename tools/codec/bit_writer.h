// A least-significant-bit-first bit writer over a growing byte buffer, sharing the
// bit-buffer convention of the library's Deflate writers (a 16-bit word of fewer
// than 8 pending bits between calls), so that our bits and theirs interleave.
//
// The buffer is raw memory, not a vector: the library's writers are handed
// worst-case room many times per block, and zero-filling that room each time cost
// more than the Huffman output itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace lumcodec {

class BitWriter {
public:
    BitWriter() = default;
    BitWriter(const BitWriter&) = delete;
    BitWriter& operator=(const BitWriter&) = delete;

    // Appends the low `len` bits of value (len <= 16).
    void put(uint32_t value, uint32_t len) {
        ensure(4);
        uint32_t acc = bitBuf | (value & ((1u << len) - 1)) << bitCount;
        uint32_t n = bitCount + len;
        while (n >= 8) {
            buf_[size_++] = uint8_t(acc);
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
    // Whole bytes, only when aligned.
    void bytes(const uint8_t* p, size_t n) {
        ensure(n);
        if (n) std::memcpy(buf_.get() + size_, p, n);
        size_ += n;
    }

    // Room for a library call that writes at dst[*pDstIdx...] at most `room` bytes;
    // done() then takes the index it reached.
    uint8_t* reserve(size_t room, uint32_t& idx) {
        ensure(room);
        idx = uint32_t(size_);
        return buf_.get();
    }
    void done(uint32_t idx) { size_ = idx; }

    // Moves the whole bytes written so far to the end of out.
    void drainTo(std::vector<uint8_t>& out) {
        out.insert(out.end(), buf_.get(), buf_.get() + size_);
        size_ = 0;
    }

    uint16_t bitBuf = 0;    // pending bits, lowest first
    uint32_t bitCount = 0;  // below 8 between calls

private:
    void ensure(size_t more) {
        if (cap_ - size_ >= more) return;
        const size_t cap = std::max(cap_ * 2, size_ + more + 4096);
        std::unique_ptr<uint8_t[]> grown(new uint8_t[cap]);  // left uninitialised on purpose
        if (size_) std::memcpy(grown.get(), buf_.get(), size_);
        buf_ = std::move(grown);
        cap_ = cap;
    }

    std::unique_ptr<uint8_t[]> buf_;
    size_t size_ = 0, cap_ = 0;
};

}  // namespace lumcodec
