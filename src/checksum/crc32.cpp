// CRC-32 (zlib, gzip) and the bzip2 CRC: the portable slicing kernel and the exports.
//
// The exports turn the caller's running value into the internal state c and back:
// CRC-32 keeps c = NOT value; the bzip2 CRC keeps c = byteswap(NOT value) (see
// crc_tables.h), so that both run on the same kernels. The feature query is made
// on every call; no function pointer is cached.

#include <cstring>

#include "crc.h"
#include "lumdc.h"

namespace lumdc::crc {

uint32_t sliceBy8(const SliceTables& tables, uint32_t c, const uint8_t* p, size_t n) {
    const auto& t = tables.t;
    if (n >= 16) {
        for (; (reinterpret_cast<uintptr_t>(p) & 7) != 0; ++p, --n) c = (c >> 8) ^ t[0][(c ^ *p) & 0xFF];
        for (; n >= 8; n -= 8, p += 8) {
            uint32_t lo, hi;
            std::memcpy(&lo, p, 4);
            std::memcpy(&hi, p + 4, 4);
            lo ^= c;
            c = t[7][lo & 0xFF] ^ t[6][(lo >> 8) & 0xFF] ^ t[5][(lo >> 16) & 0xFF] ^ t[4][lo >> 24] ^ t[3][hi & 0xFF] ^
                t[2][(hi >> 8) & 0xFF] ^ t[1][(hi >> 16) & 0xFF] ^ t[0][hi >> 24];
        }
    }
    for (; n > 0; ++p, --n) c = (c >> 8) ^ t[0][(c ^ *p) & 0xFF];
    return c;
}

namespace ref {
uint32_t crc32(uint32_t c, const uint8_t* p, size_t n) { return sliceBy8(kCrc32Tables, c, p, n); }
uint32_t bz2(uint32_t c, const uint8_t* p, size_t n) { return sliceBy8(kBz2Tables, c, p, n); }
uint32_t crc32c(uint32_t c, const uint8_t* p, size_t n) { return sliceBy8(kCrc32cTables, c, p, n); }
}  // namespace ref

}  // namespace lumdc::crc

using namespace lumdc::crc;

extern "C" LUMDC_API LumStatus lumsCRC32_8u(const uint8_t* pSrc, int32_t len, uint32_t* pCRC) {
    if (pSrc == nullptr || pCRC == nullptr) return lumStatusNullPtr;
    if (len <= 0) return lumStatusSizeErr;
    const CrcKernel kernel = lumdc::pickVariant(kCrc32Variants);
    *pCRC = ~kernel(~*pCRC, pSrc, size_t(len));
    return lumStatusOk;
}

extern "C" LUMDC_API LumStatus lumsCRC32_BZ2_8u(const uint8_t* pSrc, int32_t len, uint32_t* pCRC) {
    if (pSrc == nullptr || pCRC == nullptr) return lumStatusNullPtr;
    if (len <= 0) return lumStatusSizeErr;
    const CrcKernel kernel = lumdc::pickVariant(kBz2Variants);
    *pCRC = ~byteSwap32(kernel(byteSwap32(~*pCRC), pSrc, size_t(len)));
    return lumStatusOk;
}

// CRC-32C keeps no inversion at all: the running value is the raw register.
extern "C" LUMDC_API LumStatus lumsCRC32C_8u(const uint8_t* pSrc, uint32_t len, uint32_t* pCRC) {
    if (pSrc == nullptr || pCRC == nullptr) return lumStatusNullPtr;
    if (len == 0) return lumStatusSizeErr;
    const CrcKernel kernel = lumdc::pickVariant(kCrc32cVariants);
    *pCRC = kernel(*pCRC, pSrc, len);
    return lumStatusOk;
}
