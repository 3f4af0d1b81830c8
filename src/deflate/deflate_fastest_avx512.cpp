// The fastest matcher for AVX-512-level machines: the crc32 instruction for the
// hash, compares into mask registers with a masked tail for match extension.

#include <immintrin.h>

#include "core/lz_match_avx512.h"
#include "deflate_fastest_core.h"

namespace lumdc::deflate {
namespace {

struct Avx512Ops : Avx512MatchOps {
    static uint32_t hash(uint32_t word) { return _mm_crc32_u32(0, word); }
};

}  // namespace

namespace avx512 {
const FastestKernels kFastestKernels = fastestKernelsOf<Avx512Ops>();
}

}  // namespace lumdc::deflate
