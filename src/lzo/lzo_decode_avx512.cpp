// LZO1X decoding with the AVX2 fast path (see core/lz_copy_x86.h for why it stays
// at that width), zero extension bytes found with one test into a mask register,
// and masked moves for the careful path (core/lz_copy_avx512.h).

#include "core/lz_copy_avx512.h"
#include "core/lz_copy_x86.h"
#include "lzo_decode_core.h"

namespace lumdc::lzo {
namespace {

struct Avx512Ops : MaskedLzCopies, VectorLzCopies {
    static size_t zeroRun(const uint8_t* p) {
        const __m256i v = load32(p);
        return _tzcnt_u32(_mm256_test_epi8_mask(v, v));
    }
};

}  // namespace

namespace avx512 {
const DecodeKernels kDecodeKernels = kernelsOf<Avx512Ops>();
}  // namespace avx512

}  // namespace lumdc::lzo
