// LZ4 block decoding: exact statuses in check order, the edge cases of the block
// format, and every kernel variant against liblz4's blocks and against the
// by-the-book reference on capacities near the end, truncations, corruptions and
// all three dictionary modes, with guard pages around source, destination and
// dictionary.

#include "lz4/lz4_decode.h"

#include <gtest/gtest.h>
#include <lz4.h>
#include <lz4hc.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "lumdc.h"
#include "lz4_reference.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes lz4Compress(const Bytes& data, int level = 0) {
    Bytes out(size_t(LZ4_compressBound(int(data.size()))) + 1);
    const char* s = reinterpret_cast<const char*>(data.data());
    char* d = reinterpret_cast<char*>(out.data());
    const int n = level == 0  ? LZ4_compress_default(s, d, int(data.size()), int(out.size()))
                  : level < 0 ? LZ4_compress_fast(s, d, int(data.size()), int(out.size()), -level)
                              : LZ4_compress_HC(s, d, int(data.size()), int(out.size()), level);
    out.resize(size_t(n));
    return out;
}

// A block whose matches reach into `dict`, as liblz4 writes it.
Bytes lz4CompressWithDict(const Bytes& data, const Bytes& dict) {
    LZ4_stream_t* stream = LZ4_createStream();
    LZ4_loadDict(stream, reinterpret_cast<const char*>(dict.data()), int(dict.size()));
    Bytes out(size_t(LZ4_compressBound(int(data.size()))) + 1);
    const int n = LZ4_compress_fast_continue(stream, reinterpret_cast<const char*>(data.data()),
                                             reinterpret_cast<char*>(out.data()), int(data.size()), int(out.size()), 1);
    LZ4_freeStream(stream);
    out.resize(size_t(n));
    return out;
}

// ---- Statuses and edge cases (whatever variant the processor takes) -------------

TEST(Lz4DecodeStatus, PlainChecksInOrderAndLeavesLengthsOnError) {
    uint8_t src[4] = {0x10, 'x', 0, 0}, dst[8];
    int32_t len = 8;
    EXPECT_EQ(lumsDecodeLZ4_8u(nullptr, 0, dst, &len), lumStatusNullPtr);
    EXPECT_EQ(lumsDecodeLZ4_8u(src, 4, nullptr, &len), lumStatusNullPtr);
    EXPECT_EQ(lumsDecodeLZ4_8u(src, -1, dst, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsDecodeLZ4_8u(src, 0, dst, &len), lumStatusSizeErr);
    len = 0;
    EXPECT_EQ(lumsDecodeLZ4_8u(src, 4, dst, &len), lumStatusSizeErr);
    EXPECT_EQ(len, 0);
}

TEST(Lz4DecodeStatus, DictChecksInOrderAfterTheModeIsChosen) {
    uint8_t src[2] = {0x10, 'x'}, dst[8], dict[4] = {1, 2, 3, 4};
    int32_t srcLen = 2, len = 8;
    EXPECT_EQ(lumsDecodeLZ4Dict_8u(nullptr, &srcLen, dst, 0, &len, dict, 4), lumStatusNullPtr);
    EXPECT_EQ(lumsDecodeLZ4Dict_8u(src, nullptr, dst, 0, &len, dict, 4), lumStatusNullPtr);
    EXPECT_EQ(lumsDecodeLZ4Dict_8u(src, &srcLen, nullptr, 0, &len, dict, 4), lumStatusNullPtr);
    EXPECT_EQ(lumsDecodeLZ4Dict_8u(src, &srcLen, dst, 0, nullptr, dict, 4), lumStatusNullPtr);
    srcLen = 0;
    EXPECT_EQ(lumsDecodeLZ4Dict_8u(src, &srcLen, dst, 0, &len, dict, 4), lumStatusSizeErr);
    srcLen = 2;
    len = -3;
    EXPECT_EQ(lumsDecodeLZ4Dict_8u(src, &srcLen, dst, 0, &len, dict, 4), lumStatusSizeErr);
    len = 8;
    // A separate dictionary of negative length is refused; a null dictionary of any
    // length is simply no dictionary.
    EXPECT_EQ(lumsDecodeLZ4Dict_8u(src, &srcLen, dst, 0, &len, dict, -1), lumStatusSizeErr);
    EXPECT_EQ(srcLen, 2);
    EXPECT_EQ(len, 8);
    EXPECT_EQ(lumsDecodeLZ4Dict_8u(src, &srcLen, dst, 0, &len, nullptr, -1), lumStatusOk);
    EXPECT_EQ(len, 1);
    EXPECT_EQ(dst[0], 'x');
}

TEST(Lz4DecodeEdge, OneByteBlockIsAnsweredWithSrcExhausted) {
    const uint8_t block[1] = {0x00};
    uint8_t dst[4];
    int32_t len = 4;
    EXPECT_EQ(lumsDecodeLZ4_8u(block, 1, dst, &len), lumStatusSrcExhausted);
    EXPECT_EQ(len, 0);
    int32_t srcLen = 1;
    len = 4;
    EXPECT_EQ(lumsDecodeLZ4Dict_8u(block, &srcLen, dst, 0, &len, nullptr, 0), lumStatusSrcExhausted);
    EXPECT_EQ(len, 0);
    EXPECT_EQ(srcLen, 0);  // the lone token is never read: fewer than 2 bytes remain
}

// "a", then a match of offset 1 and length 10, then the final literals "bcdef".
const uint8_t kRunBlock[] = {0x16, 'a', 0x01, 0x00, 0x50, 'b', 'c', 'd', 'e', 'f'};

TEST(Lz4DecodeEdge, OffsetOneRepeatsTheByteBeforeIt) {
    uint8_t dst[64];
    int32_t len = sizeof dst;
    ASSERT_EQ(lumsDecodeLZ4_8u(kRunBlock, sizeof kRunBlock, dst, &len), lumStatusOk);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(dst), size_t(len)), "aaaaaaaaaaabcdef");
}

