// LZO1X decoding with 16- and 32-byte moves (see core/lz_copy_x86.h) and zero
// extension bytes counted 32 at a time with one compare.

#include "core/lz_copy_x86.h"
#include "lzo_decode_core.h"

namespace lumdc::lzo {
namespace {

struct VectorOps : ExactLzCopies, VectorLzCopies {
    static size_t zeroRun(const uint8_t* p) {
        const auto zero = uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(load32(p), _mm256_setzero_si256())));
        return _tzcnt_u32(~zero);
    }
};

}  // namespace

namespace avx2 {
const DecodeKernels kDecodeKernels = kernelsOf<VectorOps>();
}  // namespace avx2

}  // namespace lumdc::lzo
