// 32-byte copy and fill kernels. Small copies use two overlapping loads and stores
// of the largest piece that fits, so every length up to 64 takes one branch chain
// and no loop; larger ones run 128 bytes per iteration and finish with the last
// 128 bytes stored again from the end, which only rewrites bytes with their own
// values because source and destination never overlap.

#include <immintrin.h>

#include <cstring>

#include "mem.h"

namespace lumdc::avx2 {
namespace {

__m256i load(const uint8_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
void store(uint8_t* p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }

template <class T>
void copyTwo(const uint8_t* src, uint8_t* dst, size_t n) {
    T a, b;
    std::memcpy(&a, src, sizeof(T));
    std::memcpy(&b, src + n - sizeof(T), sizeof(T));
    std::memcpy(dst, &a, sizeof(T));
    std::memcpy(dst + n - sizeof(T), &b, sizeof(T));
}

void copy(const uint8_t* src, uint8_t* dst, size_t n) {
    if (n <= 64) {
        if (n >= 32) {
            const __m256i a = load(src), b = load(src + n - 32);
            store(dst, a);
            store(dst + n - 32, b);
        } else if (n >= 16) {
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + n - 16));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), a);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + n - 16), b);
        } else if (n >= 8) {
            copyTwo<uint64_t>(src, dst, n);
        } else if (n >= 4) {
            copyTwo<uint32_t>(src, dst, n);
        } else if (n >= 2) {
            copyTwo<uint16_t>(src, dst, n);
        } else if (n == 1) {
            dst[0] = src[0];
        }
        return;
    }
    if (n <= 128) {
        const __m256i a = load(src), b = load(src + 32);
        const __m256i c = load(src + n - 64), d = load(src + n - 32);
        store(dst, a);
        store(dst + 32, b);
        store(dst + n - 64, c);
        store(dst + n - 32, d);
        return;
    }
    size_t i = 0;
    for (; i + 128 <= n; i += 128) {
        const __m256i a = load(src + i), b = load(src + i + 32);
        const __m256i c = load(src + i + 64), d = load(src + i + 96);
        store(dst + i, a);
        store(dst + i + 32, b);
        store(dst + i + 64, c);
        store(dst + i + 96, d);
    }
    if (i < n) {
        const size_t t = n - 128;
        const __m256i a = load(src + t), b = load(src + t + 32);
        const __m256i c = load(src + t + 64), d = load(src + t + 96);
        store(dst + t, a);
        store(dst + t + 32, b);
        store(dst + t + 64, c);
        store(dst + t + 96, d);
    }
}

// As in the AVX-512 kernel: source prefetched and destination claimed for
// writing 2 KiB ahead of the descending stream.
constexpr ptrdiff_t kAhead = 2048;

void copyBlocksBackward(const uint8_t* src, uint8_t* dst, size_t blocks) {
    while (blocks-- > 0) {
        const size_t o = blocks * 64;
        _mm_prefetch(reinterpret_cast<const char*>(src + o) - kAhead, _MM_HINT_T0);
        __builtin_prefetch(dst + o - kAhead, 1);  // PREFETCHW under -mprfchw
        const __m256i hi = load(src + o + 32), lo = load(src + o);
        _mm256_store_si256(reinterpret_cast<__m256i*>(dst + o + 32), hi);
        _mm256_store_si256(reinterpret_cast<__m256i*>(dst + o), lo);
    }
}

void streamCopyBlocks(const uint8_t* src, uint8_t* dst, size_t blocks) {
    for (; blocks > 0; --blocks, src += 64, dst += 64) {
        const __m256i a = load(src), b = load(src + 32);
        _mm256_stream_si256(reinterpret_cast<__m256i*>(dst), a);
        _mm256_stream_si256(reinterpret_cast<__m256i*>(dst + 32), b);
    }
}

// The overlapping last vector starts at n - 32, which need not be a multiple of 4
// past dst: its pattern is rotated into phase.
void fill(uint8_t* dst, uint32_t pattern, size_t n) {
    const __m256i v = _mm256_set1_epi32(int(pattern));
    if (n < 32) {
        size_t i = 0;
        for (; i + 4 <= n; i += 4) std::memcpy(dst + i, &pattern, 4);
        for (; i < n; ++i) dst[i] = uint8_t(pattern >> (8 * (i & 3)));
        return;
    }
    size_t i = 0;
    for (; i + 128 <= n; i += 128) {
        store(dst + i, v);
        store(dst + i + 32, v);
        store(dst + i + 64, v);
        store(dst + i + 96, v);
    }
    for (; i + 32 <= n; i += 32) store(dst + i, v);
    if (i < n) {
        const unsigned shift = 8 * ((n - 32) & 3);
        const uint32_t rotated = shift == 0 ? pattern : (pattern >> shift) | (pattern << (32 - shift));
        store(dst + n - 32, _mm256_set1_epi32(int(rotated)));
    }
}

void streamFillBlocks(uint8_t* dst, uint32_t pattern, size_t blocks) {
    const __m256i v = _mm256_set1_epi32(int(pattern));
    for (; blocks > 0; --blocks, dst += 64) {
        _mm256_stream_si256(reinterpret_cast<__m256i*>(dst), v);
        _mm256_stream_si256(reinterpret_cast<__m256i*>(dst + 32), v);
    }
}

void minC(int32_t* p, size_t n, int32_t limit) {
    const __m256i l = _mm256_set1_epi32(limit);
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        auto* q = reinterpret_cast<__m256i*>(p + i);
        _mm256_storeu_si256(q, _mm256_min_epi32(_mm256_loadu_si256(q), l));
    }
    for (; i < n; ++i)
        if (p[i] > limit) p[i] = limit;
}

}  // namespace

const MemKernels kMemKernels = {copy, copyBlocksBackward, streamCopyBlocks, fill, streamFillBlocks, minC};

}  // namespace lumdc::avx2
