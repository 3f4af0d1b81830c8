// Helpers shared by the benchmark binaries: aligned random buffers, the corpus, a
// scope that forces a kernel variant through the lumcore switch, and size labels.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "lumcore.h"

namespace lumbench {

// Aligned random bytes, allocated once and kept for the run.
inline uint8_t* randomBuffer(size_t n, uint64_t seed = 1, size_t align = 64) {
    auto* p = static_cast<uint8_t*>(std::aligned_alloc(align, (n + align - 1) / align * align + align));
    std::mt19937_64 rng(seed);
    for (size_t i = 0; i < n; i += 8) {
        const uint64_t r = rng();
        std::memcpy(p + i, &r, std::min<size_t>(8, n - i));
    }
    return p;
}

// The shared corpus (LUMDC_CORPUS, else ../shared/corpus beside the sources): each
// file's first `limit` bytes by name, sorted; empty when the corpus is absent.
inline std::vector<std::pair<std::string, std::vector<uint8_t>>> corpus(size_t limit) {
#ifdef LUMDC_SOURCE_DIR
    const std::string dir =
        std::getenv("LUMDC_CORPUS") ? std::getenv("LUMDC_CORPUS") : LUMDC_SOURCE_DIR "/../shared/corpus";
#else
    const std::string dir = std::getenv("LUMDC_CORPUS") ? std::getenv("LUMDC_CORPUS") : "";
#endif
    std::vector<std::pair<std::string, std::vector<uint8_t>>> files;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(dir, ec)) {
        if (!e.is_regular_file() || e.path().extension() == ".md") continue;
        std::ifstream in(e.path(), std::ios::binary);
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        bytes.resize(std::min(bytes.size(), limit));
        files.emplace_back(e.path().filename().string(), std::move(bytes));
    }
    std::sort(files.begin(), files.end());
    return files;
}

class ForceFeatures {
public:
    explicit ForceFeatures(uint64_t allowed) : previous_(lumcoreSetFeatureMask(allowed)) {}
    ~ForceFeatures() { lumcoreSetFeatureMask(previous_); }

private:
    uint64_t previous_;
};

inline std::string sizeLabel(size_t n) {
    if (n % (1 << 20) == 0) return std::to_string(n >> 20) + "MiB";
    if (n % (1 << 10) == 0) return std::to_string(n >> 10) + "KiB";
    return std::to_string(n) + "B";
}

inline bool hasFeatures(uint64_t mask) {
    const uint64_t previous = lumcoreSetFeatureMask(~0ull);
    const bool has = ownGetFeature(mask) != 0;
    lumcoreSetFeatureMask(previous);
    return has;
}

// Every feature the processor has: our code as callers get it, each family's
// best kernel (for our other codecs shown beside a family's variants).
inline constexpr uint64_t kDispatched = ~0ull;

// Registers a benchmark whose body (given the state) runs with only the given
// features visible; skipped where the processor lacks them.
template <class Body>
void registerWithFeatures(const std::string& name, uint64_t features, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        if (features != kDispatched && !hasFeatures(features)) {
            state.SkipWithError("processor lacks the features");
            return;
        }
        ForceFeatures only(features);
        body(state);
    });
}

// Registers a throughput benchmark over `bytes` per iteration, run with only the
// given features visible (0 for peers and portable code); skipped where the
// processor lacks them.
template <class Body>
void registerThroughput(const std::string& name, uint64_t features, size_t bytes, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        if (!hasFeatures(features)) {
            state.SkipWithError("processor lacks the features");
            return;
        }
        ForceFeatures only(features);
        for (auto _ : state) body();
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
    });
}

}  // namespace lumbench
