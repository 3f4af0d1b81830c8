// Deflate LZ77 matching with the crc32 instruction for the hash and 64-byte
// compares into mask registers for match lengths.

#include <immintrin.h>

#include "core/lz_match_avx512.h"
#include "deflate/deflate_lz77_kernels.h"

namespace lumdc::deflate {
namespace {

struct Avx512Ops : Avx512MatchOps {
    static uint32_t crc(uint32_t word) { return _mm_crc32_u32(0, word); }

    // Four 64-byte blocks, then bytes 256 and 257.
    static uint32_t match258(const uint8_t* a, const uint8_t* b) {
        for (uint32_t k = 0; k < 256; k += 64) {
            const uint64_t differ = _mm512_cmpneq_epu8_mask(_mm512_loadu_si512(a + k), _mm512_loadu_si512(b + k));
            if (differ != 0) return k + uint32_t(_tzcnt_u64(differ));
        }
        if (a[256] != b[256]) return 256;
        return a[257] == b[257] ? 258 : 257;
    }
};

}  // namespace

namespace avx512 {
const MatchKernels kMatchKernels = matchKernelsOf<Avx512Ops>();
}

}  // namespace lumdc::deflate
