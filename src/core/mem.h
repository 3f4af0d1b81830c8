// Shared copy, zero, fill and clamp kernels used by several families.
//
// The own* entry points take the library's signed 32-bit counts; they choose a
// strategy by size (and, for very large sizes, by the largest cache) and run it
// with the widest variant the processor has. Results never depend on the choice.
#pragma once

#include <cstddef>
#include <cstdint>

#include "lumdc.h"

namespace lumdc {

// Copies src[0, len) to dst[0, len); the ranges must not overlap. len <= 0 copies nothing.
void ownCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
// As ownCopy_8u, choosing string moves, backward block copies or streaming stores
// for large lengths (see mem.cpp).
void ownCopyLarge_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
// -8 for a null pointer, -6 for len <= 0, else copies and returns 0.
LumStatus ownCopyChecked_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len);

void ownZero_8u(uint8_t* pDst, int32_t len);
// -8 for a null table, -6 for count < 1, else zeroes count elements and returns 0.
LumStatus ownZero_16u(uint16_t* pTable, int32_t count);
LumStatus ownZero_32u(uint32_t* pTable, int32_t count);
// -8 / -6 as above; clamps every element above limit down to limit.
LumStatus ownMinC_32s(int32_t* pTable, int32_t count, int32_t limit);

void ownFill_8u(uint8_t value, uint8_t* pDst, int32_t len);
void ownFill_32s(int32_t value, int32_t* pDst, int32_t count);

// The per-width building blocks behind the entry points above. One set per
// instruction-set level; tests run each set against the portable one.
struct MemKernels {
    // dst[0, n) = src[0, n), no overlap, any n.
    void (*copy)(const uint8_t* src, uint8_t* dst, size_t n);
    // 64-byte blocks from the last to the first; dst is 64-byte aligned.
    void (*copyBlocksBackward)(const uint8_t* src, uint8_t* dst, size_t blocks);
    // 64-byte blocks with non-temporal stores; dst is 64-byte aligned. No fence:
    // the caller fences once after its own tail.
    void (*streamCopyBlocks)(const uint8_t* src, uint8_t* dst, size_t blocks);
    // dst[i] = byte (i mod 4) of the little-endian pattern, for i in [0, n).
    void (*fill)(uint8_t* dst, uint32_t pattern, size_t n);
    // As fill over 64-byte blocks with non-temporal stores; dst is 64-byte aligned.
    void (*streamFillBlocks)(uint8_t* dst, uint32_t pattern, size_t blocks);
    // p[i] = min(p[i], limit) for i in [0, n).
    void (*minC)(int32_t* p, size_t n, int32_t limit);
};

namespace ref {
extern const MemKernels kMemKernels;
}
namespace avx2 {
extern const MemKernels kMemKernels;
}
namespace avx512 {
extern const MemKernels kMemKernels;
}

// Best first, portable last; read by the dispatcher, the tests and the benchmarks.
struct MemVariant {
    const char* name;
    uint64_t features;
    const MemKernels* kernels;
};
extern const MemVariant kMemVariants[3];

// The kernels of the best variant the processor has (asked on every call).
const MemKernels& memKernels();

// Size-based strategies over explicit kernels, so tests can drive every variant.
void copyLarge(const MemKernels& k, const uint8_t* src, uint8_t* dst, size_t n);
void zeroBytes(const MemKernels& k, uint8_t* dst, size_t n);
void fillBytes(const MemKernels& k, uint8_t value, uint8_t* dst, size_t n);
void fillWords(const MemKernels& k, int32_t value, int32_t* dst, size_t count);

}  // namespace lumdc
