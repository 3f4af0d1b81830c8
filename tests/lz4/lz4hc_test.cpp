// LZ4 high compression: statuses in check order, round trips at every level
// through liblz4 with an exactly sized destination, identical blocks from every
// variant and whatever the chain table held before (also on runs, short periods,
// copies of long strings and their mixtures, where the searches take shortcuts),
// bounded output at every capacity behind guard pages, blocks that reach into
// the bytes before the source, and sizes at levels 9-12 against LZ4_compress_HC.

#include "lz4/lz4hc.h"

#include <gtest/gtest.h>
#include <lz4.h>
#include <lz4hc.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "lumdc.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Tables {
    Bytes head = Bytes(0x20000), chain = Bytes(0x40000);
};

Bytes makeData(std::mt19937_64& rng, int kind, size_t n) {
    return kind == 0   ? lumtest::randomBytes(rng, n)
           : kind == 1 ? lumtest::textLike(rng, n)
                       : lumtest::repetitive(rng, n);
}

// Data where the searches take shortcuts: runs of one byte (long ones entered at
// once), periods of 1 to 16 bytes, copies of a few long strings with a byte or
// two changed, and a mixture of those with text and random bytes. Stretches
// start at every alignment and end a few bytes either side of 16 and 20 bytes
// as often as far beyond.
Bytes patterned(std::mt19937_64& rng, int kind, size_t n) {
    std::vector<Bytes> strings;
    for (int i = 0; i < 6; ++i) strings.push_back(lumtest::randomBytes(rng, 300 + rng() % 3000));
    const auto stretch = [&] { return rng() % 3 == 0 ? 12 + rng() % 12 : 1 + rng() % 3000; };
    Bytes v;
    v.reserve(n + 4096);
    while (v.size() < n) {
        const int k = kind < 3 ? kind : int(rng() % 5);
        if (k == 0 || k == 1) {
            const size_t period = k == 0 ? 1 : 1 + rng() % 16, count = stretch();
            const Bytes pattern = lumtest::randomBytes(rng, period);
            for (size_t i = 0; i < count; ++i) v.push_back(pattern[i % period]);
        } else if (k == 2) {
            Bytes s = strings[rng() % strings.size()];
            for (size_t changes = rng() % 3; changes > 0; --changes) s[rng() % s.size()] ^= uint8_t(1 + rng() % 255);
            v.insert(v.end(), s.begin(), s.end());
        } else {
            const Bytes b = k == 3 ? lumtest::textLike(rng, 1 + rng() % 400) : lumtest::randomBytes(rng, rng() % 8);
            v.insert(v.end(), b.begin(), b.end());
        }
        if (kind < 3) {  // a few random bytes between stretches
            const Bytes gap = lumtest::randomBytes(rng, rng() % 8);
            v.insert(v.end(), gap.begin(), gap.end());
        }
    }
    v.resize(n);
    return v;
}

// Encodes all of data at `level` (capacity: the worst case) or fails the test.
Bytes encodeHc(const Bytes& data, int level, Tables& t) {
    Bytes out(data.size() + data.size() / 255 + 16);
    int32_t srcLen = int32_t(data.size()), len = int32_t(out.size());
    EXPECT_EQ(lumsEncodeLZ4HC_8u(data.data(), &srcLen, out.data(), &len, t.head.data(), t.chain.data(), level),
              lumStatusOk);
    EXPECT_EQ(srcLen, int32_t(data.size()));
    out.resize(size_t(len));
    return out;
}

::testing::AssertionResult decodesTo(const Bytes& block, const uint8_t* expect, size_t n, const Bytes& dict = {}) {
    Bytes out(n + 1);
    const int got = LZ4_decompress_safe_usingDict(reinterpret_cast<const char*>(block.data()),
                                                  reinterpret_cast<char*>(out.data()), int(block.size()), int(n),
                                                  reinterpret_cast<const char*>(dict.data()), int(dict.size()));
    if (got != int(n)) return ::testing::AssertionFailure() << "liblz4 returned " << got << " for " << n;
    if (n != 0 && std::memcmp(out.data(), expect, n) != 0) return ::testing::AssertionFailure() << "bytes differ";
    return ::testing::AssertionSuccess();
}

