// Shared test helpers: guarded buffers, a seeded generator that reports its seed,
// data generators, corpus access and a scope that forces a kernel variant.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "guarded_buffer.h"
#include "lumcore.h"

namespace lumtest {

// One process-wide seed: LUMDC_TEST_SEED if set, else fixed. Every test draws its
// own generator from it and a failure message names the seed.
uint64_t testSeed();
std::mt19937_64 makeRng(uint64_t salt = 0);

std::vector<uint8_t> randomBytes(std::mt19937_64& rng, size_t n);
// Words from a small vocabulary with spaces and line breaks: matches everywhere.
std::vector<uint8_t> textLike(std::mt19937_64& rng, size_t n);
// Runs of repeated bytes and short repeated patterns.
std::vector<uint8_t> repetitive(std::mt19937_64& rng, size_t n);

// The shared corpus directory (LUMDC_CORPUS or ../shared/corpus beside the
// source tree) and its files; empty when the corpus is absent.
std::string corpusDir();
std::vector<std::string> corpusFiles();
std::vector<uint8_t> readFile(const std::string& path, size_t maxBytes = SIZE_MAX);

// Shows the processor only the given features while in scope.
class FeatureScope {
public:
    explicit FeatureScope(uint64_t allowed) : previous_(lumcoreSetFeatureMask(allowed)) {}
    ~FeatureScope() { lumcoreSetFeatureMask(previous_); }
    FeatureScope(const FeatureScope&) = delete;
    FeatureScope& operator=(const FeatureScope&) = delete;

private:
    uint64_t previous_;
};

// Makes lumGetMaxCacheSizeB answer `bytes` while in scope (see lumcoreSetMaxCacheSizeB).
class CacheSizeScope {
public:
    explicit CacheSizeScope(int32_t bytes) : previous_(lumcoreSetMaxCacheSizeB(bytes)) {}
    ~CacheSizeScope() { lumcoreSetMaxCacheSizeB(previous_); }
    CacheSizeScope(const CacheSizeScope&) = delete;
    CacheSizeScope& operator=(const CacheSizeScope&) = delete;

private:
    int32_t previous_;
};

// True when the processor (ignoring the switch) has every feature in mask.
bool hasFeatures(uint64_t mask);

// Splits n into 1 to maxPieces consecutive piece lengths, some of them tiny.
std::vector<size_t> randomSplit(std::mt19937_64& rng, size_t n, size_t maxPieces);

}  // namespace lumtest
