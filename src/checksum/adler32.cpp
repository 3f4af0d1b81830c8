// Adler-32: the portable kernel and the export.
//
// With a and b the two sums and 32-bit arithmetic, a block may be summed without
// reduction as long as b cannot pass 2^32 - 1. The caller's halves arrive
// unreduced (up to 65535 each), and up to 15 alignment bytes may be added to a
// before the first block; a block of k bytes then adds at most
// k (65535 + 15 * 255) + 255 k (k + 1) / 2 to b, which stays below 2^32 - 1 - b
// for k = 5536 (346 groups of 16) but not for the next multiple of 16.

#include "adler32.h"

#include "lumdc.h"

namespace lumdc::adler::ref {
namespace {

constexpr size_t kBlock = 5536;

inline void sumBytes(uint32_t& a, uint32_t& b, const uint8_t* p, size_t n) {
    for (; n >= 8; n -= 8, p += 8) {
        for (int i = 0; i < 8; ++i) {
            a += p[i];
            b += a;
        }
    }
    for (; n > 0; --n, ++p) {
        a += *p;
        b += a;
    }
}

}  // namespace

uint32_t adler32(uint32_t adler, const uint8_t* p, size_t n) {
    uint32_t a = adler & 0xFFFF, b = adler >> 16;
    if (n < 31) {
        sumBytes(a, b, p, n);
    } else {
        const size_t head = (16 - (reinterpret_cast<uintptr_t>(p) & 15)) & 15;
        sumBytes(a, b, p, head);
        p += head;
        n -= head;
        for (; n >= kBlock; n -= kBlock, p += kBlock) {
            sumBytes(a, b, p, kBlock);
            a %= kMod;
            b %= kMod;
        }
        const size_t groups = n & ~size_t(15);
        sumBytes(a, b, p, groups);
        a %= kMod;
        b %= kMod;
        sumBytes(a, b, p + groups, n - groups);
    }
    return (b % kMod) << 16 | (a % kMod);
}

}  // namespace lumdc::adler::ref

// A null source is an empty stream that starts afresh (value 1); a non-positive
// length processes nothing but still returns the value reduced.
extern "C" LUMDC_API LumStatus lumsAdler32_8u(const uint8_t* pSrc, int32_t len, uint32_t* pAdler) {
    if (pAdler == nullptr) return lumStatusNullPtr;
    if (pSrc == nullptr) {
        *pAdler = 1;
        return lumStatusOk;
    }
    const auto kernel = lumdc::pickVariant(lumdc::adler::kAdler32Variants);
    *pAdler = kernel(*pAdler, pSrc, len > 0 ? size_t(len) : 0);
    return lumStatusOk;
}
