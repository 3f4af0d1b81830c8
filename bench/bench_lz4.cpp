// LZ4 blocks, ours beside liblz4 in one run, on the shared corpus:
//   <operation>/<impl>/<file>, each file cut to its first 4 MiB and taken either
//   whole (one block) or in 64 KiB blocks (operation suffix _64k). The
//   high-compression encoders run levels 9 to 12 on the whole 4 MiB beside
//   LZ4_compress_HC at the same level (lz4hc9 .. lz4hc12), and levels 9 and 12 on
//   the first 1 MiB as well (suffix _1m). Throughput is
//   counted in uncompressed bytes for both directions; encoders also report the
//   compressed size over the original as "ratio".
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
#include "lz4/lz4_encode.h"
#include "lz4/lz4hc.h"

namespace {

constexpr size_t kFileLimit = 4 << 20;

struct Blocks {
    std::vector<uint8_t> data;                 // the file prefix
    std::vector<size_t> sizes;                 // uncompressed block sizes
    std::vector<std::vector<uint8_t>> packed;  // LZ4_compress_default output per block
};

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

// An encoder over every block of `b`: uncompressed bytes per second, and the
// compressed size over the original as the "ratio" counter.
using Encoder = size_t (*)(const uint8_t* src, size_t n, uint8_t* dst, size_t capacity, int param);

void addEncoder(const std::string& name, uint64_t features, const Blocks* b, Encoder encode, int param) {
    static std::vector<uint8_t> out(kFileLimit + kFileLimit / 255 + 4096);
    static std::vector<size_t> sizes;
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        if (!lumbench::hasFeatures(features)) {
            state.SkipWithError("processor lacks the features");
            return;
        }
        lumbench::ForceFeatures only(features);
        size_t total = 0;
        for (auto _ : state) {
            total = 0;
            size_t at = 0;
            for (size_t n : b->sizes) {
                total += encode(b->data.data() + at, n, out.data(), out.size(), param);
                at += n;
            }
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(b->data.size()));
        state.counters["ratio"] = double(total) / double(b->data.size());
    });
}

size_t oursPlain(const uint8_t* s, size_t n, uint8_t* d, size_t, int) {
    static uint8_t table[16384];
    int32_t len = 0;
    lumsEncodeLZ4_8u(s, int32_t(n), d, &len, table);
    return size_t(len);
}
size_t oursFast(const uint8_t* s, size_t n, uint8_t* d, size_t, int accel) {
    static uint8_t table[16384];
    int32_t len = 0;
    lumsEncodeLZ4Fast_8u(s, int32_t(n), d, &len, table, accel);
    return size_t(len);
}
size_t oursHc(const uint8_t* s, size_t n, uint8_t* d, size_t capacity, int level) {
    static std::vector<uint8_t> head(0x20000), chain(0x40000);
    int32_t srcLen = int32_t(n), len = int32_t(capacity);
    lumsEncodeLZ4HC_8u(s, &srcLen, d, &len, head.data(), chain.data(), level);
    return size_t(len);
}
size_t lz4Fast(const uint8_t* s, size_t n, uint8_t* d, size_t capacity, int accel) {
    return size_t(
        LZ4_compress_fast(reinterpret_cast<const char*>(s), reinterpret_cast<char*>(d), int(n), int(capacity), accel));
}
size_t lz4Default(const uint8_t* s, size_t n, uint8_t* d, size_t capacity, int) {
    return size_t(
        LZ4_compress_default(reinterpret_cast<const char*>(s), reinterpret_cast<char*>(d), int(n), int(capacity)));
}
size_t lz4Hc(const uint8_t* s, size_t n, uint8_t* d, size_t capacity, int level) {
    return size_t(
        LZ4_compress_HC(reinterpret_cast<const char*>(s), reinterpret_cast<char*>(d), int(n), int(capacity), level));
}

template <class Variants>
void addOurs(const std::string& op, const std::string& file, const Blocks* b, const Variants& variants, Encoder e,
             int param) {
    for (const auto& v : variants) addEncoder(op + "/lumdc-" + v.name + "/" + file, v.features, b, e, param);
}

}  // namespace

int main(int argc, char** argv) {
    static std::vector<std::unique_ptr<Blocks>> keep;
    const auto files = lumbench::corpus(kFileLimit);
    for (const auto& [name, data] : files) {
        keep.push_back(std::make_unique<Blocks>(split(data, data.size())));
        addDecoders("lz4_decode", name, keep.back().get());
    }
    for (const auto& [name, data] : files) {
        keep.push_back(std::make_unique<Blocks>(split(data, 64 << 10)));
        addDecoders("lz4_decode_64k", name, keep.back().get());
    }
    static std::vector<std::unique_ptr<Blocks>> encodeSets;
    for (const auto& [name, data] : files) {
        const Blocks* whole = encodeSets.emplace_back(std::make_unique<Blocks>(Blocks{data, {data.size()}, {}})).get();
        const Blocks* small = encodeSets.emplace_back(std::make_unique<Blocks>(split(data, 64 << 10))).get();
        const std::vector<uint8_t> head(data.begin(), data.begin() + std::min<size_t>(data.size(), 1 << 20));
        const Blocks* mib = encodeSets.emplace_back(std::make_unique<Blocks>(Blocks{head, {head.size()}, {}})).get();
        addOurs("lz4_encode", name, whole, lumdc::lz4::kEncodeVariants, oursPlain, 1);
        addEncoder("lz4_encode/lz4/" + name, 0, whole, lz4Default, 1);
        addOurs("lz4_encode_64k", name, small, lumdc::lz4::kEncodeVariants, oursPlain, 1);
        addEncoder("lz4_encode_64k/lz4/" + name, 0, small, lz4Default, 1);
        for (int accel : {4, 16}) {
            const std::string op = "lz4_fast" + std::to_string(accel);
            addOurs(op, name, whole, lumdc::lz4::kEncodeVariants, oursFast, accel);
            addEncoder(op + "/lz4/" + name, 0, whole, lz4Fast, accel);
        }
        for (int level : {9, 10, 11, 12}) {
            const std::string op = "lz4hc" + std::to_string(level);
            addOurs(op, name, whole, lumdc::lz4::kHcVariants, oursHc, level);
            addEncoder(op + "/lz4/" + name, 0, whole, lz4Hc, level);
        }
        for (int level : {9, 12}) {
            const std::string op = "lz4hc" + std::to_string(level) + "_1m";
            addOurs(op, name, mib, lumdc::lz4::kHcVariants, oursHc, level);
            addEncoder(op + "/lz4/" + name, 0, mib, lz4Hc, level);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
