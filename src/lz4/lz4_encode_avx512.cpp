// LZ4 encoding with the crc32 instruction for the hash and mask-register compares
// for match extension (core/lz_match_avx512.h).

#include <immintrin.h>

#include <cstring>

#include "core/lz_match_avx512.h"
#include "lz4_encode_core.h"
#include "lz4hc_core.h"

namespace lumdc::lz4 {
namespace {

struct Avx512Ops : Avx512MatchOps {
    static uint32_t hash(const uint8_t* p) { return _mm_crc32_u32(p[4], load32le(p)); }
    static uint32_t hashWord(uint8_t b4, uint32_t word) { return _mm_crc32_u32(b4, word); }
    static uint32_t hash4(const uint8_t* p) { return _mm_crc32_u32(0, load32le(p)); }
};

}  // namespace

namespace avx512 {
const EncodeKernels kEncodeKernels = encodeKernelsOf<Avx512Ops>();
EncodeResult encodeHc(const HcJob& job) { return encodeHcBlock<Avx512Ops>(job); }
}  // namespace avx512

}  // namespace lumdc::lz4
