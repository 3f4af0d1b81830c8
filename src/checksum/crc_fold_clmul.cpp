// 16-byte carry-less folding for CRC-32 and the bzip2 CRC (PCLMULQDQ).

#include "crc_fold.h"

namespace lumdc::crc {
namespace {

struct V128 {
    using T = __m128i;
    static constexpr size_t kWidth = 16;
    static T load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const T*>(p)); }
    static T withState(T v, uint32_t c) { return _mm_xor_si128(v, _mm_cvtsi32_si128(int(c))); }
    static T reverseLanes(T v) { return reverseBytes128(v); }
    static T broadcast(FoldConst k) { return const128(k); }
    static T fold(T a, T k, T next) { return fold128(a, k, next); }
    static __m128i reduce(T a, const FoldConst (&)[1]) { return a; }
};

}  // namespace

namespace clmul {
uint32_t crc32(uint32_t c, const uint8_t* p, size_t n) { return foldCrc<V128, Crc32Fold>(c, p, n); }
uint32_t bz2(uint32_t c, const uint8_t* p, size_t n) { return foldCrc<V128, Bz2Fold>(c, p, n); }
}  // namespace clmul

}  // namespace lumdc::crc
