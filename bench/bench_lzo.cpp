// LZO1X streams, ours beside liblzo2 in one run, on the shared corpus:
//   <operation>/<impl>/<file>, each file cut to its first 4 MiB and taken either
//   whole (one stream) or, for the encoders, in 64 KiB pieces encoded on their own
//   (operation suffix _64k). Throughput is counted in uncompressed bytes for both
//   directions; encoders also report the compressed size over the original as
//   "ratio". lzo1x_1_compress stands beside both of our methods (_m0, _m2).
// Decoders all read the same stream, made by lzo1x_1_compress. Every benchmark
// first checks, outside the timed loop, that what it measures round-trips.

#include <lzo/lzo1x.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bench_util.h"
#include "lumdc.h"
#include "lzo/lzo_decode.h"
#include "lzo/lzo_encode.h"

namespace {

constexpr size_t kFileLimit = 4 << 20;
constexpr size_t kFailed = ~size_t(0);

struct Blocks {
    std::vector<uint8_t> data;                 // the file prefix
    std::vector<size_t> sizes;                 // uncompressed block sizes
    std::vector<std::vector<uint8_t>> packed;  // lzo1x_1_compress output per block
};

Blocks split(const std::vector<uint8_t>& data, size_t blockSize) {
    static std::vector<uint8_t> work(LZO1X_1_MEM_COMPRESS);
    Blocks b{data, {}, {}};
    for (size_t at = 0; at < data.size(); at += blockSize) {
        const size_t n = std::min(blockSize, data.size() - at);
        std::vector<uint8_t> packed(lumdc::lzo::worstCase(n));
        lzo_uint size = 0;
        lzo1x_1_compress(data.data() + at, n, packed.data(), &size, work.data());
        packed.resize(size);
        b.sizes.push_back(n);
        b.packed.push_back(std::move(packed));
    }
    return b;
}

// A decoder of one block into dst[0, capacity): the bytes produced, or kFailed.
using Decoder = size_t (*)(const uint8_t* src, size_t n, uint8_t* dst, size_t capacity);

size_t decodeAll(const Blocks& b, Decoder decode, uint8_t* out) {
    size_t at = 0;
    for (size_t i = 0; i < b.sizes.size(); ++i) {
        const size_t produced = decode(b.packed[i].data(), b.packed[i].size(), out + at, b.sizes[i]);
        if (produced != b.sizes[i]) return kFailed;
        at += produced;
    }
    return at;
}

void addDecoder(const std::string& name, uint64_t features, const Blocks* b, Decoder decode) {
    static std::vector<uint8_t> out(kFileLimit + 64);
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        if (!lumbench::hasFeatures(features)) {
            state.SkipWithError("processor lacks the features");
            return;
        }
        lumbench::ForceFeatures only(features);
        std::fill(out.begin(), out.end(), uint8_t(0xa5));
        if (decodeAll(*b, decode, out.data()) != b->data.size() ||
            !std::equal(b->data.begin(), b->data.end(), out.begin())) {
            state.SkipWithError("decoded bytes differ from the file");
            return;
        }
        for (auto _ : state) {
            decodeAll(*b, decode, out.data());
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(b->data.size()));
    });
}

size_t oursSafe(const uint8_t* s, size_t n, uint8_t* d, size_t capacity) {
    uint32_t len = uint32_t(capacity);
    return lumsDecodeLZOSafe_8u(s, uint32_t(n), d, &len) == lumStatusOk ? len : kFailed;
}
size_t oursTrusted(const uint8_t* s, size_t n, uint8_t* d, size_t capacity) {
    uint32_t len = uint32_t(capacity);
    return lumsDecodeLZO_8u(s, uint32_t(n), d, &len) == lumStatusOk ? len : kFailed;
}
size_t lzoSafe(const uint8_t* s, size_t n, uint8_t* d, size_t capacity) {
    lzo_uint len = capacity;
    return lzo1x_decompress_safe(s, n, d, &len, nullptr) == LZO_E_OK ? len : kFailed;
}
size_t lzoTrusted(const uint8_t* s, size_t n, uint8_t* d, size_t) {
    lzo_uint len = 0;
    return lzo1x_decompress(s, n, d, &len, nullptr) == LZO_E_OK ? len : kFailed;
}

void addDecoders(const std::string& op, const std::string& file, const Blocks* b, Decoder ours, Decoder peer) {
    for (const auto& v : lumdc::lzo::kDecodeVariants)
        addDecoder(op + "/lumdc-" + v.name + "/" + file, v.features, b, ours);
    addDecoder(op + "/lzo2/" + file, 0, b, peer);
}

// An encoder of one block: the compressed size, or kFailed. `work` is the
// encoder's own memory, prepared once per benchmark run by its Setup.
using Encoder = size_t (*)(const uint8_t* src, size_t n, uint8_t* dst, size_t capacity, void* work);
using Setup = bool (*)(std::vector<uint32_t>& work, int param);

