// Draws parameters (lengths, split points, choices) from the tail of a fuzz
// input, leaving the head as data, so that the fuzzer can mutate both.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumfuzz {

class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    // An integer in [0, bound) taken from the last bytes; 0 once they run out.
    uint32_t take(uint32_t bound) {
        uint32_t v = 0;
        for (int i = 0; i < 4 && size_ > 0; ++i) v = (v << 8) | data_[--size_];
        return bound == 0 ? 0 : v % bound;
    }
    const uint8_t* data() const { return data_; }
    size_t size() const { return size_; }

private:
    const uint8_t* data_;
    size_t size_;
};

}  // namespace lumfuzz