TEST(Lz4HcStatus, SizesInitAndChecksInOrder) {
    int32_t hs = 0, cs = 0;
    EXPECT_EQ(lumsEncodeLZ4HCHashTableGetSize_8u(nullptr, &cs), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4HCHashTableGetSize_8u(&hs, nullptr), lumStatusNullPtr);
    ASSERT_EQ(lumsEncodeLZ4HCHashTableGetSize_8u(&hs, &cs), lumStatusOk);
    EXPECT_EQ(hs, 0x20000);
    EXPECT_EQ(cs, 0x40000);

    Tables t;
    std::fill(t.head.begin(), t.head.end(), 0xAB);
    std::fill(t.chain.begin(), t.chain.end(), 0xCD);
    EXPECT_EQ(lumsEncodeLZ4HCHashTableInit_8u(nullptr, t.chain.data()), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4HCHashTableInit_8u(t.head.data(), nullptr), lumStatusNullPtr);
    ASSERT_EQ(lumsEncodeLZ4HCHashTableInit_8u(t.head.data(), t.chain.data()), lumStatusOk);
    EXPECT_TRUE(std::all_of(t.head.begin(), t.head.end(), [](uint8_t b) { return b == 0; }));
    EXPECT_TRUE(std::all_of(t.chain.begin(), t.chain.end(), [](uint8_t b) { return b == 0; }));

    uint8_t src[32] = {}, dst[64];
    int32_t srcLen = 32, len = 64;
    uint8_t* h = t.head.data();
    uint8_t* c = t.chain.data();
    EXPECT_EQ(lumsEncodeLZ4HC_8u(nullptr, &srcLen, dst, &len, h, c, 0), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4HC_8u(src, nullptr, dst, &len, h, c, 9), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4HC_8u(src, &srcLen, dst, &len, h, nullptr, 9), lumStatusNullPtr);
    srcLen = 0;
    EXPECT_EQ(lumsEncodeLZ4HC_8u(src, &srcLen, dst, &len, h, c, 0), lumStatusSizeErr);
    srcLen = 32;
    len = 0;
    EXPECT_EQ(lumsEncodeLZ4HC_8u(src, &srcLen, dst, &len, h, c, 9), lumStatusSizeErr);
    len = 64;
    EXPECT_EQ(lumsEncodeLZ4HC_8u(src, &srcLen, dst, &len, h, c, 0), lumStatusBadArg);
    EXPECT_EQ(lumsEncodeLZ4HC_8u(src, &srcLen, dst, &len, h, c, 13), lumStatusBadArg);
    EXPECT_EQ(lumsEncodeLZ4HCDictLimit_8u(src, &srcLen, dst, &len, h, c, 9, -1), lumStatusBadArg);
    EXPECT_EQ(srcLen, 32);
    EXPECT_EQ(len, 64);
}

// Regression: the frontier parse could take a match from inside an earlier one
// at a position less than 12 bytes before the end, which decoders reject.
TEST(Lz4HcEdge, NoMatchStartsInTheLastTwelveBytes) {
    const Bytes data = {0xff, 0xff, 0xff, 0xff, 0x24, 0x24, 0x40, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xf7,
                        0xff, 0xff, 0xff, 0xff, 0x24, 0x24, 0x24, 0x24, 0x24, 0x24, 0x24, 0x24, 0x24, 0x40, 0xff,
                        0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x3f, 0xff, 0xff,
                        0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x3f, 0xff, 0xff, 0xff, 0xff, 0x24, 0x24, 0x24,
                        0x24, 0x24, 0x24, 0x24, 0x24, 0x24, 0x40, 0xff, 0xff, 0xef, 0xff, 0xff, 0xff, 0x4d, 0x42,
                        0x00, 0x00, 0x30, 0x60, 0x00, 0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x24, 0x24,
                        0x24, 0x24, 0x24, 0x24, 0x24, 0x24, 0x24, 0x40, 0xff, 0xff, 0xff, 0xff, 0x24, 0x24, 0x40,
                        0xff, 0xff, 0xff, 0xff, 0xe8, 0xff, 0xff, 0xff};
    Tables t;
    for (int level = 1; level <= 12; ++level)
        EXPECT_TRUE(decodesTo(encodeHc(data, level, t), data.data(), data.size())) << "level " << level;
}

// The format lets the last match start 12 bytes before the end and no later: in a
// 13-byte run the only match starts there (offset 1, 7 bytes, then 5 literals),
// and both decoders take it; 12 bytes leave no room for one.
TEST(Lz4HcEdge, TheLastMatchMayStartTwelveBytesBeforeTheEnd) {
    Tables t;
    for (size_t n = 12; n <= 40; ++n) {
        const Bytes data(n, 0x61);
        for (int level : {1, 9, 10, 12}) {
            const Bytes block = encodeHc(data, level, t);
            ASSERT_TRUE(decodesTo(block, data.data(), n)) << "n " << n << " level " << level;
            Bytes out(n);
            int32_t len = int32_t(n);
            ASSERT_EQ(lumsDecodeLZ4_8u(block.data(), int32_t(block.size()), out.data(), &len), lumStatusOk);
            EXPECT_EQ(out, data);
            EXPECT_EQ(block.size(), n == 12 ? 13 : 10 + (n - 10 >= 15)) << "n " << n << " level " << level;
        }
    }
}

