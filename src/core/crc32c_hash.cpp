#include "crc32c_hash.h"

namespace lumdc {
namespace {

constexpr Crc32cWordTables makeTables() {
    Crc32cWordTables s{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int b = 0; b < 8; ++b) c = (c >> 1) ^ ((c & 1u) ? 0x82F63B78u : 0u);
        s.t[0][i] = c;
    }
    for (int k = 1; k < 4; ++k)
        for (int i = 0; i < 256; ++i) s.t[k][i] = (s.t[k - 1][i] >> 8) ^ s.t[0][s.t[k - 1][i] & 0xFF];
    return s;
}

}  // namespace

constinit const Crc32cWordTables kCrc32cWordTables = makeTables();

}  // namespace lumdc
