// Buffers between inaccessible pages, for tests and fuzzers alike.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumtest {

// Bytes between two inaccessible pages. data() may be placed flush against the
// trailing guard (the default) or the leading one, so a read or write one byte
// past either end faults at once, with or without a sanitizer.
class GuardedBuffer {
public:
    enum class Flush { End, Start };
    explicit GuardedBuffer(size_t size, Flush flush = Flush::End, size_t offset = 0);
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    uint8_t* data() { return data_; }
    size_t size() const { return size_; }

private:
    uint8_t* map_ = nullptr;
    size_t mapSize_ = 0;
    uint8_t* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace lumtest
