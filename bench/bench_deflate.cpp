// Deflate compression on the corpus: what a caller of lumDC runs to make a raw
// Deflate stream (the tools/ writer: matcher, code building, header and Huffman
// output), beside zlib, libdeflate and isa-l at comparable levels. The "ratio"
// counter is the compressed size over the original.
//
// Operations: deflate_<level> for levels 1, 6 and 9 (zlib and libdeflate at the
// same level), deflate_fastest for the one-pass family (isa-l levels 0 to 3).

#include <benchmark/benchmark.h>
#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#include <zlib.h>

#include <memory>
#include <string>
#include <vector>

#include "bench_util.h"
#include "core/isa.h"
#include "deflate_writer.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Compressor = size_t (*)(const Bytes& src, Bytes& dst, int level);

size_t ours(const Bytes& src, Bytes&, int level) {
    return lumcodec::deflateCompress(src.data(), src.size(), level, lumcodec::DeflateFraming::Raw).size();
}

size_t zlibRaw(const Bytes& src, Bytes& dst, int level) {
    z_stream z{};
    deflateInit2(&z, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    z.next_in = const_cast<Bytef*>(src.data());
    z.avail_in = uInt(src.size());
    z.next_out = dst.data();
    z.avail_out = uInt(dst.size());
    deflate(&z, Z_FINISH);
    const size_t n = z.total_out;
    deflateEnd(&z);
    return n;
}

size_t libdeflateRaw(const Bytes& src, Bytes& dst, int level) {
    libdeflate_compressor* c = libdeflate_alloc_compressor(level);
    const size_t n = libdeflate_deflate_compress(c, src.data(), src.size(), dst.data(), dst.size());
    libdeflate_free_compressor(c);
    return n;
}

size_t isalRaw(const Bytes& src, Bytes& dst, int level) {
    static const uint32_t kLevelBuf[] = {ISAL_DEF_LVL0_DEFAULT, ISAL_DEF_LVL1_DEFAULT, ISAL_DEF_LVL2_DEFAULT,
                                         ISAL_DEF_LVL3_DEFAULT};
    static std::vector<uint8_t> levelBuf(ISAL_DEF_LVL3_DEFAULT);
    isal_zstream s;
    isal_deflate_init(&s);
    s.level = uint32_t(level);
    s.level_buf = levelBuf.data();
    s.level_buf_size = kLevelBuf[level];
    s.end_of_stream = 1;
    s.flush = NO_FLUSH;
    s.next_in = const_cast<uint8_t*>(src.data());
    s.avail_in = uint32_t(src.size());
    s.next_out = dst.data();
    s.avail_out = uint32_t(dst.size());
    isal_deflate(&s);
    return s.total_out;
}

void add(const std::string& name, uint64_t features, const Bytes* src, Compressor c, int level) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        lumbench::ForceFeatures force(features);
        if (!lumbench::hasFeatures(features)) {
            state.SkipWithError("processor lacks the features");
            return;
        }
        Bytes dst(src->size() + src->size() / 8 + 65536);
        size_t size = 0;
        for (auto _ : state) {
            size = c(*src, dst, level);
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src->size()));
        state.counters["ratio"] = double(size) / double(src->size());
    })->Unit(benchmark::kMillisecond);
}

struct OurVariant {
    const char* name;
    uint64_t features;
};
constexpr OurVariant kOurs[] = {{"avx512", lumdc::kIsaAvx512}, {"avx2", lumdc::kIsaAvx2}, {"ref", lumdc::kIsaRef}};

}  // namespace

int main(int argc, char** argv) {
    static const auto files = lumbench::corpus(SIZE_MAX);
    for (const auto& [name, data] : files) {
        const Bytes* src = &data;
        for (int level : {1, 6, 9}) {
            const std::string op = "deflate_" + std::to_string(level);
            for (const auto& v : kOurs) add(op + "/lumdc-" + v.name + "/" + name, v.features, src, ours, level);
            add(op + "/zlib/" + name, 0, src, zlibRaw, level);
            add(op + "/libdeflate/" + name, 0, src, libdeflateRaw, level);
        }
        for (const auto& v : kOurs)
            add("deflate_fastest/lumdc-" + std::string(v.name) + "/" + name, v.features, src, ours,
                lumcodec::kDeflateFastest);
        for (int level = 0; level <= 3; ++level)
            add("deflate_fastest/isal-" + std::to_string(level) + "/" + name, 0, src, isalRaw, level);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
