// Deflate LZ77 matching alone on the shared corpus (each file's first 4 MiB):
// lumsDeflateLZ77_8u over the whole buffer in calls of 32768 records, as a
// compressor filling its blocks runs it, per kernel variant with a 65536-entry
// head table, and dispatched with 32768 entries ("lumdc-hash32k"); beside zlib's
// whole raw deflate at the same level, matching and coding, for scale: what our
// matching leaves of zlib's time is the room for our Huffman stage.
//
// deflate_lz77_<level>/<impl>/<file>, levels 1, 6 and 9; "records" counts
// records per input byte.

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "bench_util.h"
#include "deflate/deflate_lz77.h"
#include "lumdc.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr size_t kFileLimit = 4 << 20;
constexpr int32_t kRecords = 32768;

// Tables and record arrays for the run, as a compressor would keep them.
struct Matching {
    std::vector<int32_t> head, chain = std::vector<int32_t>(32768);
    Bytes lit = Bytes(kRecords);
    std::vector<uint16_t> dist = std::vector<uint16_t>(kRecords);
    std::vector<LumDeflateHuffEntry> litFreq = std::vector<LumDeflateHuffEntry>(286),
                                     distFreq = std::vector<LumDeflateHuffEntry>(30);
    explicit Matching(int32_t hashSize) : head(size_t(hashSize)) {}
};

size_t match(const Bytes& src, Matching& m, int level) {
    std::fill(m.head.begin(), m.head.end(), -32768);
    std::fill(m.chain.begin(), m.chain.end(), -32768);
    const uint8_t* p = src.data();
    uint32_t left = uint32_t(src.size()), idx = 0;
    size_t records = 0;
    while (left > 0) {
        int32_t room = kRecords;
        if (lumsDeflateLZ77_8u(&p, &left, &idx, p, 32768, m.head.data(), m.chain.data(), int32_t(m.head.size()),
                               m.litFreq.data(), m.distFreq.data(), m.lit.data(), m.dist.data(), &room, level,
                               2) != lumStatusOk)
            return 0;
        records += size_t(kRecords - room);
    }
    return records;
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

void addOurs(const std::string& name, uint64_t features, const Bytes* src, int level, int32_t hashSize) {
    lumbench::registerWithFeatures(name, features, [=](benchmark::State& state) {
        Matching m(hashSize);
        size_t records = 0;
        for (auto _ : state) {
            records = match(*src, m, level);
            benchmark::ClobberMemory();
        }
        if (records == 0 && !src->empty()) state.SkipWithError("the matcher failed");
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src->size()));
        state.counters["records"] = double(records) / double(src->size());
    });
}

void addZlib(const std::string& name, const Bytes* src, int level) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        Bytes dst(compressBound(uLong(src->size())));
        size_t size = 0;
        for (auto _ : state) {
            size = zlibRaw(*src, dst, level);
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src->size()));
        state.counters["ratio"] = double(size) / double(src->size());
    });
}

}  // namespace

int main(int argc, char** argv) {
    static const auto files = lumbench::corpus(kFileLimit);
    for (const auto& [name, data] : files) {
        for (const int level : {1, 6, 9}) {
            const std::string op = "deflate_lz77_" + std::to_string(level) + "/";
            for (const auto& v : lumdc::deflate::kMatchVariants)
                addOurs(op + "lumdc-" + v.name + "/" + name, v.features, &data, level, 65536);
            addOurs(op + "lumdc-hash32k/" + name, lumbench::kDispatched, &data, level, 32768);
            addZlib(op + "zlib/" + name, &data, level);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
