#include "crc32c_hash.h"

namespace lumdc {

constinit const Crc32cWordTables kCrc32cWordTables = makeCrc32cWordTables();

}  // namespace lumdc
