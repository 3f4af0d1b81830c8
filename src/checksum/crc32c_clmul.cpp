// CRC-32C on three interleaved streams of crc32 instructions.
//
// The instruction has a latency of three cycles and a throughput of one, so one
// stream runs at a third of the unit's speed. Three independent streams over three
// consecutive blocks keep it busy; the block states are then joined with the CRC's
// linearity: crc(c, A B C) = shift(crc(c, A), |B C|) ^ shift(crc(0, B), |C|) ^ crc(0, C),
// where shift multiplies by x^(8 bytes) with one carry-less product and one crc32
// (see shiftConst). Long blocks amortise the join; shorter ones keep mid-sized
// inputs on three streams too.

#include <wmmintrin.h>

#include "crc.h"
#include "crc32c_hw.h"

namespace lumdc::crc::clmul {
namespace {

template <size_t kBlock>
void threeStreams(uint32_t& c, const uint8_t*& p, size_t& n) {
    constexpr uint64_t kShift1 = shiftConst(kPolyCrc32c, kBlock);
    constexpr uint64_t kShift2 = shiftConst(kPolyCrc32c, 2 * kBlock);
    for (; n >= 3 * kBlock; n -= 3 * kBlock, p += 3 * kBlock) {
        uint64_t c0 = c, c1 = 0, c2 = 0;
        for (size_t i = 0; i < kBlock; i += 8) {
            c0 = _mm_crc32_u64(c0, read64(p + i));
            c1 = _mm_crc32_u64(c1, read64(p + kBlock + i));
            c2 = _mm_crc32_u64(c2, read64(p + 2 * kBlock + i));
        }
        const __m128i a =
            _mm_clmulepi64_si128(_mm_cvtsi64_si128(int64_t(c0)), _mm_cvtsi64_si128(int64_t(kShift2)), 0x00);
        const __m128i b =
            _mm_clmulepi64_si128(_mm_cvtsi64_si128(int64_t(c1)), _mm_cvtsi64_si128(int64_t(kShift1)), 0x00);
        // crc32 from state 0 is linear, so the two shifts share one instruction.
        const uint64_t joined = uint64_t(_mm_cvtsi128_si64(_mm_xor_si128(a, b)));
        c = uint32_t(_mm_crc32_u64(0, joined) ^ c2);
    }
}

}  // namespace

uint32_t crc32c(uint32_t c, const uint8_t* p, size_t n) {
    threeStreams<2048>(c, p, n);
    threeStreams<256>(c, p, n);
    threeStreams<32>(c, p, n);
    return crc32cHw(c, p, n);
}

}  // namespace lumdc::crc::clmul
