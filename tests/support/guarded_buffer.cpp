#include "guarded_buffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>

namespace lumtest {

namespace {
size_t pageSize() { return size_t(sysconf(_SC_PAGESIZE)); }
}  // namespace

GuardedBuffer::GuardedBuffer(size_t size, Flush flush, size_t offset) : size_(size) {
    const size_t page = pageSize();
    const size_t body = (size + offset + page - 1) / page * page;
    mapSize_ = body + 2 * page;
    void* m = mmap(nullptr, mapSize_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (m == MAP_FAILED) throw std::runtime_error("mmap failed");
    map_ = static_cast<uint8_t*>(m);
    if (body > 0 && mprotect(map_ + page, body, PROT_READ | PROT_WRITE) != 0) throw std::runtime_error("mprotect");
    data_ = flush == Flush::End ? map_ + page + body - size - offset : map_ + page + offset;
}

GuardedBuffer::~GuardedBuffer() { munmap(map_, mapSize_); }

}  // namespace lumtest
