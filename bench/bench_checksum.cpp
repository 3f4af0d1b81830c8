// Checksums, ours beside the peers in one run:
//   <operation>/<impl>/<size>, impl = lumdc-<variant> (forced through the lumcore
//   switch and called through the export) or the peer's name.

#include <isa-l/crc.h>
#include <libdeflate.h>
#include <zlib.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench_util.h"
#include "checksum/adler32.h"
#include "checksum/crc.h"
#include "lumdc.h"

namespace {

const size_t kSizes[] = {4 << 10, 64 << 10, 1 << 20, 64 << 20};

// One random buffer for every size: each benchmark reads its first n bytes.
const uint8_t* data() {
    static const uint8_t* buffer = lumbench::randomBuffer(64 << 20);
    return buffer;
}

using Run = std::function<uint32_t(const uint8_t*, size_t)>;

void add(const std::string& op, const std::string& impl, uint64_t features, Run run) {
    for (size_t n : kSizes)
        lumbench::registerThroughput(op + "/" + impl + "/" + lumbench::sizeLabel(n), features, n,
                                     [=] { benchmark::DoNotOptimize(run(data(), n)); });
}

template <size_t N, class Fn>
void addOurs(const std::string& op, const lumdc::Variant<Fn> (&variants)[N], Run run) {
    for (const auto& v : variants) add(op, std::string("lumdc-") + v.name, v.features, run);
}

}  // namespace

int main(int argc, char** argv) {
    addOurs("crc32", lumdc::crc::kCrc32Variants, [](const uint8_t* p, size_t n) {
        uint32_t v = 0;
        lumsCRC32_8u(p, int32_t(n), &v);
        return v;
    });
    add("crc32", "zlib", 0, [](const uint8_t* p, size_t n) { return uint32_t(crc32(0, p, uInt(n))); });
    add("crc32", "libdeflate", 0, [](const uint8_t* p, size_t n) { return libdeflate_crc32(0, p, n); });
    add("crc32", "isal", 0, [](const uint8_t* p, size_t n) { return crc32_gzip_refl(0, p, n); });

    addOurs("crc32_bz2", lumdc::crc::kBz2Variants, [](const uint8_t* p, size_t n) {
        uint32_t v = 0;
        lumsCRC32_BZ2_8u(p, int32_t(n), &v);
        return v;
    });
    add("crc32_bz2", "isal", 0, [](const uint8_t* p, size_t n) { return crc32_ieee(0, p, n); });

    addOurs("crc32c", lumdc::crc::kCrc32cVariants, [](const uint8_t* p, size_t n) {
        uint32_t v = 0xFFFFFFFFu;
        lumsCRC32C_8u(p, uint32_t(n), &v);
        return v;
    });
    add("crc32c", "isal", 0,
        [](const uint8_t* p, size_t n) { return crc32_iscsi(const_cast<uint8_t*>(p), int(n), 0xFFFFFFFFu); });

    addOurs("adler32", lumdc::adler::kAdler32Variants, [](const uint8_t* p, size_t n) {
        uint32_t v = 1;
        lumsAdler32_8u(p, int32_t(n), &v);
        return v;
    });
    add("adler32", "zlib", 0, [](const uint8_t* p, size_t n) { return uint32_t(adler32(1, p, uInt(n))); });
    add("adler32", "libdeflate", 0, [](const uint8_t* p, size_t n) { return libdeflate_adler32(1, p, n); });

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
