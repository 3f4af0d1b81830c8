// LZSS on the shared corpus (each file's first 1 MiB, one stream per file), ours
// beside this library's LZ4 and LZO method 0 ("ours_lz4", "ours_lzo_m0") and
// liblz4 ("lz4") in the same run: <operation>/<impl>/<file> for lzss_encode and
// lzss_decode; the peers do their own format's job on the same bytes. Throughput
// counts uncompressed bytes; encoders report compressed size over the original
// as "ratio". Every benchmark checks its round trip before timing.

#include <lz4.h>

#include <memory>
#include <string>
#include <vector>

#include "bench_util.h"
#include "lumdc.h"
#include "lzo/lzo_encode.h"
#include "lzss/lzss.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr size_t kFileLimit = 1 << 20;

// One record for the whole run, as a caller coding stream after stream would keep
// it: allocating and faulting in 320 KiB is no part of the codec's time.
struct Lzss {
    LumLzssState* get() {
        static std::vector<uint64_t> record(lumdc::lzss::kStateBytes / 8);
        return reinterpret_cast<LumLzssState*>(record.data());
    }
};

size_t lzssEncode(const Bytes& in, Bytes& out) {
    Lzss s;
    lumsEncodeLZSSInit_8u(s.get());
    const uint8_t* src = in.data();
    uint8_t* dst = out.data();
    int32_t len = int32_t(in.size()), room = int32_t(out.size());
    if (lumsEncodeLZSS_8u(&src, &len, &dst, &room, s.get()) != lumStatusOk) return 0;
    if (lumsEncodeLZSSFlush_8u(&dst, &room, s.get()) != lumStatusOk) return 0;
    return size_t(dst - out.data());
}

size_t lzssDecode(const Bytes& in, size_t n, Bytes& out) {
    Lzss s;
    lumsDecodeLZSSInit_8u(s.get());
    const uint8_t* src = in.data();
    uint8_t* dst = out.data();
    int32_t len = int32_t(n), room = int32_t(out.size());
    return lumsDecodeLZSS_8u(&src, &len, &dst, &room, s.get()) == lumStatusOk ? size_t(dst - out.data()) : 0;
}

size_t lz4Encode(const Bytes& in, Bytes& out) {
    return size_t(LZ4_compress_default(reinterpret_cast<const char*>(in.data()), reinterpret_cast<char*>(out.data()),
                                       int(in.size()), int(out.size())));
}
size_t lz4Decode(const Bytes& in, size_t n, Bytes& out) {
    const int r = LZ4_decompress_safe(reinterpret_cast<const char*>(in.data()), reinterpret_cast<char*>(out.data()),
                                      int(n), int(out.size()));
    return r < 0 ? 0 : size_t(r);
}

size_t oursLz4Encode(const Bytes& in, Bytes& out) {
    static std::vector<uint8_t> table = [] {
        int32_t size = 0;
        lumsEncodeLZ4HashTableGetSize_8u(&size);
        return std::vector<uint8_t>(size_t(size));
    }();
    lumsEncodeLZ4HashTableInit_8u(table.data(), int32_t(in.size()));
    int32_t len = int32_t(out.size());
    return lumsEncodeLZ4_8u(in.data(), int32_t(in.size()), out.data(), &len, table.data()) == lumStatusOk ? size_t(len)
                                                                                                          : 0;
}
size_t oursLz4Decode(const Bytes& in, size_t n, Bytes& out) {
    int32_t len = int32_t(out.size());
    return lumsDecodeLZ4_8u(in.data(), int32_t(n), out.data(), &len) == lumStatusOk ? size_t(len) : 0;
}

size_t oursLzoEncode(const Bytes& in, Bytes& out) {
    static std::vector<uint32_t> state(lumdc::lzo::kStateBytes / 4, 0);
    auto* st = reinterpret_cast<LumLzoEncodeState*>(state.data());
    lumsEncodeLZOInit_8u(lumLzoMethodHash, 0, st);
    uint32_t len = uint32_t(out.size());
    return lumsEncodeLZO_8u(in.data(), uint32_t(in.size()), out.data(), &len, st) == lumStatusOk ? len : 0;
}
size_t oursLzoDecode(const Bytes& in, size_t n, Bytes& out) {
    uint32_t len = uint32_t(out.size());
    return lumsDecodeLZOSafe_8u(in.data(), uint32_t(n), out.data(), &len) == lumStatusOk ? len : 0;
}

using Encode = size_t (*)(const Bytes&, Bytes&);
using Decode = size_t (*)(const Bytes&, size_t, Bytes&);

enum Runs { kEncodeRun = 1, kDecodeRun = 2 };

void add(const std::string& file, const std::shared_ptr<Bytes>& data, const std::string& impl, uint64_t features,
         Encode encode, Decode decode, int runs = kEncodeRun | kDecodeRun) {
    const auto check = [=](benchmark::State& state, Bytes& packed, size_t& size) {
        packed.assign(data->size() * 9 / 8 + 1024, 0);
        size = encode(*data, packed);
        Bytes back(data->size() + 64);
        if (size == 0 || decode(packed, size, back) != data->size() ||
            !std::equal(data->begin(), data->end(), back.begin())) {
            state.SkipWithError("the round trip fails");
            return false;
        }
        return true;
    };
    if (runs & kEncodeRun)
        lumbench::registerWithFeatures("lzss_encode/" + impl + "/" + file, features, [=](benchmark::State& state) {
            Bytes packed;
            size_t size = 0;
            if (!check(state, packed, size)) return;
            for (auto _ : state) {
                benchmark::DoNotOptimize(encode(*data, packed));
                benchmark::ClobberMemory();
            }
            state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(data->size()));
            state.counters["ratio"] = double(size) / double(data->size());
        });
    if (runs & kDecodeRun)
        lumbench::registerWithFeatures("lzss_decode/" + impl + "/" + file, features, [=](benchmark::State& state) {
            Bytes packed;
            size_t size = 0;
            if (!check(state, packed, size)) return;
            Bytes back(data->size() + 64);
            for (auto _ : state) {
                benchmark::DoNotOptimize(decode(packed, size, back));
                benchmark::ClobberMemory();
            }
            state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(data->size()));
        });
}

}  // namespace

int main(int argc, char** argv) {
    for (auto& [name, bytes] : lumbench::corpus(kFileLimit)) {
        const auto data = std::make_shared<Bytes>(std::move(bytes));
        for (const auto& v : lumdc::lzss::kEncodeVariants)
            add(name, data, std::string("lumdc-") + v.name, v.features, lzssEncode, lzssDecode, kEncodeRun);
        for (const auto& v : lumdc::lzss::kDecodeVariants)
            add(name, data, std::string("lumdc-") + v.name, v.features, lzssEncode, lzssDecode, kDecodeRun);
        add(name, data, "ours_lz4", lumbench::kDispatched, oursLz4Encode, oursLz4Decode);
        add(name, data, "ours_lzo_m0", lumbench::kDispatched, oursLzoEncode, oursLzoDecode);
        add(name, data, "lz4", 0, lz4Encode, lz4Decode);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
