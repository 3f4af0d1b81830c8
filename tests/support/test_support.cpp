#include "test_support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace lumtest {

uint64_t testSeed() {
    static const uint64_t seed = [] {
        const char* env = std::getenv("LUMDC_TEST_SEED");
        return env != nullptr ? std::strtoull(env, nullptr, 0) : 0x5EED1234ull;
    }();
    return seed;
}

std::mt19937_64 makeRng(uint64_t salt) { return std::mt19937_64(testSeed() ^ (salt * 0x9E3779B97F4A7C15ull)); }

std::vector<uint8_t> randomBytes(std::mt19937_64& rng, size_t n) {
    std::vector<uint8_t> v(n);
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const uint64_t r = rng();
        std::memcpy(v.data() + i, &r, 8);
    }
    for (; i < n; ++i) v[i] = uint8_t(rng());
    return v;
}

std::vector<uint8_t> textLike(std::mt19937_64& rng, size_t n) {
    static const char* const kWords[] = {"the",      "of",    "and",     "compression", "block", "stream",
                                         "a",        "to",    "in",      "data",        "is",    "that",
                                         "window",   "match", "literal", "Huffman",     "code",  "length",
                                         "distance", "table", "with",    "for",         "as",    "it"};
    std::vector<uint8_t> v;
    v.reserve(n + 16);
    while (v.size() < n) {
        const char* w = kWords[rng() % (sizeof(kWords) / sizeof(kWords[0]))];
        v.insert(v.end(), w, w + std::strlen(w));
        v.push_back(rng() % 11 == 0 ? '\n' : ' ');
    }
    v.resize(n);
    return v;
}

std::vector<uint8_t> repetitive(std::mt19937_64& rng, size_t n) {
    std::vector<uint8_t> v;
    v.reserve(n + 300);
    while (v.size() < n) {
        const size_t period = 1 + rng() % 8;
        const size_t count = 1 + rng() % 300;
        uint8_t pattern[8];
        for (auto& b : pattern) b = uint8_t(rng() % 4 == 0 ? rng() : 'a');
        for (size_t i = 0; i < count; ++i) v.push_back(pattern[i % period]);
    }
    v.resize(n);
    return v;
}

std::string corpusDir() {
    if (const char* env = std::getenv("LUMDC_CORPUS")) return env;
    return LUMDC_SOURCE_DIR "/../shared/corpus";
}

std::vector<std::string> corpusFiles() {
    std::vector<std::string> files;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(corpusDir(), ec)) {
        if (!e.is_regular_file() || e.path().extension() == ".md") continue;
        files.push_back(e.path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<uint8_t> readFile(const std::string& path, size_t maxBytes) {
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> v;
    if (!in) return v;
    in.seekg(0, std::ios::end);
    const size_t size = std::min<size_t>(size_t(in.tellg()), maxBytes);
    in.seekg(0);
    v.resize(size);
    in.read(reinterpret_cast<char*>(v.data()), std::streamsize(size));
    return v;
}

bool hasFeatures(uint64_t mask) {
    const uint64_t previous = lumcoreSetFeatureMask(~0ull);
    const bool has = ownGetFeature(mask) != 0;
    lumcoreSetFeatureMask(previous);
    return has;
}

std::vector<size_t> randomSplit(std::mt19937_64& rng, size_t n, size_t maxPieces) {
    std::vector<size_t> pieces;
    const size_t count = 1 + rng() % maxPieces;
    size_t left = n;
    for (size_t i = 0; i + 1 < count && left > 0; ++i) {
        const size_t len = rng() % 4 == 0 ? rng() % 4 : rng() % (left + 1);
        pieces.push_back(std::min(len, left));
        left -= pieces.back();
    }
    pieces.push_back(left);
    return pieces;
}

// Prints the seed once, so that any failing run can be repeated exactly.
class SeedReporter : public ::testing::EmptyTestEventListener {
    void OnTestProgramEnd(const ::testing::UnitTest& unit) override {
        if (!unit.Passed())
            std::fprintf(stderr, "lumDC tests ran with LUMDC_TEST_SEED=0x%llx\n",
                         static_cast<unsigned long long>(testSeed()));
    }
};

namespace {
const bool kRegistered = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new SeedReporter);
    return true;
}();
}  // namespace

}  // namespace lumtest
