// LZ4 encoding with the crc32 instruction for the hash and 32-byte compares into
// mask registers for match extension; the tail of a match is compared with one
// masked load instead of word and byte steps.

#include <immintrin.h>

#include <cstring>

#include "lz4_encode_core.h"
#include "lz4hc_core.h"

namespace lumdc::lz4 {
namespace {

struct Avx512Ops {
    static uint32_t hash(const uint8_t* p) { return _mm_crc32_u32(p[4], load32le(p)); }
    static uint32_t hashWord(uint8_t b4, uint32_t word) { return _mm_crc32_u32(b4, word); }
    static uint32_t hash4(const uint8_t* p) { return _mm_crc32_u32(0, load32le(p)); }

    // 32-byte compares straight into a mask register, and a masked compare for the
    // tail, on 256-bit registers: matches are mostly short, and 512-bit
    // instructions can lower the clock for everything around them.
    static size_t extend(const uint8_t* a, const uint8_t* b, const uint8_t* aLimit) {
        const uint8_t* const start = a;
        for (; a + 32 <= aLimit; a += 32, b += 32) {
            const uint32_t differ = _mm256_cmpneq_epu8_mask(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a)),
                                                            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b)));
            if (differ != 0) return size_t(a - start) + size_t(_tzcnt_u32(differ));
        }
        if (a < aLimit) {
            const __mmask32 valid = _bzhi_u32(~0u, unsigned(aLimit - a));
            const uint32_t differ = _mm256_mask_cmpneq_epu8_mask(valid, _mm256_maskz_loadu_epi8(valid, a),
                                                                 _mm256_maskz_loadu_epi8(valid, b));
            return size_t(a - start) + (differ != 0 ? size_t(_tzcnt_u32(differ)) : size_t(aLimit - a));
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

namespace avx512 {
const EncodeKernels kEncodeKernels = encodeKernelsOf<Avx512Ops>();
EncodeResult encodeHc(const HcJob& job) { return encodeHcBlock<Avx512Ops>(job); }
}  // namespace avx512

}  // namespace lumdc::lz4