class Lz4HcVariant : public ::testing::TestWithParam<size_t> {
protected:
    void SetUp() override {
        if (!lumtest::hasFeatures(variant().features)) GTEST_SKIP() << "processor lacks " << variant().name;
        scope_.emplace(variant().features);
    }
    const lumdc::Variant<lumdc::lz4::HcKernel>& variant() const { return lumdc::lz4::kHcVariants[GetParam()]; }

private:
    std::optional<lumtest::FeatureScope> scope_;
};

// Every level round-trips, and the blocks equal the portable kernel's whatever
// garbage the chain table held.
TEST_P(Lz4HcVariant, EveryLevelRoundTripsAndMatchesThePortableBlocks) {
    auto rng = lumtest::makeRng(50);
    std::vector<size_t> sizes = {1, 5, 12, 13, 20, 64, 200, 1000, 5000, 65536, 100000};
    Tables t, garbage;
    for (auto& b : garbage.chain) b = uint8_t(rng());
    for (size_t n : sizes) {
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            for (int level = 1; level <= 12; ++level) {
                if (n > 5000 && level != 1 && level != 9 && level != 10 && level != 12) continue;
                const Bytes block = encodeHc(data, level, t);
                ASSERT_TRUE(decodesTo(block, data.data(), n)) << "n " << n << " kind " << kind << " level " << level;
                Bytes portable;
                {
                    lumtest::FeatureScope none(0);
                    portable = encodeHc(data, level, garbage);
                }
                ASSERT_EQ(block, portable) << "n " << n << " kind " << kind << " level " << level;
            }
        }
    }
}

TEST_P(Lz4HcVariant, PatternedDataRoundTripsAtEveryLevelAndMatchesThePortableBlocks) {
    auto rng = lumtest::makeRng(53);
    Tables t, garbage;
    for (auto& b : garbage.chain) b = uint8_t(rng());
    for (int kind = 0; kind < 4; ++kind) {
        for (size_t n : {3000u, 150000u}) {
            const Bytes data = patterned(rng, kind, n);
            for (int level = 1; level <= 12; ++level) {
                const Bytes block = encodeHc(data, level, t);
                ASSERT_TRUE(decodesTo(block, data.data(), n)) << "kind " << kind << " n " << n << " level " << level;
                Bytes portable;
                {
                    lumtest::FeatureScope none(0);
                    portable = encodeHc(data, level, garbage);
                }
                ASSERT_EQ(block, portable) << "kind " << kind << " n " << n << " level " << level;
            }
        }
    }
}

// A pure run or period is one literal stretch and one match at every level: the
// period's bytes, then a length of n / 255 bytes or so. Any search that misses
// the long match, or a window that cuts it, costs far more.
TEST_P(Lz4HcVariant, PeriodsOfOneToSixteenBytesBecomeOneMatch) {
    auto rng = lumtest::makeRng(54);
    Tables t;
    for (size_t period = 1; period <= 16; ++period) {
        const Bytes pattern = lumtest::randomBytes(rng, period);
        const size_t n = 70000 + period * 1001;
        Bytes data(n);
        for (size_t i = 0; i < n; ++i) data[i] = pattern[i % period];
        for (int level = 1; level <= 12; ++level) {
            const Bytes block = encodeHc(data, level, t);
            ASSERT_TRUE(decodesTo(block, data.data(), n)) << "period " << period << " level " << level;
            EXPECT_LE(block.size(), period + n / 255 + 12) << "period " << period << " level " << level;
        }
    }
}

TEST_P(Lz4HcVariant, CompressesTheCorpusAtLeastAsWellAsTheFastEncoder) {
    const auto files = lumtest::corpusFiles();
    if (files.empty()) GTEST_SKIP() << "corpus not found";
    Tables t;
    Bytes table(16384);
    for (const auto& file : files) {
        const Bytes data = lumtest::readFile(file, 256 << 10);
        Bytes fast(data.size() + data.size() / 255 + 80);
        int32_t fastLen = 0;
        ASSERT_EQ(lumsEncodeLZ4_8u(data.data(), int32_t(data.size()), fast.data(), &fastLen, table.data()),
                  lumStatusOk);
        for (int level : {3, 9, 12}) {
            const Bytes block = encodeHc(data, level, t);
            ASSERT_TRUE(decodesTo(block, data.data(), data.size())) << file << " level " << level;
            EXPECT_LE(block.size(), size_t(fastLen)) << file << " level " << level;
        }
    }
}

