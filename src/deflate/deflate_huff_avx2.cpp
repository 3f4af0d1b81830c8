// The record writer's fast loop built for AVX2-level machines: the variable
// shifts of the bit packing become single BMI2 instructions (shlx, shrx).

#include "deflate_huff_core.h"

namespace lumdc::deflate::avx2 {
const HuffKernels kHuffKernels = {writeRecords};
}
