// LZ4 decoding with 16- and 32-byte moves (see core/lz_copy_x86.h).

#include "core/lz_copy_x86.h"
#include "lz4_decode_core.h"

namespace lumdc::lz4 {
namespace {
struct VectorOps : ExactLzCopies, VectorLzCopies {};
}  // namespace

namespace avx2 {
const DecodeKernels kDecodeKernels = kernelsOf<VectorOps>();
}  // namespace avx2

}  // namespace lumdc::lz4
