// Deflate LZ77 matching with the crc32 instruction for the hash and 32-byte
// compares for match lengths.

#include <immintrin.h>

#include "core/lz_match_avx2.h"
#include "deflate/deflate_lz77_kernels.h"

namespace lumdc::deflate {
namespace {

struct Avx2Ops : Avx2MatchOps {
    static uint32_t crc(uint32_t word) { return _mm_crc32_u32(0, word); }

    // Eight 32-byte blocks, then bytes 256 and 257.
    static uint32_t match258(const uint8_t* a, const uint8_t* b) {
        for (uint32_t k = 0; k < 256; k += 32) {
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
