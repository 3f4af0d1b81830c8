// Deflate LZ77 matching with the crc32 instruction for the hash and 32-byte
// compares for match lengths.

#include <immintrin.h>

#include "core/lz_match_avx2.h"
#include "deflate/deflate_lz77_kernels.h"

namespace lumdc::deflate {
namespace {

struct Avx2Ops : Avx2MatchOps {
    using Key = __m256i;
    static constexpr uint32_t kBlock = 32;

    static uint32_t crc(uint32_t word) { return _mm_crc32_u32(0, word); }
    static Key key(const uint8_t* a) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a)); }
    static uint32_t prefix(Key a, const uint8_t* b) {
        const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b));
        return _tzcnt_u32(~uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(a, y))));
    }
    // 32-byte blocks up to byte 255, then bytes 256 and 257.
    static uint32_t matchFrom(const uint8_t* a, const uint8_t* b, uint32_t k) {
        for (; k < 256; k += 32) {
            const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + k));
            const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + k));
            const uint32_t equal = uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(x, y)));
            if (equal != 0xFFFFFFFFu) return k + _tzcnt_u32(~equal);
        }
        if (a[256] != b[256]) return 256;
        return a[257] == b[257] ? 258 : 257;
    }
};

}  // namespace

namespace avx2 {
const MatchKernels kMatchKernels = matchKernelsOf<Avx2Ops>();
}

}  // namespace lumdc::deflate
