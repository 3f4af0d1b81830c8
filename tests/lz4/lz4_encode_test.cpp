// LZ4 block encoding: exact statuses in check order (including the table zeroing
// that comes first), round trips through liblz4 with an exactly sized
// destination (which enforces the format's end rules), identical blocks from
// every variant, bounded encoders at every capacity with guard pages, the
// documented slack of the unbounded ones, and the dictionary encoders.

#include "lz4/lz4_encode.h"

#include <gtest/gtest.h>
#include <lz4.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "core/crc32c_hash.h"
#include "lumdc.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kTable = 16384;

size_t unboundedCapacity(size_t n) { return n + n / 255 + 80; }

Bytes makeData(std::mt19937_64& rng, int kind, size_t n) {
    return kind == 0   ? lumtest::randomBytes(rng, n)
           : kind == 1 ? lumtest::textLike(rng, n)
                       : lumtest::repetitive(rng, n);
}

// liblz4 must decode the block into exactly `expect.size()` bytes.
::testing::AssertionResult liblz4Decodes(const uint8_t* block, size_t size, const uint8_t* expect, size_t n) {
    Bytes out(n + 1);
    const int got = LZ4_decompress_safe(reinterpret_cast<const char*>(block), reinterpret_cast<char*>(out.data()),
                                        int(size), int(n));
    if (got != int(n)) return ::testing::AssertionFailure() << "liblz4 returned " << got << " for " << n << " bytes";
    if (n != 0 && std::memcmp(out.data(), expect, n) != 0) return ::testing::AssertionFailure() << "bytes differ";
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult liblz4DecodesWithDict(const Bytes& block, const Bytes& expect, const Bytes& dict) {
    Bytes out(expect.size() + 1);
    const int got = LZ4_decompress_safe_usingDict(
        reinterpret_cast<const char*>(block.data()), reinterpret_cast<char*>(out.data()), int(block.size()),
        int(expect.size()), reinterpret_cast<const char*>(dict.data()), int(dict.size()));
    if (got != int(expect.size())) return ::testing::AssertionFailure() << "liblz4 returned " << got;
    if (!std::equal(expect.begin(), expect.end(), out.begin())) return ::testing::AssertionFailure() << "bytes differ";
    return ::testing::AssertionSuccess();
}

// ---- Statuses ---------------------------------------------------------------------

TEST(Lz4EncodeStatus, TableSizeAndInit) {
    int32_t size = 0;
    EXPECT_EQ(lumsEncodeLZ4HashTableGetSize_8u(nullptr), lumStatusNullPtr);
    ASSERT_EQ(lumsEncodeLZ4HashTableGetSize_8u(&size), lumStatusOk);
    EXPECT_EQ(size, 16384);

    Bytes table(kTable, 0xAB);
    EXPECT_EQ(lumsEncodeLZ4HashTableInit_8u(nullptr, 5), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4HashTableInit_8u(table.data(), 0), lumStatusSizeErr);
    EXPECT_EQ(table[0], 0xAB);
    ASSERT_EQ(lumsEncodeLZ4HashTableInit_8u(table.data(), 65535), lumStatusOk);  // 16-bit slots: half
    EXPECT_TRUE(std::all_of(table.begin(), table.begin() + 8192, [](uint8_t b) { return b == 0; }));
    EXPECT_TRUE(std::all_of(table.begin() + 8192, table.end(), [](uint8_t b) { return b == 0xAB; }));
    ASSERT_EQ(lumsEncodeLZ4HashTableInit_8u(table.data(), 65536), lumStatusOk);  // 32-bit slots: all
    EXPECT_TRUE(std::all_of(table.begin(), table.end(), [](uint8_t b) { return b == 0; }));

    std::fill(table.begin(), table.end(), 0xAB);
    EXPECT_EQ(lumsEncodeLZ4DictHashTableInit_8u(nullptr, 1), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4DictHashTableInit_8u(table.data(), -1), lumStatusSizeErr);
    ASSERT_EQ(lumsEncodeLZ4DictHashTableInit_8u(table.data(), 1), lumStatusOk);
    EXPECT_TRUE(std::all_of(table.begin(), table.end(), [](uint8_t b) { return b == 0; }));
}

TEST(Lz4EncodeStatus, OneCallEncodersZeroTheTableBeforeTheOtherChecks) {
    uint8_t src[16] = {}, dst[200];
    int32_t len = 200, srcLen = 16;
    Bytes table(kTable, 0xAB);
    EXPECT_EQ(lumsEncodeLZ4_8u(src, 16, dst, &len, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4_8u(nullptr, 16, dst, &len, table.data()), lumStatusNullPtr);
    EXPECT_EQ(table[0], 0);  // zeroed although the call failed
    EXPECT_EQ(lumsEncodeLZ4_8u(src, 16, nullptr, &len, table.data()), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4_8u(src, 16, dst, nullptr, table.data()), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4_8u(src, 0, dst, &len, table.data()), lumStatusSizeErr);
    EXPECT_EQ(len, 200);

    EXPECT_EQ(lumsEncodeLZ4Safe_8u(src, nullptr, dst, &len, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4Safe_8u(src, &srcLen, dst, &len, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4Safe_8u(nullptr, &srcLen, dst, &len, table.data()), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4Safe_8u(src, &srcLen, dst, nullptr, table.data()), lumStatusNullPtr);
    srcLen = 0;
    EXPECT_EQ(lumsEncodeLZ4Safe_8u(src, &srcLen, dst, &len, table.data()), lumStatusSizeErr);
    srcLen = 16;
    len = 0;
    EXPECT_EQ(lumsEncodeLZ4Safe_8u(src, &srcLen, dst, &len, table.data()), lumStatusSizeErr);
    EXPECT_EQ(srcLen, 16);

    len = 200;
    EXPECT_EQ(lumsEncodeLZ4Fast_8u(src, 16, dst, &len, nullptr, 0), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4Fast_8u(nullptr, 0, dst, &len, table.data(), 0), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4Fast_8u(src, 0, dst, &len, table.data(), 0), lumStatusSizeErr);
    EXPECT_EQ(lumsEncodeLZ4Fast_8u(src, 16, dst, &len, table.data(), 0), lumStatusBadFactor);
    EXPECT_EQ(lumsEncodeLZ4Fast_8u(src, 16, dst, &len, table.data(), -7), lumStatusBadFactor);
    EXPECT_EQ(len, 200);
}

TEST(Lz4EncodeStatus, LoadDictEntersEveryThirdPositionAndNothingBelowNineBytes) {
    Bytes table(kTable, 0);
    const Bytes dict = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 'm', 'n'};
    EXPECT_EQ(lumsEncodeLZ4LoadDict_8u(nullptr, dict.data(), 14), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4LoadDict_8u(table.data(), nullptr, 14), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4LoadDict_8u(table.data(), dict.data(), 0), lumStatusSizeErr);
    ASSERT_EQ(lumsEncodeLZ4LoadDict_8u(table.data(), dict.data(), 8), lumStatusOk);
    EXPECT_TRUE(std::all_of(table.begin(), table.end(), [](uint8_t b) { return b == 0; }));

    // 14 bytes: positions 0 and 3 (14 - 3 > 8), not 6 (14 - 6 = 8).
    std::fill(table.begin(), table.end(), 0xEE);
    ASSERT_EQ(lumsEncodeLZ4LoadDict_8u(table.data(), dict.data(), 14), lumStatusOk);
    auto slot = [&](size_t i) {
        const uint32_t h = lumdc::crc32cWordPortable(dict[i + 4], lumdc::load32le(&dict[i])) & 0xFFF;
        uint32_t v;
        std::memcpy(&v, &table[4 * h], 4);
        return v;
    };
    EXPECT_EQ(slot(0), 0u);
    EXPECT_EQ(slot(3), 3u);
    EXPECT_EQ(slot(6), 0xEEEEEEEEu);
    EXPECT_EQ(std::count(table.begin(), table.end(), 0xEE), ptrdiff_t(kTable - 8));
}

TEST(Lz4EncodeStatus, DictEncodersCheckNullsThenLengths) {
    uint8_t src[8] = {}, dst[64], dict[8] = {};
    Bytes table(kTable, 0);
    int32_t len = 64, srcLen = 8;
    EXPECT_EQ(lumsEncodeLZ4Dict_8u(nullptr, -1, dst, &len, table.data(), dict, 8), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4Dict_8u(src, 8, dst, &len, nullptr, dict, 8), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4Dict_8u(src, 8, dst, &len, table.data(), nullptr, 8), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZ4Dict_8u(src, -1, dst, &len, table.data(), dict, 8), lumStatusBadArg);
    len = 0;
    EXPECT_EQ(lumsEncodeLZ4Dict_8u(src, 8, dst, &len, table.data(), dict, 8), lumStatusSizeErr);
    len = 64;
    EXPECT_EQ(lumsEncodeLZ4Dict_8u(src, 8, dst, &len, table.data(), dict, -1), lumStatusSizeErr);
    EXPECT_EQ(lumsEncodeLZ4DictSafe_8u(src, nullptr, dst, &len, table.data(), dict, 8), lumStatusNullPtr);
    srcLen = -2;
    EXPECT_EQ(lumsEncodeLZ4DictSafe_8u(src, &srcLen, dst, &len, table.data(), dict, 8), lumStatusBadArg);
    EXPECT_EQ(srcLen, -2);
    // Empty input and no dictionary are both fine: the empty block.
    ASSERT_EQ(lumsEncodeLZ4Dict_8u(src, 0, dst, &len, table.data(), nullptr, 0), lumStatusOk);
    EXPECT_EQ(len, 1);
    EXPECT_EQ(dst[0], 0x00);
}

TEST(Lz4EncodeEdge, ShortSourcesAreOneLiteralRun) {
    Bytes table(kTable);
    for (int32_t n = 1; n <= 12; ++n) {
        const Bytes data(size_t(n), 'z');  // maximally repetitive, yet no match may start
        Bytes dst(200);
        int32_t len = 0;
        ASSERT_EQ(lumsEncodeLZ4_8u(data.data(), n, dst.data(), &len, table.data()), lumStatusOk);
        ASSERT_EQ(len, n + 1);
        EXPECT_EQ(dst[0], uint8_t(n << 4));
    }
}

TEST(Lz4EncodeEdge, SlotWidthFollowsTheSourceLength) {
    auto rng = lumtest::makeRng(40);
    for (size_t n : {size_t(65535), size_t(65536)}) {
        const Bytes data = lumtest::textLike(rng, n);
        Bytes table(kTable, 0xAB), dst(unboundedCapacity(n));
        int32_t len = 0;
        ASSERT_EQ(lumsEncodeLZ4_8u(data.data(), int32_t(n), dst.data(), &len, table.data()), lumStatusOk);
        const bool upperHalfUntouched =
            std::all_of(table.begin() + 8192, table.end(), [](uint8_t b) { return b == 0xAB; });
        EXPECT_EQ(upperHalfUntouched, n < 65536) << n;
        EXPECT_TRUE(liblz4Decodes(dst.data(), size_t(len), data.data(), n));
    }
}

// ---- Every variant ------------------------------------------------------------

class Lz4EncodeVariant : public ::testing::TestWithParam<size_t> {
protected:
    void SetUp() override {
        if (!lumtest::hasFeatures(variant().features)) GTEST_SKIP() << "processor lacks " << variant().name;
    }
    const lumdc::Variant<const lumdc::lz4::EncodeKernels*>& variant() const {
        return lumdc::lz4::kEncodeVariants[GetParam()];
    }
    // Runs f with only this variant's features shown.
    template <class F>
    auto withVariant(F f) const {
        lumtest::FeatureScope only(variant().features);
        return f();
    }
    template <class F>
    static auto withPortable(F f) {
        lumtest::FeatureScope only(0);
        return f();
    }

    // Encodes with the unbounded encoder into a destination of exactly the
    // documented capacity, flush against a guard page, from a guarded source.
    static Bytes encodePlain(const Bytes& data, int accel = 0) {
        lumtest::GuardedBuffer src(data.size()), dst(unboundedCapacity(data.size()));
        std::copy(data.begin(), data.end(), src.data());
        Bytes table(kTable);
        int32_t len = 0;
        const LumStatus st =
            accel == 0 ? lumsEncodeLZ4_8u(src.data(), int32_t(data.size()), dst.data(), &len, table.data())
                       : lumsEncodeLZ4Fast_8u(src.data(), int32_t(data.size()), dst.data(), &len, table.data(), accel);
        EXPECT_EQ(st, lumStatusOk);
        return Bytes(dst.data(), dst.data() + len);
    }
};

std::vector<size_t> roundTripSizes() {
    std::vector<size_t> sizes;
    for (size_t n = 1; n <= 200; ++n) sizes.push_back(n);
    for (size_t n : {255u, 256u, 1000u, 4096u, 65535u, 65536u, 65537u, 300000u}) sizes.push_back(n);
    return sizes;
}

TEST_P(Lz4EncodeVariant, RoundTripsThroughLiblz4AndMatchesThePortableBlocks) {
    auto rng = lumtest::makeRng(41);
    for (size_t n : roundTripSizes()) {
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            const Bytes block = withVariant([&] { return encodePlain(data); });
            ASSERT_TRUE(liblz4Decodes(block.data(), block.size(), data.data(), n)) << "n " << n << " kind " << kind;
            ASSERT_EQ(block, withPortable([&] { return encodePlain(data); })) << "n " << n << " kind " << kind;
        }
    }
}

TEST_P(Lz4EncodeVariant, FastRoundTripsAtEveryAccelerationAndMatchesThePortableBlocks) {
    auto rng = lumtest::makeRng(42);
    for (size_t n : {13u, 100u, 5000u, 65535u, 65536u, 200000u}) {
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            for (int accel : {1, 2, 3, 4, 7, 16, 33, 1000}) {
                const Bytes block = withVariant([&] { return encodePlain(data, accel); });
                ASSERT_TRUE(liblz4Decodes(block.data(), block.size(), data.data(), n))
                    << "n " << n << " accel " << accel;
                ASSERT_EQ(block, withPortable([&] { return encodePlain(data, accel); })) << n << " accel " << accel;
            }
        }
    }
}

TEST_P(Lz4EncodeVariant, EncodesTheCorpus) {
    const auto files = lumtest::corpusFiles();
    if (files.empty()) GTEST_SKIP() << "corpus not found";
    for (const auto& file : files) {
        const Bytes data = lumtest::readFile(file, 1 << 20);
        const Bytes block = withVariant([&] { return encodePlain(data); });
        ASSERT_TRUE(liblz4Decodes(block.data(), block.size(), data.data(), data.size())) << file;
        ASSERT_EQ(block, withPortable([&] { return encodePlain(data); })) << file;
    }
}

// The bounded encoder at every capacity: never past it (guard page), always a
// complete block of the reported prefix, 0 exactly when all was consumed, and
// the same block as the unbounded encoder once the capacity is ample.
TEST_P(Lz4EncodeVariant, SafeFillsEveryCapacityWithACompleteBlock) {
    auto rng = lumtest::makeRng(43);
    for (size_t n : {1u, 30u, 700u, 5000u}) {
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            const Bytes whole = withVariant([&] { return encodePlain(data); });
            lumtest::GuardedBuffer src(n);
            std::copy(data.begin(), data.end(), src.data());
            Bytes table(kTable);
            for (size_t cap = 1; cap <= whole.size() + 20; cap += cap < 100 ? 1 : 7) {
                lumtest::GuardedBuffer dst(cap);
                int32_t srcLen = int32_t(n), len = int32_t(cap);
                const LumStatus st = withVariant(
                    [&] { return lumsEncodeLZ4Safe_8u(src.data(), &srcLen, dst.data(), &len, table.data()); });
                ASSERT_EQ(st, srcLen == int32_t(n) ? lumStatusOk : lumStatusDstFull) << "n " << n << " cap " << cap;
                ASSERT_LE(size_t(len), cap);
                ASSERT_TRUE(liblz4Decodes(dst.data(), size_t(len), data.data(), size_t(srcLen)))
                    << "n " << n << " kind " << kind << " cap " << cap;
                if (cap >= whole.size() + 13) {
                    ASSERT_EQ(Bytes(dst.data(), dst.data() + len), whole) << cap;
                }
            }
        }
    }
}

