// LZ4 blocks, ours beside liblz4 in one run, on the shared corpus:
//   <operation>/<impl>/<file>, each file cut to its first 4 MiB and taken either
//   whole (one block) or in 64 KiB blocks (operation suffix _64k). Throughput is
//   counted in uncompressed bytes for both directions.
// Decoders all read the same blocks, made by LZ4_compress_default.

#include <lz4.h>
#include <lz4hc.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bench_util.h"
#include "lumdc.h"
#include "lz4/lz4_decode.h"

namespace {

constexpr size_t kFileLimit = 4 << 20;

struct Blocks {
    std::vector<uint8_t> data;                 // the file prefix
    std::vector<size_t> sizes;                 // uncompressed block sizes
    std::vector<std::vector<uint8_t>> packed;  // LZ4_compress_default output per block
};

std::string corpusDir() {
    if (const char* env = std::getenv("LUMDC_CORPUS")) return env;
    return LUMDC_SOURCE_DIR "/../shared/corpus";
}

std::vector<std::pair<std::string, std::vector<uint8_t>>> corpus() {
    std::vector<std::pair<std::string, std::vector<uint8_t>>> files;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(corpusDir(), ec)) {
        if (!e.is_regular_file() || e.path().extension() == ".md") continue;
        std::ifstream in(e.path(), std::ios::binary);
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        bytes.resize(std::min(bytes.size(), kFileLimit));
        files.emplace_back(e.path().filename().string(), std::move(bytes));
    }
    std::sort(files.begin(), files.end());
    return files;
}

Blocks split(const std::vector<uint8_t>& data, size_t blockSize) {
    Blocks b{data, {}, {}};
    for (size_t at = 0; at < data.size(); at += blockSize) {
        const size_t n = std::min(blockSize, data.size() - at);
        std::vector<uint8_t> packed(static_cast<size_t>(LZ4_compressBound(int(n))));
        const int size = LZ4_compress_default(reinterpret_cast<const char*>(data.data() + at),
                                              reinterpret_cast<char*>(packed.data()), int(n), int(packed.size()));
        packed.resize(size_t(size));
        b.sizes.push_back(n);
        b.packed.push_back(std::move(packed));
    }
    return b;
}

void addDecoders(const std::string& op, const std::string& file, const Blocks* b) {
    static std::vector<uint8_t> out(kFileLimit + 64);
    for (const auto& v : lumdc::lz4::kDecodeVariants) {
        lumbench::registerThroughput(op + "/lumdc-" + v.name + "/" + file, v.features, b->data.size(), [b] {
            size_t at = 0;
            for (size_t i = 0; i < b->sizes.size(); ++i) {
                int32_t len = int32_t(b->sizes[i]);
                lumsDecodeLZ4_8u(b->packed[i].data(), int32_t(b->packed[i].size()), out.data() + at, &len);
                at += b->sizes[i];
            }
            benchmark::ClobberMemory();
        });
    }
    lumbench::registerThroughput(op + "/lz4/" + file, 0, b->data.size(), [b] {
        size_t at = 0;
        for (size_t i = 0; i < b->sizes.size(); ++i) {
            LZ4_decompress_safe(reinterpret_cast<const char*>(b->packed[i].data()),
                                reinterpret_cast<char*>(out.data() + at), int(b->packed[i].size()), int(b->sizes[i]));
            at += b->sizes[i];
        }
        benchmark::ClobberMemory();
    });
}

}  // namespace

int main(int argc, char** argv) {
    static std::vector<std::unique_ptr<Blocks>> keep;
    const auto files = corpus();
    for (const auto& [name, data] : files) {
        keep.push_back(std::make_unique<Blocks>(split(data, data.size())));
        addDecoders("lz4_decode", name, keep.back().get());
    }
    for (const auto& [name, data] : files) {
        keep.push_back(std::make_unique<Blocks>(split(data, 64 << 10)));
        addDecoders("lz4_decode_64k", name, keep.back().get());
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