TEST(Lz4DecodeEdge, OffsetBeforeTheOutputIsADataErrorUnlessADictionaryIsThere) {
    // Literal "a", then a match of offset 2 (one byte before the output start).
    const uint8_t block[] = {0x10, 'a', 0x02, 0x00, 0x50, 'b', 'c', 'd', 'e', 'f'};
    uint8_t buf[64] = {'D'};
    int32_t len = 32;
    EXPECT_EQ(lumsDecodeLZ4_8u(block, sizeof block, buf + 1, &len), lumStatusDataErr);
    EXPECT_EQ(len, 32);
    int32_t srcLen = sizeof block;
    // Dictionary of one byte lying right before the output: read in place.
    ASSERT_EQ(lumsDecodeLZ4Dict_8u(block, &srcLen, buf, 1, &len, buf, 1), lumStatusOk);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf + 1), size_t(len)), "aDaDabcdef");
    // The same dictionary held separately.
    const uint8_t dict[1] = {'E'};
    srcLen = sizeof block;
    len = 32;
    ASSERT_EQ(lumsDecodeLZ4Dict_8u(block, &srcLen, buf, 1, &len, dict, 1), lumStatusOk);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf + 1), size_t(len)), "aEaEabcdef");
}

TEST(Lz4DecodeEdge, NullDictionaryDecodesAsPlainAndReportsConsumption) {
    auto rng = lumtest::makeRng(30);
    const Bytes data = lumtest::textLike(rng, 5000);
    const Bytes block = lz4Compress(data);
    Bytes a(6000), b(6100);
    int32_t lenA = 6000, lenB = 6000, srcLen = int32_t(block.size());
    ASSERT_EQ(lumsDecodeLZ4_8u(block.data(), int32_t(block.size()), a.data(), &lenA), lumStatusOk);
    ASSERT_EQ(lumsDecodeLZ4Dict_8u(block.data(), &srcLen, b.data(), 100, &lenB, nullptr, 0), lumStatusOk);
    EXPECT_EQ(lenA, 5000);
    EXPECT_EQ(lenB, 5000);
    EXPECT_EQ(srcLen, int32_t(block.size()));
    EXPECT_TRUE(std::equal(a.begin(), a.begin() + 5000, b.begin() + 100));
}