// Our state is zeroed and initialised once per run, never between calls: each
// call meets the hash table the previous ones left behind, as a caller reusing
// its state would.
bool oursSetup(std::vector<uint32_t>& work, int method) {
    uint32_t size = 0;
    if (lumsEncodeLZOGetSize(uint32_t(method), kFileLimit, &size) != lumStatusOk) return false;
    work.assign(size / 4 + 1, 0);
    return lumsEncodeLZOInit_8u(uint32_t(method), kFileLimit, reinterpret_cast<LumLzoEncodeState*>(work.data())) ==
           lumStatusOk;
}
size_t ours(const uint8_t* s, size_t n, uint8_t* d, size_t capacity, void* work) {
    uint32_t len = uint32_t(capacity);
    const LumStatus status = lumsEncodeLZO_8u(s, uint32_t(n), d, &len, static_cast<LumLzoEncodeState*>(work));
    return status == lumStatusOk ? len : kFailed;
}
bool lzoSetup(std::vector<uint32_t>& work, int) {
    work.assign(LZO1X_1_MEM_COMPRESS / 4 + 1, 0);
    return true;
}
size_t lzo1x1(const uint8_t* s, size_t n, uint8_t* d, size_t, void* work) {
    lzo_uint len = 0;
    return lzo1x_1_compress(s, n, d, &len, work) == LZO_E_OK ? len : kFailed;
}

// Encodes every block of `b` into `out`, one after another, and returns the total
// size; with `check`, also decodes each with liblzo and compares.
size_t encodeAll(const Blocks& b, Encoder encode, void* work, uint8_t* out, std::vector<uint8_t>* check) {
    size_t total = 0, at = 0;
    for (size_t n : b.sizes) {
        // liblzo's documented bound: at this capacity our encoder drops its overflow
        // checks, which is the path worth timing.
        const size_t size = encode(b.data.data() + at, n, out, lumdc::lzo::worstCase(n), work);
        if (size == kFailed) return kFailed;
        if (check) {
            lzo_uint len = n;
            if (lzo1x_decompress_safe(out, size, check->data(), &len, nullptr) != LZO_E_OK || len != n ||
                !std::equal(check->begin(), check->begin() + ptrdiff_t(n), b.data.begin() + ptrdiff_t(at)))
                return kFailed;
        }
        total += size;
        at += n;
    }
    return total;
}

// An encoder over every block of `b`: uncompressed bytes per second, and the
// compressed size over the original as the "ratio" counter.
void addEncoder(const std::string& name, uint64_t features, const Blocks* b, Setup setup, Encoder encode, int param) {
    static std::vector<uint8_t> out(lumdc::lzo::worstCase(kFileLimit));
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        if (!lumbench::hasFeatures(features)) {
            state.SkipWithError("processor lacks the features");
            return;
        }
        lumbench::ForceFeatures only(features);
        std::vector<uint32_t> work;
        if (!setup(work, param)) {
            state.SkipWithError("encoder setup failed");
            return;
        }
        std::vector<uint8_t> check(kFileLimit);
        if (encodeAll(*b, encode, work.data(), out.data(), &check) == kFailed) {
            state.SkipWithError("encoded blocks do not decode to the file");
            return;
        }
        size_t total = 0;
        for (auto _ : state) {
            total = encodeAll(*b, encode, work.data(), out.data(), nullptr);
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(b->data.size()));
        state.counters["ratio"] = double(total) / double(b->data.size());
    });
}

void addEncoders(const std::string& op, const std::string& file, const Blocks* b, int method) {
    for (const auto& v : lumdc::lzo::kEncodeVariants)
        addEncoder(op + "/lumdc-" + v.name + "/" + file, v.features, b, oursSetup, ours, method);
    addEncoder(op + "/lzo2/" + file, 0, b, lzoSetup, lzo1x1, 0);
}

}  // namespace

int main(int argc, char** argv) {
    if (lzo_init() != LZO_E_OK) return 1;
    static std::vector<std::unique_ptr<Blocks>> keep;
    const auto files = lumbench::corpus(kFileLimit);
    for (const auto& [name, data] : files) {
        keep.push_back(std::make_unique<Blocks>(split(data, data.size())));
        addDecoders("lzo_decode_safe", name, keep.back().get(), oursSafe, lzoSafe);
    }
    for (size_t i = 0; i < files.size(); ++i)
        addDecoders("lzo_decode", files[i].first, keep[i].get(), oursTrusted, lzoTrusted);
    static std::vector<std::unique_ptr<Blocks>> encodeSets;
    for (const auto& [name, data] : files) {
        const Blocks* whole = encodeSets.emplace_back(std::make_unique<Blocks>(Blocks{data, {data.size()}, {}})).get();
        const Blocks* small = encodeSets.emplace_back(std::make_unique<Blocks>(split(data, 64 << 10))).get();
        addEncoders("lzo_encode_m0", name, whole, lumLzoMethodHash);
        addEncoders("lzo_encode_m2", name, whole, lumLzoMethodVector);
        addEncoders("lzo_encode_m0_64k", name, small, lumLzoMethodHash);
        addEncoders("lzo_encode_m2_64k", name, small, lumLzoMethodVector);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
