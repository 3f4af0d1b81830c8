#include "crc_tables.h"

namespace lumdc::crc {

constexpr SliceTables kCrc32TablesInit = reflectedTables(kPolyCrc32);
constexpr SliceTables kBz2TablesInit = swappedMsbFirstTables(kPolyCrc32);
constexpr SliceTables kCrc32cTablesInit = reflectedTables(kPolyCrc32c);

static_assert(kCrc32TablesInit.t[0][1] == 0x77073096u);
static_assert(kBz2TablesInit.t[0][1] == 0xB71DC104u);
static_assert(kCrc32cTablesInit.t[0][1] == 0xF26B8303u);

const SliceTables kCrc32Tables = kCrc32TablesInit;
const SliceTables kBz2Tables = kBz2TablesInit;
const SliceTables kCrc32cTables = kCrc32cTablesInit;

}  // namespace lumdc::crc
