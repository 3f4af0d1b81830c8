// LZ4 encoding with the crc32 instruction for the hash and 32-byte compares for
// match extension.

#include <immintrin.h>

#include <cstring>

#include "lz4_encode_core.h"
#include "lz4hc_core.h"

namespace lumdc::lz4 {
namespace {

struct Avx2Ops {
    static uint32_t hash(const uint8_t* p) { return _mm_crc32_u32(p[4], load32le(p)); }
    static uint32_t hashWord(uint8_t b4, uint32_t word) { return _mm_crc32_u32(b4, word); }
    static uint32_t hash4(const uint8_t* p) { return _mm_crc32_u32(0, load32le(p)); }

    static size_t extend(const uint8_t* a, const uint8_t* b, const uint8_t* aLimit) {
        const uint8_t* const start = a;
        for (; a + 32 <= aLimit; a += 32, b += 32) {
            const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a));
            const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b));
            const uint32_t equal = uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(x, y)));
            if (equal != 0xFFFFFFFFu) return size_t(a - start) + size_t(_tzcnt_u32(~equal));
        }
        for (; a + 8 <= aLimit; a += 8, b += 8) {
            uint64_t x, y;
            std::memcpy(&x, a, 8);
            std::memcpy(&y, b, 8);
            if (x != y) return size_t(a - start) + size_t(_tzcnt_u64(x ^ y) / 8);
        }
        for (; a < aLimit && *a == *b; ++a, ++b) {
        }
        return size_t(a - start);
    }

    static void copy64(uint8_t* dst, const uint8_t* src) {
        const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
        const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 32));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), x);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 32), y);
    }
};

}  // namespace

namespace avx2 {
const EncodeKernels kEncodeKernels = encodeKernelsOf<Avx2Ops>();
EncodeResult encodeHc(const HcJob& job) { return encodeHcBlock<Avx2Ops>(job); }
}  // namespace avx2

}  // namespace lumdc::lz4