// A match whose 255-continued length sums past 2^31 in 32 bits is refused.
TEST(Lz4DecodeEdge, MatchLengthOverflowingThirtyTwoBitsIsASizeError) {
    Bytes block = {0x1F, 'a', 0x01, 0x00};
    block.insert(block.end(), 8421505, 0xFF);  // 15 + 255 * 8421505 = 2147483790 > INT32_MAX
    block.push_back(0x00);
    block.insert(block.end(), {0x50, 'b', 'c', 'd', 'e', 'f'});
    std::vector<uint8_t> dst(1 << 16);
    int32_t len = int32_t(dst.size());
    EXPECT_EQ(lumsDecodeLZ4_8u(block.data(), int32_t(block.size()), dst.data(), &len), lumStatusSizeErr);
    EXPECT_EQ(len, int32_t(dst.size()));
}

// ---- Every variant ------------------------------------------------------------

class Lz4DecodeVariant : public ::testing::TestWithParam<size_t> {
protected:
    void SetUp() override {
        if (!lumtest::hasFeatures(variant().features)) GTEST_SKIP() << "processor lacks " << variant().name;
        scope_.emplace(variant().features);
    }
    const lumdc::Variant<const lumdc::lz4::DecodeKernels*>& variant() const {
        return lumdc::lz4::kDecodeVariants[GetParam()];
    }

    // Decodes through the plain export into a destination flush against a guard
    // page and compares with the reference.
    static std::string plainAgrees(const Bytes& block, size_t capacity) {
        lumtest::GuardedBuffer src(block.size()), dst(capacity);
        std::copy(block.begin(), block.end(), src.data());
        int32_t len = int32_t(capacity);
        const LumStatus st = lumsDecodeLZ4_8u(src.data(), int32_t(block.size()), dst.data(), &len);
        const auto ref = lumtest::lz4ReferenceDecode(block.data(), block.size(), capacity);
        if (st < 0 && len != int32_t(capacity)) return "lengths changed on error";
        return lumtest::lz4Difference(ref, st, 0, size_t(len), dst.data(), false);
    }

    // The dictionary export in its separate (guarded) or adjacent mode.
    static std::string dictAgrees(const Bytes& block, size_t capacity, const Bytes& dict, bool adjacent) {
        lumtest::GuardedBuffer src(block.size());
        std::copy(block.begin(), block.end(), src.data());
        lumtest::GuardedBuffer window(dict.size() + capacity),
            separate(dict.size(), lumtest::GuardedBuffer::Flush::Start);
        std::copy(dict.begin(), dict.end(), adjacent ? window.data() : separate.data());
        int32_t srcLen = int32_t(block.size()), len = int32_t(capacity);
        const LumStatus st = lumsDecodeLZ4Dict_8u(src.data(), &srcLen, window.data(), int32_t(dict.size()), &len,
                                                  adjacent ? window.data() : separate.data(), int32_t(dict.size()));
        const auto ref = lumtest::lz4ReferenceDecode(block.data(), block.size(), capacity, dict);
        return lumtest::lz4Difference(ref, st, size_t(srcLen), size_t(len), window.data() + dict.size());
    }

private:
    std::optional<lumtest::FeatureScope> scope_;
};

TEST_P(Lz4DecodeVariant, DecodesLiblz4BlocksOfEverySizeAndKind) {
    auto rng = lumtest::makeRng(31);
    std::vector<size_t> sizes;
    for (size_t n = 1; n <= 300; ++n) sizes.push_back(n);
    for (size_t n : {1000u, 4095u, 65535u, 65536u, 65537u, 300000u, 1u << 20}) sizes.push_back(n);
    for (size_t n : sizes) {
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = kind == 0   ? lumtest::randomBytes(rng, n)
                               : kind == 1 ? lumtest::textLike(rng, n)
                                           : lumtest::repetitive(rng, n);
            for (int level : {0, -8, 9}) {
                if (n > 70000 && level != 0) continue;
                const Bytes block = lz4Compress(data, level);
                for (size_t slack : {size_t(0), size_t(100)}) {
                    Bytes out(n + slack);
                    int32_t len = int32_t(out.size());
                    ASSERT_EQ(lumsDecodeLZ4_8u(block.data(), int32_t(block.size()), out.data(), &len), lumStatusOk)
                        << "n " << n << " kind " << kind << " level " << level;
                    ASSERT_EQ(size_t(len), n);
                    ASSERT_TRUE(std::equal(data.begin(), data.end(), out.begin())) << "n " << n << " kind " << kind;
                }
            }
        }
    }
}