TEST_P(Lz4EncodeVariant, DictionaryBlocksDecodeWithTheSameDictionary) {
    auto rng = lumtest::makeRng(44);
    for (size_t dictLen : {0u, 9u, 500u, 70000u}) {
        const Bytes dict = lumtest::textLike(rng, dictLen);
        Bytes table(kTable);
        ASSERT_EQ(lumsEncodeLZ4DictHashTableInit_8u(table.data(), 1), lumStatusOk);
        if (dictLen > 0) {
            ASSERT_EQ(lumsEncodeLZ4LoadDict_8u(table.data(), dict.data(), int32_t(dictLen)), lumStatusOk);
        }
        // Several blocks against one loaded table: later ones meet stale entries.
        for (size_t n : {0u, 5u, 300u, 20000u, 3000u}) {
            const Bytes data = lumtest::textLike(rng, n);
            lumtest::GuardedBuffer src(n), dst(n + n / 255 + 16);
            std::copy(data.begin(), data.end(), src.data());
            int32_t len = int32_t(n + n / 255 + 16);
            ASSERT_EQ(withVariant([&] {
                          return lumsEncodeLZ4Dict_8u(src.data(), int32_t(n), dst.data(), &len, table.data(),
                                                      dictLen ? dict.data() : nullptr, int32_t(dictLen));
                      }),
                      lumStatusOk)
                << "dict " << dictLen << " n " << n;
            const Bytes block(dst.data(), dst.data() + len);
            ASSERT_TRUE(liblz4DecodesWithDict(block, data, dict)) << "dict " << dictLen << " n " << n;
            // Ours, with the dictionary in place before the output.
            Bytes window(dict);
            window.resize(dictLen + n + 1);
            int32_t srcLen = int32_t(block.size()), outLen = int32_t(n + 1);
            ASSERT_GE(lumsDecodeLZ4Dict_8u(block.data(), &srcLen, window.data(), int32_t(dictLen), &outLen,
                                           window.data(), int32_t(dictLen)),
                      0);
            ASSERT_EQ(size_t(outLen), n);
            ASSERT_TRUE(std::equal(data.begin(), data.end(), window.begin() + ptrdiff_t(dictLen)));
        }
    }
}

