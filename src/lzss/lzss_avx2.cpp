// LZSS with 32-byte compares for the encoder's match extension, and the decoder's
// fast loop with vector match copies and literal runs gathered by PEXT.

#include <immintrin.h>

#include "core/lz_copy_x86.h"
#include "core/lz_match_avx2.h"
#include "lzss/lzss_decode_core.h"
#include "lzss/lzss_encode_core.h"

namespace lumdc::lzss::avx2 {
namespace {

struct GatheredLiterals {
    static uint32_t leadingLiterals(uint64_t window) {
        // The first item's flag lands on bit 5; shifted to the top, the zeros
        // below the six flags stop the count at six.
        return uint32_t(std::countl_one(uint32_t(_pext_u64(window, kFlagBits)) << 26));
    }
    static uint64_t literalBytes(uint64_t window) { return __builtin_bswap64(_pext_u64(window, kByteBits) << 16); }
};

}  // namespace

const EncodeKernels kEncodeKernels = {codeItems<Avx2MatchOps, CrcHash>};
const DecodeKernels kDecodeKernels = {decodeFast<GatheredLiterals, VectorLzCopies>};
}  // namespace lumdc::lzss::avx2
