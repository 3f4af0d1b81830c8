// Runs a fuzz harness without a fuzzing engine: over the files and directories
// given, or, with none, over a fixed set of pseudo-random inputs of many sizes
// (so that ctest exercises every harness with no committed corpus).

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

int runFile(const std::filesystem::path& path) {
    std::ifstream f(path, std::ios::binary);
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    return LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path arg(argv[i]);
        if (std::filesystem::is_directory(arg)) {
            for (const auto& e : std::filesystem::recursive_directory_iterator(arg))
                if (e.is_regular_file()) runFile(e.path()), ++count;
        } else {
            runFile(arg), ++count;
        }
    }
    if (argc == 1) {
        std::mt19937_64 rng(12345);
        for (size_t i = 0; i < 2000; ++i) {
            std::vector<uint8_t> bytes(i < 1000 ? i : rng() % 70000);
            const int kind = int(rng() % 3);  // random, one repeated byte, few distinct bytes
            const uint8_t fill = uint8_t(rng());
            for (auto& b : bytes) b = kind == 0 ? uint8_t(rng()) : kind == 1 ? fill : uint8_t(rng() % 4);
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++count;
        }
    }
    std::printf("replayed %zu inputs\n", count);
    return 0;
}