TEST_P(Lz4EncodeVariant, DictionaryBlocksFillEveryCapacityAndDictIsAllOrNothing) {
    auto rng = lumtest::makeRng(45);
    const Bytes dict = lumtest::repetitive(rng, 4000);
    const Bytes data = lumtest::repetitive(rng, 3000);
    Bytes table(kTable);
    size_t fullSize = 0;
    for (size_t cap = 1; cap <= 1200; cap += cap < 64 ? 1 : 5) {
        ASSERT_EQ(lumsEncodeLZ4DictHashTableInit_8u(table.data(), 1), lumStatusOk);
        ASSERT_EQ(lumsEncodeLZ4LoadDict_8u(table.data(), dict.data(), int32_t(dict.size())), lumStatusOk);
        lumtest::GuardedBuffer dst(cap);
        int32_t srcLen = int32_t(data.size()), len = int32_t(cap);
        const LumStatus st = withVariant([&] {
            return lumsEncodeLZ4DictSafe_8u(data.data(), &srcLen, dst.data(), &len, table.data(), dict.data(),
                                            int32_t(dict.size()));
        });
        ASSERT_EQ(st, size_t(srcLen) == data.size() ? lumStatusOk : lumStatusDstFull);
        const Bytes prefix(data.begin(), data.begin() + srcLen);
        ASSERT_TRUE(liblz4DecodesWithDict(Bytes(dst.data(), dst.data() + len), prefix, dict)) << "cap " << cap;
        if (st == lumStatusOk && fullSize == 0) fullSize = size_t(len);

        ASSERT_EQ(lumsEncodeLZ4LoadDict_8u(table.data(), dict.data(), int32_t(dict.size())), lumStatusOk);
        int32_t allLen = int32_t(cap);
        const LumStatus all = withVariant([&] {
            return lumsEncodeLZ4Dict_8u(data.data(), int32_t(data.size()), dst.data(), &allLen, table.data(),
                                        dict.data(), int32_t(dict.size()));
        });
        ASSERT_EQ(all, st) << "cap " << cap;
        ASSERT_EQ(allLen, st == lumStatusOk ? len : 0);
    }
    EXPECT_GT(fullSize, 0u);
}

INSTANTIATE_TEST_SUITE_P(All, Lz4EncodeVariant, ::testing::Range<size_t>(0, std::size(lumdc::lz4::kEncodeVariants)),
                         [](const auto& info) { return std::string(lumdc::lz4::kEncodeVariants[info.param].name); });

}  // namespace
