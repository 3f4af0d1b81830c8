// 64-byte copy and fill kernels. Up to 64 bytes a single masked load and store
// does the whole job: masked-off bytes are neither read nor written (nor do they
// fault), so there is no tail code at all. Longer copies run 256 bytes per
// iteration and finish with the last 256 bytes stored again from the end.

#include <immintrin.h>

#include "mem.h"

namespace lumdc::avx512 {
namespace {

__m512i load(const uint8_t* p) { return _mm512_loadu_si512(p); }
void store(uint8_t* p, __m512i v) { _mm512_storeu_si512(p, v); }
void stream(uint8_t* p, __m512i v) { _mm512_stream_si512(reinterpret_cast<__m512i*>(p), v); }
__mmask64 firstBytes(size_t n) { return _bzhi_u64(~0ull, unsigned(n)); }

void copy4(const uint8_t* src, uint8_t* dst) {
    const __m512i a = load(src), b = load(src + 64), c = load(src + 128), d = load(src + 192);
    store(dst, a);
    store(dst + 64, b);
    store(dst + 128, c);
    store(dst + 192, d);
}

void copy(const uint8_t* src, uint8_t* dst, size_t n) {
    if (n <= 64) {
        const __mmask64 m = firstBytes(n);
        _mm512_mask_storeu_epi8(dst, m, _mm512_maskz_loadu_epi8(m, src));
        return;
    }
    if (n <= 128) {
        const __m512i a = load(src), b = load(src + n - 64);
        store(dst, a);
        store(dst + n - 64, b);
        return;
    }
    if (n <= 256) {
        const __m512i a = load(src), b = load(src + 64);
        const __m512i c = load(src + n - 128), d = load(src + n - 64);
        store(dst, a);
        store(dst + 64, b);
        store(dst + n - 128, c);
        store(dst + n - 64, d);
        return;
    }
    size_t i = 0;
    for (; i + 256 <= n; i += 256) copy4(src + i, dst + i);
    if (i < n) copy4(src + n - 256, dst + n - 256);
}

// Four lines per step, loads before stores. Ahead of the descending stream we
// prefetch the source lines and claim the destination lines for writing: a
// backward stream gets little help from the hardware prefetchers, and claiming a
// line early overlaps its read-for-ownership with the copying of the lines before.
constexpr ptrdiff_t kAhead = 2048;

void copyBlocksBackward(const uint8_t* src, uint8_t* dst, size_t blocks) {
    for (; blocks >= 4; blocks -= 4) {
        const uint8_t* s = src + (blocks - 4) * 64;
        uint8_t* d = dst + (blocks - 4) * 64;
        for (int k = 0; k < 256; k += 64) {
            _mm_prefetch(reinterpret_cast<const char*>(s) - kAhead + k, _MM_HINT_T0);
            __builtin_prefetch(d - kAhead + k, 1);  // PREFETCHW under -mprfchw
        }
        const __m512i a = load(s + 192), b = load(s + 128), c = load(s + 64), e = load(s);
        _mm512_store_si512(d + 192, a);
        _mm512_store_si512(d + 128, b);
        _mm512_store_si512(d + 64, c);
        _mm512_store_si512(d, e);
    }
    while (blocks-- > 0) _mm512_store_si512(dst + blocks * 64, load(src + blocks * 64));
}

void streamCopyBlocks(const uint8_t* src, uint8_t* dst, size_t blocks) {
    size_t i = 0;
    for (; i + 4 <= blocks; i += 4) {
        const uint8_t* s = src + i * 64;
        const __m512i a = load(s), b = load(s + 64), c = load(s + 128), d = load(s + 192);
        uint8_t* o = dst + i * 64;
        stream(o, a);
        stream(o + 64, b);
        stream(o + 128, c);
        stream(o + 192, d);
    }
    for (; i < blocks; ++i) stream(dst + i * 64, load(src + i * 64));
}

// Every store starts a multiple of 64 bytes past dst, so the pattern stays in phase.
void fill(uint8_t* dst, uint32_t pattern, size_t n) {
    const __m512i v = _mm512_set1_epi32(int(pattern));
    if (n <= 64) {
        _mm512_mask_storeu_epi8(dst, firstBytes(n), v);
        return;
    }
    size_t i = 0;
    for (; i + 256 <= n; i += 256) {
        store(dst + i, v);
        store(dst + i + 64, v);
        store(dst + i + 128, v);
        store(dst + i + 192, v);
    }
    for (; i + 64 <= n; i += 64) store(dst + i, v);
    if (i < n) _mm512_mask_storeu_epi8(dst + i, firstBytes(n - i), v);
}

void streamFillBlocks(uint8_t* dst, uint32_t pattern, size_t blocks) {
    const __m512i v = _mm512_set1_epi32(int(pattern));
    for (; blocks > 0; --blocks, dst += 64) stream(dst, v);
}

void minC(int32_t* p, size_t n, int32_t limit) {
    const __m512i l = _mm512_set1_epi32(limit);
    size_t i = 0;
    for (; i + 16 <= n; i += 16) _mm512_storeu_si512(p + i, _mm512_min_epi32(_mm512_loadu_si512(p + i), l));
    if (i < n) {
        const __mmask16 m = __mmask16(_bzhi_u32(0xFFFF, unsigned(n - i)));
        _mm512_mask_storeu_epi32(p + i, m, _mm512_min_epi32(_mm512_maskz_loadu_epi32(m, p + i), l));
    }
}

}  // namespace

const MemKernels kMemKernels = {copy, copyBlocksBackward, streamCopyBlocks, fill, streamFillBlocks, minC};

}  // namespace lumdc::avx512
