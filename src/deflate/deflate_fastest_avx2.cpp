// The fastest matcher for AVX2-level machines: the crc32 instruction for the hash
// and 32-byte compares for match extension.

#include <immintrin.h>

#include "core/lz_match_avx2.h"
#include "deflate_fastest_core.h"

namespace lumdc::deflate {
namespace {

struct Avx2Ops : Avx2MatchOps {
    static uint32_t hash(uint32_t word) { return _mm_crc32_u32(0, word); }
};

}  // namespace

namespace avx2 {
const FastestKernels kFastestKernels = fastestKernelsOf<Avx2Ops>();
}

}  // namespace lumdc::deflate
