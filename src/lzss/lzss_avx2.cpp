// LZSS encoding with 32-byte compares for the match extension.

#include "core/lz_match_avx2.h"
#include "lzss/lzss_encode_core.h"

namespace lumdc::lzss::avx2 {
const EncodeKernels kEncodeKernels = {codeItems<Avx2MatchOps>};
}  // namespace lumdc::lzss::avx2
