// Deflate output on the shared corpus (each file's first 2 MiB).
//
// deflate_huff/<impl>/<file>: lumsDeflateHuff_8u over the records the level-6
// matcher made of the file (blocks of at most 32768 records, each with its own
// codes); throughput counts the input bytes the records cover, for each variant.
//
// deflate_fastest/<impl>/<file>: the whole path a writer of the fastest family
// runs, per 64 KiB block, with the history before it and a head table of 8192
// entries (as isa-l's level 1 keeps about as many): "stat" counts the block
// (lumsDeflateLZ77FastestGetStat_8u), builds codes for it with every literal
// coded, writes its header and codes it; "precomp" writes one precomputed header
// (built-in statistics) before every block. Beside them, isa-l's isal_deflate at
// level 1 over the same bytes. Throughput counts input bytes; "ratio" is the
// compressed size over the input. Every stream is inflated by zlib before timing.

#include <benchmark/benchmark.h>
#include <isa-l/igzip_lib.h>
#include <zlib.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench_util.h"
#include "deflate/deflate_fastest.h"
#include "deflate/deflate_huff.h"
#include "lumdc.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr size_t kFileLimit = 2 << 20;
constexpr size_t kBlock = 65536;
constexpr int32_t kWindow = 32768;
constexpr size_t kHashSize = 8192;

using LitTable = std::array<LumDeflateHuffEntry, 286>;
using DistTable = std::array<LumDeflateHuffEntry, 30>;

// Records of one block and the codes built for them.
struct RecordBlock {
    Bytes lit;
    std::vector<uint16_t> dist;
    LitTable litCodes;
    DistTable distCodes;
};
struct RecordSet {
    std::vector<RecordBlock> blocks;
    size_t bytes = 0;
    size_t records = 0;
};

RecordSet level6Records(const Bytes& data) {
    RecordSet set;
    std::vector<int32_t> head(32768, -32768), chain(kWindow, -32768);
    const uint8_t* p = data.data();
    uint32_t left = uint32_t(data.size()), idx = 0;
    while (left > 0) {
        RecordBlock b;
        b.lit.resize(32768);
        b.dist.resize(32768);
        LitTable lf{};
        DistTable df{};
        int32_t room = 32768;
        lumsDeflateLZ77_8u(&p, &left, &idx, p, kWindow, head.data(), chain.data(), 32768, lf.data(), df.data(),
                           b.lit.data(), b.dist.data(), &room, 6, 2);
        b.lit.resize(size_t(32768 - room));
        b.dist.resize(size_t(32768 - room));
        lumsDeflateLZ77FastestGenHuffTable_8u(lf.data(), df.data(), b.litCodes.data(), b.distCodes.data());
        set.records += b.lit.size();
        set.blocks.push_back(std::move(b));
    }
    set.bytes = data.size();
    return set;
}

// All blocks' bodies, one after another (no headers: only the record writer is timed).
size_t huffAll(const RecordSet& set, Bytes& out) {
    uint16_t bitBuf = 0;
    uint32_t bitCount = 0, idx = 0;
    for (const RecordBlock& b : set.blocks)
        lumsDeflateHuff_8u(b.lit.data(), b.dist.data(), int32_t(b.lit.size()), &bitBuf, &bitCount, b.litCodes.data(),
                           b.distCodes.data(), out.data(), &idx);
    return idx;
}

// A least-significant-bit-first writer for what the benchmark writes itself.
struct Bits {
    Bytes& out;
    size_t at = 0;
    uint16_t bitBuf = 0;
    uint32_t bitCount = 0;
    void put(uint32_t v, uint32_t n) {
        uint32_t acc = bitBuf | v << bitCount;
        for (bitCount += n; bitCount >= 8; bitCount -= 8, acc >>= 8) out[at++] = uint8_t(acc);
        bitBuf = uint16_t(acc);
    }
};

