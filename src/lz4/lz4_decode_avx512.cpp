// LZ4 decoding with the AVX2 fast path (see core/lz_copy_x86.h for why it stays
// at that width) and AVX-512 masked moves for the careful path, the last sequences
// of every block (see core/lz_copy_avx512.h).

#include "core/lz_copy_avx512.h"
#include "core/lz_copy_x86.h"
#include "lz4_decode_core.h"

namespace lumdc::lz4 {
namespace {

struct Avx512Ops : MaskedLzCopies, VectorLzCopies {};

}  // namespace

namespace avx512 {
const DecodeKernels kDecodeKernels = kernelsOf<Avx512Ops>();
}  // namespace avx512

}  // namespace lumdc::lz4
