// The large copy beside glibc memcpy, on both of its cache-resident routes:
//   copy/<impl>/<size>          source and destination at the same page offset,
//                               which large allocations usually share (backward
//                               block copy below 160 bytes of page distance);
//   copy_shifted/<impl>/<size>  destination 256 bytes further into its page
//                               (string move).
//   copy_streamed/<impl>/64MiB  as copy, with the cache-size query forced to
//                               8 MiB, so that the copy streams around the caches
//                               as it would on a machine with a smaller cache.

#include <cstring>
#include <string>
#include <vector>

#include "bench_util.h"
#include "core/mem.h"

namespace {

const size_t kSizes[] = {4 << 10, 64 << 10, 1 << 20, 64 << 20};

using Copy = void (*)(const uint8_t*, uint8_t*, size_t);

void add(const std::string& op, size_t shift, const std::string& impl, uint64_t features, Copy copy,
         std::vector<size_t> sizes = {std::begin(kSizes), std::end(kSizes)}) {
    static uint8_t* src = lumbench::randomBuffer(64 << 20, 1, 4096);
    static uint8_t* dst = lumbench::randomBuffer((64 << 20) + 4096, 2, 4096);
    for (size_t n : sizes)
        lumbench::registerThroughput(op + "/" + impl + "/" + lumbench::sizeLabel(n), features, n, [=] {
            copy(src, dst + shift, n);
            benchmark::ClobberMemory();
        });
}

}  // namespace

int main(int argc, char** argv) {
    for (const auto& [op, shift] : {std::pair<std::string, size_t>{"copy", 0}, {"copy_shifted", 256}}) {
        for (const auto& v : lumdc::kMemVariants)
            add(op, shift, std::string("lumdc-") + v.name, v.features,
                [](const uint8_t* s, uint8_t* d, size_t n) { lumdc::ownCopyLarge_8u(s, d, int32_t(n)); });
        add(op, shift, "glibc-memcpy", 0, [](const uint8_t* s, uint8_t* d, size_t n) { std::memcpy(d, s, n); });
    }
    for (const auto& v : lumdc::kMemVariants)
        add("copy_streamed", 0, std::string("lumdc-") + v.name, v.features,
            [](const uint8_t* s, uint8_t* d, size_t n) {
                const int32_t previous = lumcoreSetMaxCacheSizeB(8 << 20);
                lumdc::ownCopyLarge_8u(s, d, int32_t(n));
                lumcoreSetMaxCacheSizeB(previous);
            },
            {64 << 20});
    add("copy_streamed", 0, "glibc-memcpy", 0, [](const uint8_t* s, uint8_t* d, size_t n) { std::memcpy(d, s, n); },
        {64 << 20});
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
