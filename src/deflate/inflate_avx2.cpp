// Inflation's fast loop with BMI2 bit extraction and 16/32-byte match copies.

#include "core/lz_copy_x86.h"
#include "deflate/inflate_fast.h"

namespace lumdc::inflate::avx2 {
const Kernels kKernels = {decodeFast<VectorLzCopies>};
}  // namespace lumdc::inflate::avx2