TEST_P(Lz4DecodeVariant, DecodesTheCorpus) {
    const auto files = lumtest::corpusFiles();
    if (files.empty()) GTEST_SKIP() << "corpus not found";
    for (const auto& file : files) {
        const Bytes data = lumtest::readFile(file, 3 << 20);
        const Bytes block = lz4Compress(data);
        Bytes out(data.size());
        int32_t len = int32_t(out.size());
        ASSERT_EQ(lumsDecodeLZ4_8u(block.data(), int32_t(block.size()), out.data(), &len), lumStatusOk) << file;
        ASSERT_EQ(out, data) << file;
    }
}

// Every capacity from well short of the decoded size to past it: 33 with the
// exact produced length, or a normal end, as the reference says.
TEST_P(Lz4DecodeVariant, AgreesWithTheReferenceAtEveryCapacityNearTheEnd) {
    auto rng = lumtest::makeRng(32);
    for (size_t n : {40u, 200u, 1500u, 9000u}) {
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = kind == 0   ? lumtest::textLike(rng, n)
                               : kind == 1 ? lumtest::repetitive(rng, n)
                                           : lumtest::randomBytes(rng, n);
            const Bytes block = lz4Compress(data);
            for (size_t cap = n > 140 ? n - 140 : 1; cap <= n + 4; ++cap)
                ASSERT_EQ(plainAgrees(block, cap), "") << "n " << n << " kind " << kind << " capacity " << cap;
        }
    }
}

TEST_P(Lz4DecodeVariant, AgreesWithTheReferenceOnEveryTruncation) {
    auto rng = lumtest::makeRng(33);
    for (size_t n : {100u, 3000u}) {
        const Bytes block = lz4Compress(lumtest::textLike(rng, n));
        for (size_t cut = 1; cut <= block.size(); ++cut) {
            const Bytes part(block.begin(), block.begin() + ptrdiff_t(cut));
            ASSERT_EQ(plainAgrees(part, n + 50), "") << "n " << n << " cut at " << cut;
        }
    }
}

// Mutated blocks and pure noise: whatever the status, it is the reference's, and
// guard pages catch any access outside source and destination.
TEST_P(Lz4DecodeVariant, AgreesWithTheReferenceOnCorruptBlocks) {
    auto rng = lumtest::makeRng(34);
    const Bytes good = lz4Compress(lumtest::repetitive(rng, 6000));
    for (int round = 0; round < 3000; ++round) {
        Bytes block;
        if (round % 3 == 0) {
            block = lumtest::randomBytes(rng, 1 + rng() % 400);
        } else {
            block = good;
            for (int k = 0, flips = 1 + int(rng() % 4); k < flips; ++k)
                block[rng() % block.size()] ^= uint8_t(1 + rng() % 255);
            block.resize(1 + rng() % block.size());
        }
        const size_t cap = 1 + rng() % 9000;
        ASSERT_EQ(plainAgrees(block, cap), "") << "round " << round;
    }
}

TEST_P(Lz4DecodeVariant, LongRunsAndMatchesAcrossTheMargins) {
    Bytes block = {0xFF};  // 15 + 255 * 392 + 10 = 100000 literals, then offset 1, length 100004
    block.insert(block.end(), 392, 0xFF);
    block.push_back(10);
    for (int i = 0; i < 100000; ++i) block.push_back(uint8_t(i * 7));
    block.insert(block.end(), {0x01, 0x00});
    block.insert(block.end(), 392, 0xFF);
    block.push_back(10 - 4 + 4);
    block.insert(block.end(), {0x50, 'v', 'w', 'x', 'y', 'z'});
    for (size_t cap : {size_t(250000), size_t(200009), size_t(200008), size_t(150000), size_t(100001)})
        ASSERT_EQ(plainAgrees(block, cap), "") << "capacity " << cap;
}

