// ZFP on a 256^3 float field (a smooth analytic field plus noise), ours block by
// block beside libzfp's serial zfp_compress / zfp_decompress on the same array:
//   <operation>/<impl>/256^3 with operations zfp_encode_<mode>, zfp_decode_<mode>
//   for fixed rate 8 and 16 bits per value and accuracy 1e-3.
// Throughput is counted in uncompressed bytes both ways; encoders report the
// compressed size over the original as "ratio". Before timing, every benchmark
// checks that our stream holds libzfp's bits (Debian's libzfp writes byte words,
// so its stream ends on a byte, ours on a 64-bit word) and, for decoding, that our
// floats are libzfp's bit for bit.

#include <zfp.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench_util.h"
#include "lumdc.h"
#include "zfp/zfp.h"

namespace {

constexpr int kN = 256;
constexpr size_t kValues = size_t(kN) * kN * kN;
constexpr size_t kBytes = kValues * sizeof(float);

const std::vector<float>& field() {
    static const std::vector<float> f = [] {
        std::vector<float> v(kValues);
        std::mt19937 rng(7);
        std::uniform_real_distribution<float> noise(-1e-3f, 1e-3f);
        for (int z = 0; z < kN; ++z)
            for (int y = 0; y < kN; ++y)
                for (int x = 0; x < kN; ++x)
                    v[(size_t(z) * kN + y) * kN + x] = std::sin(0.05f * float(x)) * std::cos(0.03f * float(y)) +
                                                       0.5f * std::sin(0.02f * float(x + z)) + noise(rng);
        return v;
    }();
    return f;
}

struct Mode {
    const char* name;
    double rate;      // bits per value, or 0
    double accuracy;  // tolerance, when rate is 0
};
constexpr Mode kModes[] = {{"rate8", 8, 0}, {"rate16", 16, 0}, {"acc1e-3", 0, 1e-3}};

void configure(zfp_stream* zs, const Mode& m) {
    if (m.rate > 0)
        zfp_stream_set_rate(zs, m.rate, zfp_type_float, 3, zfp_false);
    else
        zfp_stream_set_accuracy(zs, m.accuracy);
}

void configure(LumZfpState* st, const Mode& m) {
    if (m.rate > 0) {
        const int32_t bits = int32_t(64 * m.rate);
        lumsEncodeZfpSet_32f(bits, bits, 64, -10740, st);
    } else {
        lumsEncodeZfpSetAccuracy_32f(m.accuracy, st);
    }
}

// libzfp on the whole array: the stream's size in bytes.
size_t zfpCompress(const Mode& m, const float* data, std::vector<uint8_t>& out) {
    zfp_field* f = zfp_field_3d(const_cast<float*>(data), zfp_type_float, kN, kN, kN);
    zfp_stream* zs = zfp_stream_open(nullptr);
    configure(zs, m);
    bitstream* bs = stream_open(out.data(), out.size());
    zfp_stream_set_bit_stream(zs, bs);
    const size_t size = zfp_compress(zs, f);
    stream_close(bs);
    zfp_stream_close(zs);
    zfp_field_free(f);
    return size;
}

bool zfpDecompress(const Mode& m, const uint8_t* stream, size_t size, float* out) {
    zfp_field* f = zfp_field_3d(out, zfp_type_float, kN, kN, kN);
    zfp_stream* zs = zfp_stream_open(nullptr);
    configure(zs, m);
    bitstream* bs = stream_open(const_cast<uint8_t*>(stream), size);
    zfp_stream_set_bit_stream(zs, bs);
    const bool ok = zfp_decompress(zs, f) != 0;
    stream_close(bs);
    zfp_stream_close(zs);
    zfp_field_free(f);
    return ok;
}

// Ours, block by block in libzfp's order (x fastest): the stream's size.
size_t oursCompress(const Mode& m, const float* data, std::vector<uint8_t>& out) {
    alignas(8) uint8_t record[576];
    auto* st = reinterpret_cast<LumZfpState*>(record);
    lumsEncodeZfpInitLong_32f(out.data(), int64_t(out.size()), st);
    configure(st, m);
    constexpr int32_t kRow = kN * 4, kPlane = kN * kN * 4;
    for (int z = 0; z < kN; z += 4)
        for (int y = 0; y < kN; y += 4)
            for (int x = 0; x < kN; x += 4)
                if (lumsEncodeZfp444_32f(data + (size_t(z) * kN + y) * kN + x, kRow, kPlane, st) != lumStatusOk)
                    return 0;
    lumsEncodeZfpFlush_32f(st);
    int64_t size = 0;
    lumsEncodeZfpGetCompressedSizeLong_32f(st, &size);
    return size_t(size);
}

bool oursDecompress(const Mode& m, const uint8_t* stream, size_t size, float* out) {
    alignas(8) uint8_t record[576];
    auto* st = reinterpret_cast<LumZfpState*>(record);
    lumsDecodeZfpInitLong_32f(stream, int64_t(size), st);
    configure(st, m);
    constexpr int32_t kRow = kN * 4, kPlane = kN * kN * 4;
    for (int z = 0; z < kN; z += 4)
        for (int y = 0; y < kN; y += 4)
            for (int x = 0; x < kN; x += 4)
                if (lumsDecodeZfp444_32f(st, out + (size_t(z) * kN + y) * kN + x, kRow, kPlane) != lumStatusOk)
                    return false;
    return true;
}

// libzfp's stream, ended on a whole word as ours is.
std::vector<uint8_t> reference(const Mode& m) {
    std::vector<uint8_t> s(kBytes + (1 << 20), 0);
    s.resize((zfpCompress(m, field().data(), s) + 7) / 8 * 8);
    return s;
}

void addEncoder(const Mode& m, const std::string& impl, uint64_t features) {
    const std::string name = std::string("zfp_encode_") + m.name + "/" + impl + "/256^3";
    lumbench::registerWithFeatures(name, features, [=](benchmark::State& state) {
        const bool ours = impl != "zfp";
        std::vector<uint8_t> out(kBytes + (1 << 20));
        const auto encode = [&] {
            return ours ? oursCompress(m, field().data(), out) : zfpCompress(m, field().data(), out);
        };
        size_t size = encode();
        if (ours) {
            const std::vector<uint8_t> want = reference(m);
            if (size != want.size() || !std::equal(want.begin(), want.end(), out.begin())) {
                state.SkipWithError("our stream differs from libzfp's");
                return;
            }
        }
        for (auto _ : state) {
            size = encode();
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kBytes));
        state.counters["ratio"] = double(size) / double(kBytes);
    });
}

