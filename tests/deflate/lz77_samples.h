// Deflate LZ77 matching tests: the inputs they share.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "test_support.h"

namespace lz77test {

// A piece of a corpus file (text or binary), or text-like data without a corpus.
inline std::vector<uint8_t> corpusPiece(std::mt19937_64& rng, size_t n) {
    const auto files = lumtest::corpusFiles();
    if (files.empty()) return lumtest::textLike(rng, n);
    const std::vector<uint8_t> whole = lumtest::readFile(files[rng() % files.size()], 8u << 20);
    if (whole.size() <= n) return whole;
    const size_t at = rng() % (whole.size() - n);
    return std::vector<uint8_t>(whole.begin() + ptrdiff_t(at), whole.begin() + ptrdiff_t(at + n));
}

struct Sample {
    std::string name;
    std::vector<uint8_t> bytes;
};

inline std::vector<Sample> samples(std::mt19937_64& rng, size_t n) {
    std::vector<uint8_t> period(n);
    for (size_t i = 0; i < n; ++i) period[i] = uint8_t("abcab"[i % 5]);
    return {{"random", lumtest::randomBytes(rng, n)},    {"text", lumtest::textLike(rng, n)},
            {"repetitive", lumtest::repetitive(rng, n)}, {"period5", period},
            {"zeros", std::vector<uint8_t>(n, 0)},       {"corpus", corpusPiece(rng, n)}};
}

}  // namespace lz77test
