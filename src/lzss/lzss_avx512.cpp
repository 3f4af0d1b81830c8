// LZSS encoding with 64-byte mask-register compares for the match extension.

#include "core/lz_match_avx512.h"
#include "lzss/lzss_encode_core.h"

namespace lumdc::lzss::avx512 {
const EncodeKernels kEncodeKernels = {codeItems<Avx512MatchOps, CrcHash>};
}  // namespace lumdc::lzss::avx512
