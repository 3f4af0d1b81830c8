// CRC kernels of every instruction-set level and the tables that choose among them.
//
// A kernel maps the internal state c (see crc_tables.h) and a buffer to the new
// state; the exports convert between c and the caller's running value. Every
// kernel gives the same c for the same input, down to lengths of zero.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../core/isa.h"
#include "crc_tables.h"

namespace lumdc::crc {

using CrcKernel = uint32_t (*)(uint32_t c, const uint8_t* p, size_t n);

// Slicing by eight over any of the three table sets; the portable kernel and the
// tails of the table-bound folding kernels.
uint32_t sliceBy8(const SliceTables& t, uint32_t c, const uint8_t* p, size_t n);

// Portable slicing by eight.
namespace ref {
uint32_t crc32(uint32_t c, const uint8_t* p, size_t n);
uint32_t bz2(uint32_t c, const uint8_t* p, size_t n);
uint32_t crc32c(uint32_t c, const uint8_t* p, size_t n);
}  // namespace ref

// The crc32 instruction on one stream.
namespace sse42 {
uint32_t crc32c(uint32_t c, const uint8_t* p, size_t n);
}  // namespace sse42

// 16-byte PCLMULQDQ folding; CRC-32C on three interleaved crc32 streams.
namespace clmul {
uint32_t crc32(uint32_t c, const uint8_t* p, size_t n);
uint32_t bz2(uint32_t c, const uint8_t* p, size_t n);
uint32_t crc32c(uint32_t c, const uint8_t* p, size_t n);
}  // namespace clmul

// 32-byte VPCLMULQDQ folding.
namespace avx2 {
uint32_t crc32(uint32_t c, const uint8_t* p, size_t n);
uint32_t bz2(uint32_t c, const uint8_t* p, size_t n);
uint32_t crc32c(uint32_t c, const uint8_t* p, size_t n);
}  // namespace avx2

// Four 64-byte VPCLMULQDQ accumulators; the bzip2 CRC on GFNI-mirrored bytes.
namespace avx512 {
uint32_t crc32(uint32_t c, const uint8_t* p, size_t n);
uint32_t bz2(uint32_t c, const uint8_t* p, size_t n);
uint32_t crc32c(uint32_t c, const uint8_t* p, size_t n);
}  // namespace avx512

inline constexpr uint64_t kNeedAvx512Fold = kIsaAvx512 | LUM_CPU_VPCLMULQDQ;
inline constexpr uint64_t kNeedAvx2Fold = kIsaAvx2 | LUM_CPU_VPCLMULQDQ;

inline constexpr Variant<CrcKernel> kCrc32Variants[] = {
    {"avx512", kNeedAvx512Fold, avx512::crc32},
    {"avx2", kNeedAvx2Fold, avx2::crc32},
    {"clmul", kIsaClmul, clmul::crc32},
    {"ref", kIsaRef, ref::crc32},
};

inline constexpr Variant<CrcKernel> kBz2Variants[] = {
    {"avx512", kNeedAvx512Fold | LUM_CPU_GFNI, avx512::bz2},
    {"avx2", kNeedAvx2Fold, avx2::bz2},
    {"clmul", kIsaClmul, clmul::bz2},
    {"ref", kIsaRef, ref::bz2},
};

inline constexpr Variant<CrcKernel> kCrc32cVariants[] = {
    {"avx512", kNeedAvx512Fold, avx512::crc32c},
    {"avx2", kNeedAvx2Fold, avx2::crc32c},
    {"clmul", kIsaClmul, clmul::crc32c},
    {"sse42", kIsaSse42, sse42::crc32c},
    {"ref", kIsaRef, ref::crc32c},
};

}  // namespace lumdc::crc
