// Deflate LZ77 matching with the crc32 instruction for the hash and 64-byte
// compares into mask registers for match lengths (a candidate's first 64 bytes
// in one compare decide most walks' steps).

#include <immintrin.h>

#include "core/lz_match_avx512.h"
#include "deflate/deflate_lz77_kernels.h"

namespace lumdc::deflate {
namespace {

struct Avx512Ops : Avx512MatchOps {
    using Key = __m512i;
    static constexpr uint32_t kBlock = 64;

    static uint32_t crc(uint32_t word) { return _mm_crc32_u32(0, word); }
    static Key key(const uint8_t* a) { return _mm512_loadu_si512(a); }
    static uint32_t prefix(Key a, const uint8_t* b) {
        return uint32_t(_tzcnt_u64(_mm512_cmpneq_epu8_mask(a, _mm512_loadu_si512(b))));
    }
    // 64-byte blocks up to byte 255, then bytes 256 and 257.
    static uint32_t matchFrom(const uint8_t* a, const uint8_t* b, uint32_t k) {
        for (; k < 256; k += 64) {
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
