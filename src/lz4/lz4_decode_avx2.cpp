// LZ4 decoding with 16- and 32-byte moves (see lz4_decode_x86.h).

#include "lz4_decode_x86.h"

namespace lumdc::lz4::avx2 {
const DecodeKernels kDecodeKernels = kernelsOf<VectorOps>();
}  // namespace lumdc::lz4::avx2