// One sequence of `lit` literals and a 60-byte match at offset d, then five
// literals, cut by every capacity: the careful path's exact copies end flush
// against the guard page at every offset below and around the vector widths.
TEST_P(Lz4DecodeVariant, EveryShortOffsetStopsExactlyAtTheCapacity) {
    const auto block = [](size_t lit, size_t d) {
        Bytes b = {uint8_t(15 << 4 | 15)};
        b.push_back(uint8_t(lit - 15));
        for (size_t i = 0; i < lit; ++i) b.push_back(uint8_t('A' + i % 53));
        b.insert(b.end(), {uint8_t(d), uint8_t(d >> 8), uint8_t(60 - 4 - 15)});
        b.insert(b.end(), {0x50, 'v', 'w', 'x', 'y', 'z'});
        return b;
    };
    auto rng = lumtest::makeRng(37);
    const Bytes dict = lumtest::textLike(rng, 64);
    for (size_t d = 1; d <= 40; ++d) {
        const Bytes plain = block(40, d), fromDict = block(15, d);
        for (size_t cap = 1; cap <= 110; ++cap) {
            ASSERT_EQ(plainAgrees(plain, cap), "") << "offset " << d << " capacity " << cap;
            ASSERT_EQ(dictAgrees(fromDict, cap, dict, false), "") << "offset " << d << " capacity " << cap;
        }
    }
}

TEST_P(Lz4DecodeVariant, DictionaryBlocksOfLiblz4DecodeInBothModes) {
    auto rng = lumtest::makeRng(35);
    for (size_t dictLen : {1u, 100u, 5000u, 65536u, 100000u}) {
        const Bytes dict = lumtest::textLike(rng, dictLen);
        for (size_t n : {20u, 700u, 20000u}) {
            const Bytes data = lumtest::textLike(rng, n);
            const Bytes block = lz4CompressWithDict(data, dict);
            for (bool adjacent : {false, true}) {
                ASSERT_EQ(dictAgrees(block, n, dict, adjacent), "") << "dict " << dictLen << " n " << n;
                ASSERT_EQ(dictAgrees(block, n + 77, dict, adjacent), "");
                ASSERT_EQ(dictAgrees(block, n - 1, dict, adjacent), "");
            }
            // And the bytes are the source, as liblz4 decodes them too.
            Bytes out(n);
            const int got = LZ4_decompress_safe_usingDict(
                reinterpret_cast<const char*>(block.data()), reinterpret_cast<char*>(out.data()), int(block.size()),
                int(n), reinterpret_cast<const char*>(dict.data()), int(dict.size()));
            ASSERT_EQ(got, int(n));
            ASSERT_EQ(out, data);
        }
    }
}

TEST_P(Lz4DecodeVariant, CorruptDictionaryBlocksAgreeWithTheReference) {
    auto rng = lumtest::makeRng(36);
    const Bytes dict = lumtest::repetitive(rng, 3000);
    const Bytes good = lz4CompressWithDict(lumtest::repetitive(rng, 4000), dict);
    for (int round = 0; round < 1500; ++round) {
        Bytes block = good;
        for (int k = 0, flips = 1 + int(rng() % 3); k < flips; ++k)
            block[rng() % block.size()] ^= uint8_t(1 + rng() % 255);
        block.resize(1 + rng() % block.size());
        ASSERT_EQ(dictAgrees(block, 1 + rng() % 6000, dict, round % 2 == 0), "") << "round " << round;
    }
}

INSTANTIATE_TEST_SUITE_P(All, Lz4DecodeVariant, ::testing::Range<size_t>(0, std::size(lumdc::lz4::kDecodeVariants)),
                         [](const auto& info) { return std::string(lumdc::lz4::kDecodeVariants[info.param].name); });

}  // namespace
