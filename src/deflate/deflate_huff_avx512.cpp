// The record writer's fast loop built for AVX-512-level machines.

#include "deflate_huff_core.h"

namespace lumdc::deflate::avx512 {
const HuffKernels kHuffKernels = {writeRecords};
}
