// CRC-32C on one stream of crc32 instructions: the fallback where carry-less
// multiplication is missing, so partial streams could not be recombined cheaply.

#include "crc.h"
#include "crc32c_hw.h"

namespace lumdc::crc::sse42 {

uint32_t crc32c(uint32_t c, const uint8_t* p, size_t n) { return crc32cHw(c, p, n); }

}  // namespace lumdc::crc::sse42
