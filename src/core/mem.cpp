// Copy, zero and fill strategies, and the portable kernels beneath them.
//
// Small sizes go straight to the vector kernels. Large copies pick one of three
// routes:
//  - at 4 MiB + 1 and above, when the copy is at least half the largest cache, the
//    data would only evict the caller's working set: 64-byte blocks are written
//    with non-temporal stores to a 64-byte aligned destination, then one store
//    fence makes them visible before we return;
//  - otherwise the processor's string move, which fast-string microcode runs at
//    full bandwidth, in the widest element the two pointers' relative alignment
//    allows;
//  - except when the destination sits 0 to 159 bytes above the source within a
//    4 KiB page. A forward copy then loads from addresses whose low 12 bits match
//    stores still in flight, and the false dependencies (4K aliasing) stall every
//    load; copying 64-byte blocks from the end towards the start moves the loads
//    away from the recent stores.
// Fills bypass the caches only when the region is larger than the largest cache.

#include "mem.h"

#include <emmintrin.h>

#include <cstring>

#include "isa.h"

namespace lumdc {

namespace ref {
namespace {

void copy(const uint8_t* src, uint8_t* dst, size_t n) {
    size_t i = 0;
    for (; i + 8 <= n; i += 8) std::memcpy(dst + i, src + i, 8);
    for (; i < n; ++i) dst[i] = src[i];
}

void copyBlocksBackward(const uint8_t* src, uint8_t* dst, size_t blocks) {
    while (blocks-- > 0) std::memcpy(dst + blocks * 64, src + blocks * 64, 64);
}

// SSE2 is part of x86-64 itself; non-temporal stores have no portable spelling.
void streamCopyBlocks(const uint8_t* src, uint8_t* dst, size_t blocks) {
    for (; blocks > 0; --blocks, src += 64, dst += 64) {
        for (int j = 0; j < 64; j += 16) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + j));
            _mm_stream_si128(reinterpret_cast<__m128i*>(dst + j), v);
        }
    }
}

void fill(uint8_t* dst, uint32_t pattern, size_t n) {
    const uint64_t wide = (uint64_t(pattern) << 32) | pattern;
    size_t i = 0;
    for (; i + 8 <= n; i += 8) std::memcpy(dst + i, &wide, 8);
    for (; i < n; ++i) dst[i] = uint8_t(pattern >> (8 * (i & 3)));
}

void streamFillBlocks(uint8_t* dst, uint32_t pattern, size_t blocks) {
    const __m128i v = _mm_set1_epi32(int(pattern));
    for (; blocks > 0; --blocks, dst += 64)
        for (int j = 0; j < 64; j += 16) _mm_stream_si128(reinterpret_cast<__m128i*>(dst + j), v);
}

void minC(int32_t* p, size_t n, int32_t limit) {
    for (size_t i = 0; i < n; ++i)
        if (p[i] > limit) p[i] = limit;
}

}  // namespace

const MemKernels kMemKernels = {copy, copyBlocksBackward, streamCopyBlocks, fill, streamFillBlocks, minC};
}  // namespace ref

const MemVariant kMemVariants[3] = {
    {"avx512", kIsaAvx512 | LUM_CPU_PRFCHW, &avx512::kMemKernels},
    {"avx2", kIsaAvx2 | LUM_CPU_PRFCHW, &avx2::kMemKernels},
    {"ref", kIsaRef, &ref::kMemKernels},
};

const MemKernels& memKernels() {
    for (const MemVariant& v : kMemVariants)
        if (ownGetFeature(v.features)) return *v.kernels;
    return ref::kMemKernels;
}

namespace {

constexpr size_t kSmallCopyMax = 32767;
constexpr size_t kStreamCopyMin = 4194305;
constexpr size_t kStringZeroAbove = 32768;
constexpr size_t kStreamFillBytesAbove = 2097152;
constexpr size_t kStreamFillWordsMin = 524289;
constexpr uint32_t kAliasDistance = 160;

size_t headToLine(const void* p) { return (64 - (reinterpret_cast<uintptr_t>(p) & 63)) & 63; }

// The largest cache in bytes, or 0 when the query fails.
size_t cacheSize() {
    int32_t size = 0;
    if (lumGetMaxCacheSizeB(&size) != 0 || size <= 0) return 0;
    return size_t(size);
}

void stringMove(const uint8_t* src, uint8_t* dst, size_t n) {
    const uintptr_t rel = reinterpret_cast<uintptr_t>(dst) - reinterpret_cast<uintptr_t>(src);
    size_t count;
    if ((rel & 7) == 0) {
        count = n / 8;
        __asm__ volatile("rep movsq" : "+D"(dst), "+S"(src), "+c"(count) : : "memory");
        n &= 7;
    } else if ((rel & 3) == 0) {
        count = n / 4;
        __asm__ volatile("rep movsl" : "+D"(dst), "+S"(src), "+c"(count) : : "memory");
        n &= 3;
    } else if ((rel & 1) == 0) {
        count = n / 2;
        __asm__ volatile("rep movsw" : "+D"(dst), "+S"(src), "+c"(count) : : "memory");
        n &= 1;
    }
    __asm__ volatile("rep movsb" : "+D"(dst), "+S"(src), "+c"(n) : : "memory");
}

// Ordinary stores up to the first line boundary, streamed whole lines, ordinary
// stores for the tail, then the fence that orders the streamed lines.
void streamFill(const MemKernels& k, uint8_t* dst, uint32_t pattern, size_t n) {
    const size_t head = headToLine(dst);
    k.fill(dst, pattern, head);
    const size_t blocks = (n - head) / 64;
    k.streamFillBlocks(dst + head, pattern, blocks);
    const size_t done = head + blocks * 64;
    k.fill(dst + done, pattern, n - done);  // done is a multiple of 4 past dst
    _mm_sfence();
}

}  // namespace