// The writer's path; out must hold twice the input and some.
size_t fastestPath(const Bytes& in, Bytes& out, const LumDeflatePrecompHeader* precomp) {
    static std::vector<int32_t> head(kHashSize);
    std::fill(head.begin(), head.end(), -32768);
    Bits w{out};
    LitTable lf, lc;
    DistTable df, dc;
    const uint8_t* p = in.data();
    uint32_t idx = 0;
    for (size_t left = in.size(); left > 0;) {
        const uint32_t n = uint32_t(std::min(left, kBlock));
        const bool final = n == left;
        const LumDeflateHuffEntry* litCodes = lc.data();
        const LumDeflateHuffEntry* distCodes = dc.data();
        if (precomp != nullptr) {
            for (uint32_t b = 0; b < precomp->bitCount; b += 8) {
                const uint32_t k = std::min<uint32_t>(8, precomp->bitCount - b);
                w.put((precomp->bits[b / 8] & ((1u << k) - 1)) | (b == 0 && final ? 1 : 0), k);
            }
            litCodes = precomp->litCodes;
            distCodes = precomp->distCodes;
        } else {
            std::memset(lf.data(), 0, sizeof(lf));
            std::memset(df.data(), 0, sizeof(df));
            lumsDeflateLZ77FastestGetStat_8u(p, int32_t(n), lf.data(), df.data());
            for (int s = 0; s < 256; ++s) lf[s].code = std::max<uint16_t>(lf[s].code, 1);
            lumsDeflateLZ77FastestGenHuffTable_8u(lf.data(), df.data(), lc.data(), dc.data());
            uint32_t at = uint32_t(w.at);
            lumsDeflateLZ77FastestGenHeader_8u(lc.data(), dc.data(), final, &w.bitBuf, &w.bitCount, out.data(), &at);
            w.at = at;
        }
        uint32_t blockLeft = n;
        int32_t made = int32_t(out.size() - w.at);
        lumsDeflateLZ77Fastest_8u(&p, &blockLeft, &idx, p, kWindow, head.data(), int32_t(head.size()), litCodes,
                                  distCodes, out.data() + w.at, &made, &w.bitBuf, &w.bitCount, 2);
        w.at += size_t(made);
        left -= n;
    }
    if (w.bitCount > 0) w.put(0, 8 - w.bitCount);
    return w.at;
}

size_t isal1(const Bytes& in, Bytes& out) {
    static Bytes levelBuf(ISAL_DEF_LVL1_DEFAULT);
    isal_zstream s;
    isal_deflate_init(&s);
    s.level = 1;
    s.level_buf = levelBuf.data();
    s.level_buf_size = uint32_t(levelBuf.size());
    s.end_of_stream = 1;
    s.flush = NO_FLUSH;
    s.next_in = const_cast<uint8_t*>(in.data());
    s.avail_in = uint32_t(in.size());
    s.next_out = out.data();
    s.avail_out = uint32_t(out.size());
    return isal_deflate(&s) == COMP_OK ? s.total_out : 0;
}

bool inflatesTo(const Bytes& stream, size_t n, const Bytes& data) {
    Bytes back(data.size() + 1);
    z_stream z{};
    inflateInit2(&z, -15);
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = uInt(n);
    z.next_out = back.data();
    z.avail_out = uInt(back.size());
    const int rc = inflate(&z, Z_FINISH);
    inflateEnd(&z);
    return rc == Z_STREAM_END && z.total_out == data.size() && std::equal(data.begin(), data.end(), back.begin());
}

void addFastest(const std::string& file, const std::shared_ptr<Bytes>& data, const std::string& impl, uint64_t features,
                size_t (*compress)(const Bytes&, Bytes&)) {
    lumbench::registerWithFeatures("deflate_fastest/" + impl + "/" + file, features, [=](benchmark::State& state) {
        Bytes out(data->size() * 2 + 4096);
        const size_t size = compress(*data, out);
        if (size == 0 || !inflatesTo(out, size, *data)) {
            state.SkipWithError("the stream does not inflate to the input");
            return;
        }
        for (auto _ : state) {
            benchmark::DoNotOptimize(compress(*data, out));
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(data->size()));
        state.counters["ratio"] = double(size) / double(data->size());
    });
}

size_t oursStat(const Bytes& in, Bytes& out) { return fastestPath(in, out, nullptr); }
size_t oursPrecomp(const Bytes& in, Bytes& out) {
    static const LumDeflatePrecompHeader h = [] {
        LumDeflatePrecompHeader r;
        lumsDeflateLZ77FastestPrecompHeader_8u(nullptr, nullptr, &r);
        return r;
    }();
    return fastestPath(in, out, &h);
}

}  // namespace

int main(int argc, char** argv) {
    for (auto& [name, bytes] : lumbench::corpus(kFileLimit)) {
        const auto data = std::make_shared<Bytes>(std::move(bytes));
        const auto records = std::make_shared<RecordSet>(level6Records(*data));
        for (const auto& v : lumdc::deflate::kHuffVariants)
            lumbench::registerWithFeatures(
                std::string("deflate_huff/") + v.name + "/" + name, v.features, [=](benchmark::State& state) {
                    Bytes out(records->records * 6 + 64);
                    for (auto _ : state) {
                        benchmark::DoNotOptimize(huffAll(*records, out));
                        benchmark::ClobberMemory();
                    }
                    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(records->bytes));
                    state.counters["records_per_byte"] = double(records->records) / double(records->bytes);
                });
        for (const auto& v : lumdc::deflate::kFastestVariants) {
            addFastest(name, data, std::string("stat-") + v.name, v.features, oursStat);
            addFastest(name, data, std::string("precomp-") + v.name, v.features, oursPrecomp);
        }
        addFastest(name, data, "isal1", 0, isal1);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
