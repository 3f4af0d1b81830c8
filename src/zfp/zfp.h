// ZFP for 4x4x4 blocks of floats: the state record, the block format's constants
// and the table of kernel variants.
//
// A block is coded in two halves. The numeric half (kernels, one per instruction
// set) turns 64 floats into 32 bit planes of the 64 coefficients in coded order,
// or back; it is where the vectors pay off. The bit-level half (the plane coder
// and the stream, in zfp_codec.cpp) is inherently serial and shared by all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/isa.h"
#include "core/unaligned.h"
#include "lumdc.h"

namespace lumdc::zfp {

// The helpers below are static: the kernel files that include this header are
// built for other instruction sets, and the linker must never hand their copy of
// a helper to portable code.

inline constexpr uint32_t kId = 0x4B617398;
inline constexpr int32_t kStateBytes = 576;
inline constexpr int32_t kDefaultMaxBits = 4171;  // more than any float block can take
inline constexpr int32_t kDefaultMaxPrec = 64;
inline constexpr int32_t kNoMinExp = -10740;  // no accuracy limit

// The record's fields. The caller's record has no alignment requirement, so it is
// only ever copied in and out of one of these.
struct Fields {
    uint32_t id;
    int32_t minBits, maxBits, maxPrec, minExp;
    int32_t bitCount;
    uint64_t bitBuffer;
    uint8_t* cur;
    uint8_t* begin;
    uint8_t* end;
    uint8_t* fastLimit;
};
static_assert(sizeof(Fields) == 64 && offsetof(Fields, bitBuffer) == 24 && offsetof(Fields, fastLimit) == 56);

static inline Fields loadFields(const LumZfpState* state) {
    Fields f;
    std::memcpy(&f, state, sizeof f);
    return f;
}
static inline void storeFields(LumZfpState* state, const Fields& f) { std::memcpy(state, &f, sizeof f); }
static inline bool isInitialised(const LumZfpState* state) {
    uint32_t id;
    std::memcpy(&id, state, sizeof id);
    return id == kId;
}

// Bytes from p to q, negative when q lies before p (a record set up with a
// negative length has its end before its start).
static inline int64_t bytesBetween(const uint8_t* p, const uint8_t* q) {
    return int64_t(reinterpret_cast<uintptr_t>(q) - reinterpret_cast<uintptr_t>(p));
}
static inline uint8_t* advance(uint8_t* p, int64_t n) {
    return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(p) + uint64_t(n));
}

// Coded position i holds the coefficient fx + 4 fy + 16 fz = kPerm[i]: ordered by
// fx + fy + fz, so that low-frequency coefficients come first.
inline constexpr uint8_t kPerm[64] = {
    0,  1,  4,  16, 20, 17, 5,  2,  8,  32, 21, 6,  18, 24, 9,  33, 36, 3,  12, 48, 22, 25,
    37, 40, 34, 10, 7,  19, 28, 13, 49, 52, 41, 38, 26, 23, 29, 53, 11, 35, 44, 14, 50, 56,
    42, 27, 39, 45, 30, 54, 57, 60, 51, 15, 43, 46, 58, 61, 55, 31, 62, 59, 47, 63,
};

inline constexpr uint32_t kNegabinary = 0xAAAAAAAAu;
inline constexpr int32_t kEmptyExponent = -127;

// The exponent e of the block's largest magnitude m = f 2^e, 0.5 <= f < 1, from
// its bit pattern (subnormals count as -126); -127 for an all-zero block.
static inline int32_t blockExponent(uint32_t largestMagnitudeBits) {
    return largestMagnitudeBits != 0 ? int32_t(largestMagnitudeBits >> 23) - 126 : kEmptyExponent;
}

// The number of bit planes coded. Set stores its values unchecked, so the sum is
// taken in 64 bits and may come out negative (no planes at all).
static inline int64_t precision(int32_t emax, int32_t maxPrec, int32_t minExp) {
    int64_t p = int64_t(emax) - minExp + 8;
    if (p < 0) p = 0;
    return p > maxPrec ? maxPrec : p;
}
static inline bool isEmptyBlock(int32_t emax, int32_t maxPrec, int32_t minExp) {
    return emax == kEmptyExponent || precision(emax, maxPrec, minExp) == 0;
}
// The lowest plane coded, 32 when there is none.
static inline int lowestPlane(int64_t p) { return p >= 32 ? 0 : p <= 0 ? 32 : int(32 - p); }

// The encoder's conversion scale 2^(30 - emax) as a float's bit pattern, capped
// at 2^127 for blocks under 2^-98 so that it stays finite.
static inline uint32_t forwardScaleBits(int32_t emax) {
    const int32_t field = 157 - emax < 254 ? 157 - emax : 254;
    return uint32_t(field) << 23;
}
// The decoder's scale 2^(E - 157) from the biased exponent E, with no cap: below
// E = 31 the pattern is not that power of two, as the format has it.
static inline uint32_t inverseScaleBits(uint32_t biasedExp) { return (biasedExp - 30) << 23; }

static inline uint64_t lowBits(uint64_t v, unsigned n) { return n >= 64 ? v : v & ((uint64_t(1) << n) - 1); }
static inline uint64_t shiftDown(uint64_t v, unsigned n) { return n >= 64 ? 0 : v >> n; }

// Whether a block of at most maxBits bits, and a reader's look-ahead of two words
// past its last bit, lies inside the buffer from cur: then nothing needs testing.
static inline bool blockFits(const Fields& f) {
    if (f.maxBits < 0 || f.maxBits > (1 << 20)) return false;
    const int64_t words = (int64_t(f.maxBits) + 63) / 64 + 2;
    return bytesBetween(f.cur, f.end) >= words * 8;
}

struct Kernels {
    // Reads the block (element x, y, z at src + z planeStep + y step + 4x), finds
    // emax and, unless the block is empty, converts, transforms, reorders and maps
    // it to negabinary: planes[k] bit i = bit k of coded coefficient i, k < 32.
    int32_t (*forward)(const uint8_t* src, ptrdiff_t step, ptrdiff_t planeStep, int32_t maxPrec, int32_t minExp,
                       uint64_t* planes);
    // The way back from 32 planes and the biased exponent to 64 floats at dst.
    void (*inverse)(const uint64_t* planes, uint32_t biasedExp, uint8_t* dst, ptrdiff_t step, ptrdiff_t planeStep);
    // Reads a block after its first bit (1: not empty) without a test, where
    // blockFits: the biased exponent, the planes (only those read are written)
    // and the number of plane bits read; the record is left as the checked
    // reader would leave it.
    bool (*readBlock)(Fields& f, uint64_t* planes, uint32_t& biasedExp, int64_t& used);
};

namespace ref {
extern const Kernels kKernels;
}
namespace avx2 {
extern const Kernels kKernels;
}
namespace avx512 {
extern const Kernels kKernels;
}

inline constexpr Variant<const Kernels*> kVariants[] = {
    {"avx512", kIsaAvx512 | LUM_CPU_AVX512VBMI, &avx512::kKernels},
    {"avx2", kIsaAvx2, &avx2::kKernels},
    {"ref", kIsaRef, &ref::kKernels},
};

}  // namespace lumdc::zfp
