// Inflation of the corpus compressed by zlib at level 6: ours over the whole
// buffer and in 64 KiB pieces of input into 64 KiB pieces of output (the caller
// keeping 32 KiB of history), beside libdeflate (whole buffer only), isa-l and
// zlib. Throughput counts output bytes.

#include <benchmark/benchmark.h>
#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#include <zlib.h>

#include <cstring>
#include <string>
#include <vector>

#include "bench_util.h"
#include "deflate/inflate.h"
#include "lumdc.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Sample {
    Bytes raw, stream;
};

Bytes zlibDeflate6(const Bytes& src) {
    z_stream z{};
    deflateInit2(&z, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    Bytes out(deflateBound(&z, uLong(src.size())));
    z.next_in = const_cast<Bytef*>(src.data());
    z.avail_in = uInt(src.size());
    z.next_out = out.data();
    z.avail_out = uInt(out.size());
    deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

using Inflater = size_t (*)(const Sample& s, Bytes& out);

size_t oursWhole(const Sample& s, Bytes& out) {
    LumInflateState st{};
    const uint8_t* p = s.stream.data();
    uint32_t len = uint32_t(s.stream.size()), idx = 0;
    lumsInflate_8u(&p, &len, out.data(), &idx, uint32_t(out.size()), &st);
    return idx;
}

// 64 KiB of input at a time into a 96 KiB window: 32 KiB of history kept in
// front, 64 KiB of room.
size_t oursPieces(const Sample& s, Bytes& window) {
    static LumInflateState st;
    st = LumInflateState{};
    const uint8_t* p = s.stream.data();
    size_t left = s.stream.size(), total = 0;
    uint32_t idx = 0;
    LumStatus r;
    do {
        if (idx == 98304) {
            std::memcpy(window.data(), window.data() + 65536, 32768);
            idx = 32768;
        }
        uint32_t piece = uint32_t(std::min<size_t>(left, 65536));
        const uint32_t given = piece, before = idx;
        r = lumsInflate_8u(&p, &piece, window.data(), &idx, std::min<uint32_t>(98304, idx + 65536), &st);
        left -= given - piece;
        total += idx - before;
    } while (r == lumStatusSrcExhausted || r == lumStatusDstFull);
    return total;
}

size_t libdeflateWhole(const Sample& s, Bytes& out) {
    static libdeflate_decompressor* d = libdeflate_alloc_decompressor();
    size_t made = 0;
    libdeflate_deflate_decompress(d, s.stream.data(), s.stream.size(), out.data(), out.size(), &made);
    return made;
}

size_t isalWhole(const Sample& s, Bytes& out) {
    static inflate_state st;
    isal_inflate_init(&st);
    st.next_in = const_cast<uint8_t*>(s.stream.data());
    st.avail_in = uint32_t(s.stream.size());
    st.next_out = out.data();
    st.avail_out = uint32_t(out.size());
    isal_inflate(&st);
    return st.total_out;
}

size_t zlibWhole(const Sample& s, Bytes& out) {
    z_stream z{};
    inflateInit2(&z, -15);
    z.next_in = const_cast<Bytef*>(s.stream.data());
    z.avail_in = uInt(s.stream.size());
    z.next_out = out.data();
    z.avail_out = uInt(out.size());
    inflate(&z, Z_FINISH);
    const size_t n = z.total_out;
    inflateEnd(&z);
    return n;
}

void add(const std::string& name, uint64_t features, const Sample* s, Inflater f, size_t outSize) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        lumbench::ForceFeatures force(features);
        Bytes out(outSize);
        for (auto _ : state) {
            if (f(*s, out) != s->raw.size()) {
                state.SkipWithError("wrong output size");
                return;
            }
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(s->raw.size()));
    });
}

}  // namespace

int main(int argc, char** argv) {
    static std::vector<std::pair<std::string, Sample>> samples;
    for (auto& [name, raw] : lumbench::corpus(SIZE_MAX)) {
        Sample s{std::move(raw), {}};
        s.stream = zlibDeflate6(s.raw);
        samples.emplace_back(name, std::move(s));
    }
    for (const auto& [name, s] : samples) {
        for (const auto& v : lumdc::inflate::kVariants) {
            add("inflate/lumdc-" + std::string(v.name) + "/" + name, v.features, &s, oursWhole, s.raw.size());
            add("inflate_64k/lumdc-" + std::string(v.name) + "/" + name, v.features, &s, oursPieces, 98304);
        }
        add("inflate/libdeflate/" + name, lumbench::kDispatched, &s, libdeflateWhole, s.raw.size());
        add("inflate/isal/" + name, lumbench::kDispatched, &s, isalWhole, s.raw.size());
        add("inflate/zlib/" + name, lumbench::kDispatched, &s, zlibWhole, s.raw.size());
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
