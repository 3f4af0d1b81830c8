// LZSS: the state record shared by both directions, the item format and the
// encoder's kernel variants.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/isa.h"
#include "lumdc.h"

namespace lumdc::lzss {

inline constexpr uint32_t kWindow = 32768;  // distances 1..32767
inline constexpr uint32_t kMinMatch = 3;
inline constexpr uint32_t kMaxMatch = 258;
// The encoder codes a position only once this much input lies ahead of it (or at
// the flush, the end is known): the longest match and the hashing of the three
// bytes at each of its last positions. So the stream does not depend on how the
// input was split into calls.
inline constexpr uint32_t kLookahead = kMaxMatch + 2;
inline constexpr uint32_t kBufferBytes = 65536;  // history and look-ahead, encoder
inline constexpr uint16_t kEmpty = 0x8000;       // -32768: never within reach

// The caller's record (opaque in lumdc.h): a 64-byte header whose fields depend on
// the direction, then the encoder's tables and buffer (the decoder uses the first
// 32 KiB of the area for its history).
struct Header {
    const uint16_t* hashTables;  // encoder: three 256-entry tables, XORed
    uint16_t* head;              // encoder: low 16 bits of the latest position per hash
    uint16_t* chain;             // encoder: two tables by position mod 32768, see enter()
    uint8_t* buffer;             // encoder: history and look-ahead; decoder: the 32 KiB history ring
    uint32_t bits;               // pending bits, right-aligned (the low `bitCount` bits)
    int32_t bitCount;
    uint32_t overflow;   // pending bits above the low 32
    uint32_t direction;  // which Init set the record up
    uint64_t position;   // encoder: absolute position of buffer[0]; decoder: bytes produced
    uint32_t filled;     // encoder: bytes in the buffer; decoder: match bytes still to copy
    uint32_t cursor;     // encoder: buffer index of the next position to code; decoder: their distance
};
static_assert(sizeof(Header) == 64);

inline constexpr uint32_t kStateBytes = 327744;
inline constexpr size_t kHeadOffset = sizeof(Header);
inline constexpr size_t kChainOffset = kHeadOffset + 65536 * sizeof(uint16_t);
inline constexpr size_t kBufferOffset = kChainOffset + 2 * kWindow * sizeof(uint16_t);
static_assert(kBufferOffset + kBufferBytes == kStateBytes);

inline constexpr uint32_t kEncoder = 0x4C5A5345, kDecoder = 0x4C5A5344;

enum class Stop { Done, NeedInput, DstFull };

// The decoder's progress through one call, as its fast loop sees it: the source,
// the pending bits (right-aligned, `count` of them), the output and the ring of
// the 32 KiB before it (`start` is the output position of out[0]).
struct DecodeRun {
    const uint8_t* src;
    const uint8_t* srcEnd;
    uint64_t acc;
    int32_t count;
    uint8_t* out;
    uint32_t made;
    uint32_t capacity;
    const uint8_t* ring;
    uint64_t start;
};

// Output room the fast loop keeps: a literal run's 8-byte store, the longest
// match and a copy's over-run.
inline constexpr uint32_t kFastRoom = 8 + kMaxMatch + 32;

struct DecodeKernels {
    // Decodes whole items while 16 source bytes and kFastRoom output bytes are left.
    void (*fast)(DecodeRun& r);
};

struct EncodeKernels {
    // Codes items from the cursor into dst[0, room) (see lzss_encode_core.h).
    Stop (*code)(Header& h, uint8_t*& dst, uint32_t& room, bool final);
};

namespace ref {
extern const EncodeKernels kEncodeKernels;
extern const DecodeKernels kDecodeKernels;
}  // namespace ref
namespace avx2 {
extern const EncodeKernels kEncodeKernels;
extern const DecodeKernels kDecodeKernels;
}  // namespace avx2
namespace avx512 {
extern const EncodeKernels kEncodeKernels;
}

inline constexpr Variant<const EncodeKernels*> kEncodeVariants[] = {
    {"avx512", kIsaAvx512, &avx512::kEncodeKernels},
    {"avx2", kIsaAvx2, &avx2::kEncodeKernels},
    {"ref", kIsaRef, &ref::kEncodeKernels},
};

// The decoder's copies and bit gathers need no AVX-512: one kernel serves both
// vector levels.
inline constexpr Variant<const DecodeKernels*> kDecodeVariants[] = {
    {"avx2", kIsaAvx2, &avx2::kDecodeKernels},
    {"ref", kIsaRef, &ref::kDecodeKernels},
};

}  // namespace lumdc::lzss