// Any capacity: never past it, a complete block of the consumed prefix, 0 only
// when all was consumed.
TEST_P(Lz4HcVariant, BoundedAtEveryCapacity) {
    auto rng = lumtest::makeRng(51);
    Tables t;
    for (int kind = 1; kind < 3; ++kind) {
        const Bytes data = makeData(rng, kind, 3000);
        for (int level : {2, 9, 11}) {
            const size_t whole = encodeHc(data, level, t).size();
            for (size_t cap = 1; cap <= whole + 8; cap += cap < 80 ? 1 : 9) {
                lumtest::GuardedBuffer dst(cap);
                int32_t srcLen = int32_t(data.size()), len = int32_t(cap);
                const LumStatus st =
                    lumsEncodeLZ4HC_8u(data.data(), &srcLen, dst.data(), &len, t.head.data(), t.chain.data(), level);
                ASSERT_EQ(st, size_t(srcLen) == data.size() ? lumStatusOk : lumStatusDstFull) << cap;
                ASSERT_TRUE(decodesTo(Bytes(dst.data(), dst.data() + len), data.data(), size_t(srcLen)))
                    << "kind " << kind << " level " << level << " cap " << cap;
            }
        }
    }
}

// Matches reach into the bytes right before the source; the block decodes with
// those bytes as the dictionary, in place or held apart.
TEST_P(Lz4HcVariant, DictLimitBlocksDecodeWithThePrecedingBytes) {
    auto rng = lumtest::makeRng(52);
    Tables t;
    for (size_t prefix : {0u, 1u, 300u, 40000u, 100000u}) {
        const Bytes all = lumtest::textLike(rng, prefix + 20000);
        const uint8_t* src = all.data() + prefix;
        const Bytes dict(all.begin(), all.begin() + ptrdiff_t(prefix));
        for (int level : {1, 9, 12}) {
            Bytes out(20000 + 20000 / 255 + 16);
            int32_t srcLen = 20000, len = int32_t(out.size());
            ASSERT_EQ(lumsEncodeLZ4HCDictLimit_8u(src, &srcLen, out.data(), &len, t.head.data(), t.chain.data(), level,
                                                  int32_t(prefix)),
                      lumStatusOk);
            out.resize(size_t(len));
            ASSERT_TRUE(decodesTo(out, src, 20000, dict)) << "prefix " << prefix << " level " << level;
            Bytes window(dict);
            window.resize(prefix + 20000);
            int32_t bs = len, cap = 20000;
            ASSERT_EQ(lumsDecodeLZ4Dict_8u(out.data(), &bs, window.data(), int32_t(prefix), &cap, window.data(),
                                           int32_t(prefix)),
                      lumStatusOk);
            ASSERT_EQ(window, all) << "prefix " << prefix << " level " << level;
        }
    }
}

// Levels 9 to 12 cost no more than LZ4_compress_HC at the same level: 0.5% at
// level 9, 0.1% above (corpus pieces and each kind of patterned data; the blocks
// are the same from every variant).
TEST(Lz4HcSize, Levels9To12StayWithinLiblz4AtTheSameLevel) {
    auto rng = lumtest::makeRng(55);
    std::vector<std::pair<std::string, Bytes>> inputs;
    for (int kind = 0; kind < 4; ++kind)
        inputs.emplace_back("patterns " + std::to_string(kind), patterned(rng, kind, 256 << 10));
    for (const auto& file : lumtest::corpusFiles()) inputs.emplace_back(file, lumtest::readFile(file, 256 << 10));
    Tables t;
    for (const auto& [name, data] : inputs) {
        Bytes theirs(size_t(LZ4_compressBound(int(data.size()))));
        for (int level = 9; level <= 12; ++level) {
            const Bytes block = encodeHc(data, level, t);
            const int size =
                LZ4_compress_HC(reinterpret_cast<const char*>(data.data()), reinterpret_cast<char*>(theirs.data()),
                                int(data.size()), int(theirs.size()), level);
            ASSERT_GT(size, 0);
            const double margin = level == 9 ? 1.005 : 1.001;
            EXPECT_LE(double(block.size()), double(size) * margin) << name << " level " << level;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Lz4HcVariant, ::testing::Range<size_t>(0, std::size(lumdc::lz4::kHcVariants)),
                         [](const auto& info) { return std::string(lumdc::lz4::kHcVariants[info.param].name); });

}  // namespace