void copyLarge(const MemKernels& k, const uint8_t* src, uint8_t* dst, size_t n) {
    if (n <= kSmallCopyMax) {
        k.copy(src, dst, n);
        return;
    }
    if (n >= kStreamCopyMin) {
        int32_t cache = 0;
        if (lumGetMaxCacheSizeB(&cache) == 0 && int64_t(cache >> 1) <= int64_t(n)) {
            const size_t head = headToLine(dst);
            k.copy(src, dst, head);
            const size_t blocks = (n - head) / 64;
            k.streamCopyBlocks(src + head, dst + head, blocks);
            const size_t done = head + blocks * 64;
            k.copy(src + done, dst + done, n - done);
            _mm_sfence();
            return;
        }
    }
    const uint32_t distance =
        uint32_t((reinterpret_cast<uintptr_t>(dst) & 4095) - (reinterpret_cast<uintptr_t>(src) & 4095));
    if (distance >= kAliasDistance) {
        stringMove(src, dst, n);
        return;
    }
    // n > 32767, so there is at least one whole aligned line between head and tail.
    const size_t head = headToLine(dst);
    const size_t tailStart = head + ((n - head) & ~size_t(63));
    k.copy(src + tailStart, dst + tailStart, n - tailStart);
    k.copyBlocksBackward(src + head, dst + head, (tailStart - head) / 64);
    k.copy(src, dst, head);
}

void zeroBytes(const MemKernels& k, uint8_t* dst, size_t n) {
    if (n > kStringZeroAbove) {
        __asm__ volatile("rep stosb" : "+D"(dst), "+c"(n) : "a"(0) : "memory");
        return;
    }
    k.fill(dst, 0, n);
}

void fillBytes(const MemKernels& k, uint8_t value, uint8_t* dst, size_t n) {
    const uint32_t pattern = value * 0x01010101u;
    const size_t cache = n > kStreamFillBytesAbove ? cacheSize() : 0;
    if (cache > 0 && cache < n) {
        streamFill(k, dst, pattern, n);
        return;
    }
    k.fill(dst, pattern, n);
}

void fillWords(const MemKernels& k, int32_t value, int32_t* dst, size_t count) {
    const size_t n = count * 4;
    const bool aligned = (reinterpret_cast<uintptr_t>(dst) & 3) == 0;
    const size_t cache = count >= kStreamFillWordsMin && aligned ? cacheSize() : 0;
    if (cache > 0 && cache < n) {
        streamFill(k, reinterpret_cast<uint8_t*>(dst), uint32_t(value), n);
        return;
    }
    k.fill(reinterpret_cast<uint8_t*>(dst), uint32_t(value), n);
}

void ownCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    if (len > 0) memKernels().copy(pSrc, pDst, size_t(len));
}

void ownCopyLarge_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    if (len > 0) copyLarge(memKernels(), pSrc, pDst, size_t(len));
}

LumStatus ownCopyChecked_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
    if (pSrc == nullptr || pDst == nullptr) return lumStatusNullPtr;
    if (len <= 0) return lumStatusSizeErr;
    copyLarge(memKernels(), pSrc, pDst, size_t(len));
    return lumStatusOk;
}

void ownZero_8u(uint8_t* pDst, int32_t len) {
    if (len > 0) zeroBytes(memKernels(), pDst, size_t(len));
}

namespace {

// Element zeroing: below the threshold the vector stores, above it the string
// store (bytes beyond 32768 always take it).
template <class T>
LumStatus zeroElements(T* p, int32_t count, int32_t stringAbove) {
    if (p == nullptr) return lumStatusNullPtr;
    if (count < 1) return lumStatusSizeErr;
    const MemKernels& k = memKernels();
    const size_t n = size_t(count) * sizeof(T);
    if (count > stringAbove)
        zeroBytes(k, reinterpret_cast<uint8_t*>(p), n);
    else
        k.fill(reinterpret_cast<uint8_t*>(p), 0, n);
    return lumStatusOk;
}

}  // namespace

LumStatus ownZero_16u(uint16_t* pTable, int32_t count) { return zeroElements(pTable, count, 1048576); }

LumStatus ownZero_32u(uint32_t* pTable, int32_t count) { return zeroElements(pTable, count, 524288); }

LumStatus ownMinC_32s(int32_t* pTable, int32_t count, int32_t limit) {
    if (pTable == nullptr) return lumStatusNullPtr;
    if (count < 1) return lumStatusSizeErr;
    memKernels().minC(pTable, size_t(count), limit);
    return lumStatusOk;
}

void ownFill_8u(uint8_t value, uint8_t* pDst, int32_t len) {
    if (len > 0) fillBytes(memKernels(), value, pDst, size_t(len));
}

void ownFill_32s(int32_t value, int32_t* pDst, int32_t count) {
    if (count > 0) fillWords(memKernels(), value, pDst, size_t(count));
}

}  // namespace lumdc