void addDecoder(const Mode& m, const std::string& impl, uint64_t features) {
    const std::string name = std::string("zfp_decode_") + m.name + "/" + impl + "/256^3";
    lumbench::registerWithFeatures(name, features, [=](benchmark::State& state) {
        const bool ours = impl != "zfp";
        const std::vector<uint8_t> stream = reference(m);
        std::vector<float> out(kValues);
        const auto decode = [&] {
            return ours ? oursDecompress(m, stream.data(), stream.size(), out.data())
                        : zfpDecompress(m, stream.data(), stream.size(), out.data());
        };
        if (!decode()) {
            state.SkipWithError("decoding failed");
            return;
        }
        if (ours) {
            std::vector<float> want(kValues);
            zfpDecompress(m, stream.data(), stream.size(), want.data());
            if (std::memcmp(want.data(), out.data(), kBytes) != 0) {
                state.SkipWithError("our floats differ from libzfp's");
                return;
            }
        }
        for (auto _ : state) {
            decode();
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kBytes));
    });
}

}  // namespace

int main(int argc, char** argv) {
    for (const Mode& m : kModes) {
        for (const auto& v : lumdc::zfp::kVariants) addEncoder(m, std::string("lumdc-") + v.name, v.features);
        addEncoder(m, "zfp", 0);
    }
    for (const Mode& m : kModes) {
        for (const auto& v : lumdc::zfp::kVariants) addDecoder(m, std::string("lumdc-") + v.name, v.features);
        addDecoder(m, "zfp", 0);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
