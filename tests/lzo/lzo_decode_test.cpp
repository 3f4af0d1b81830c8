// LZO1X decoding: exact statuses and lengths, liblzo2's streams (both of its
// compressors) through every variant and both exports, agreement with the
// by-the-book reference at every capacity, on every truncation and on corrupt
// input (guard pages around source and destination), and the segmented
// container: layout, capacities, hostile headers and failing segments.

#include "lzo/lzo_decode.h"

#include <gtest/gtest.h>
#include <lzo/lzo1x.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "lumdc.h"
#include "lzo_reference.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes lzoCompress(const Bytes& data, bool best = false) {
    static const bool ready = lzo_init() == LZO_E_OK;
    EXPECT_TRUE(ready);
    Bytes out(data.size() + data.size() / 16 + 67), work(LZO1X_999_MEM_COMPRESS);
    lzo_uint len = out.size();
    const int r = best ? lzo1x_999_compress(data.data(), data.size(), out.data(), &len, work.data())
                       : lzo1x_1_compress(data.data(), data.size(), out.data(), &len, work.data());
    EXPECT_EQ(r, LZO_E_OK);
    out.resize(len);
    return out;
}

Bytes makeData(std::mt19937_64& rng, int kind, size_t n) {
    return kind == 0   ? lumtest::randomBytes(rng, n)
           : kind == 1 ? lumtest::textLike(rng, n)
                       : lumtest::repetitive(rng, n);
}

void putLe32(Bytes& b, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(uint8_t(v >> (8 * i)));
}

// A container of the given streams and total decoded size.
Bytes container(const std::vector<Bytes>& streams, uint32_t total) {
    Bytes c = {0x55, uint8_t(streams.size()), uint8_t(streams.size() ^ 0x55)};
    putLe32(c, total);
    for (size_t i = 0; i + 1 < streams.size(); ++i) putLe32(c, uint32_t(streams[i].size()));
    for (const Bytes& s : streams) c.insert(c.end(), s.begin(), s.end());
    return c;
}

// Decodes through an export into a guarded destination of exactly `capacity`
// bytes (prefilled) and compares with the reference.
std::string agrees(const Bytes& src, size_t capacity, bool trusted = false) {
    lumtest::GuardedBuffer in(src.size()), out(capacity);
    std::copy(src.begin(), src.end(), in.data());
    std::fill(out.data(), out.data() + capacity, 0xEE);
    uint32_t len = uint32_t(capacity);
    const LumStatus st =
        (trusted ? lumsDecodeLZO_8u : lumsDecodeLZOSafe_8u)(in.data(), uint32_t(src.size()), out.data(), &len);
    return lumtest::lzoDifference(lumtest::lzoReferenceDecode(src.data(), src.size(), capacity), st, len,
                                  uint32_t(capacity), out.data());
}

// ---- Statuses and edges -------------------------------------------------------------

TEST(LzoDecodeStatus, NullPointersEmptyInputAndTheBareMarker) {
    uint8_t src[3] = {0x11, 0, 0}, dst[8];
    uint32_t len = 8;
    for (auto* decode : {lumsDecodeLZOSafe_8u, lumsDecodeLZO_8u}) {
        EXPECT_EQ(decode(nullptr, 3, dst, &len), lumStatusNullPtr);
        EXPECT_EQ(decode(src, 3, nullptr, &len), lumStatusNullPtr);
        EXPECT_EQ(decode(src, 3, dst, nullptr), lumStatusNullPtr);
        EXPECT_EQ(len, 8u);
        EXPECT_EQ(decode(src, 0, dst, &len), lumStatusOk);
        EXPECT_EQ(len, 0u);
        len = 8;
        EXPECT_EQ(decode(src, 3, dst, &len), lumStatusOk);
        EXPECT_EQ(len, 0u);
        len = 8;
    }
}

TEST(LzoDecodeEdge, DistanceOneRepeatsTheByteBeforeIt) {
    // Literal 'x', then a match of 8 at distance 1 (t = 7 << 5), then the marker.
    const Bytes stream = {18, 'x', 7 << 5, 0, 0x11, 0, 0};
    Bytes out(16, 0);
    uint32_t len = 16;
    ASSERT_EQ(lumsDecodeLZOSafe_8u(stream.data(), uint32_t(stream.size()), out.data(), &len), lumStatusOk);
    EXPECT_EQ(len, 9u);
    EXPECT_EQ(std::string(out.begin(), out.begin() + 9), "xxxxxxxxx");
}

TEST(LzoDecodeEdge, AMatchBeforeTheOutputFailsAndKeepsWhatWasWritten) {
    // Two literals, then a match at distance 3: one byte too far back.
    const Bytes stream = {19, 'a', 'b', 7 << 5 | 2 << 2, 0, 0x11, 0, 0};
    Bytes out(16, 0);
    uint32_t len = 16;
    EXPECT_EQ(lumsDecodeLZOSafe_8u(stream.data(), uint32_t(stream.size()), out.data(), &len), lumStatusSrcTruncated);
    EXPECT_EQ(len, 2u);
    EXPECT_EQ(out[0], 'a');
    EXPECT_EQ(out[1], 'b');
}

TEST(LzoDecodeEdge, ADistanceOf16384IsAMatchInTheNearFormAndTheEndInTheFarOne) {
    auto rng = lumtest::makeRng(40);
    Bytes data = lumtest::randomBytes(rng, 16384 + 33);
    std::copy(data.begin(), data.begin() + 33, data.begin() + 16384);  // 33 bytes repeat 16384 back
    // 16384 literals, then the near form: t = 32 | (33 - 2), D = (16384 - 1) << 2.
    Bytes stream = {0};
    size_t rest = 16384 - 18;
    for (; rest > 255; rest -= 255) stream.push_back(0);
    stream.push_back(uint8_t(rest));
    stream.insert(stream.end(), data.begin(), data.begin() + 16384);
    stream.insert(stream.end(), {uint8_t(32 | 31), uint8_t((16383 << 2) & 0xFF), uint8_t((16383 << 2) >> 8)});
    stream.insert(stream.end(), {0x11, 0, 0});
    for (bool trusted : {false, true}) {
        Bytes out(data.size());
        uint32_t len = uint32_t(out.size());
        ASSERT_EQ((trusted ? lumsDecodeLZO_8u : lumsDecodeLZOSafe_8u)(stream.data(), uint32_t(stream.size()),
                                                                      out.data(), &len),
                  lumStatusOk);
        ASSERT_EQ(len, data.size());
        EXPECT_EQ(out, data);
    }
}

// ---- The container ------------------------------------------------------------------

TEST(LzoContainer, SegmentsGetTheShareOfTheTotalAndTheLastTheRemainder) {
    // T = 11 over two segments: 5 bytes, then 6.
    const Bytes a = lzoCompress(Bytes{'h', 'e', 'l', 'l', 'o'}), b = lzoCompress(Bytes{' ', 'w', 'o', 'r', 'l', 'd'});
    const Bytes c = container({a, b}, 11);
    for (auto* decode : {lumsDecodeLZOSafe_8u, lumsDecodeLZO_8u}) {
        Bytes out(11, 0);
        uint32_t len = 11;
        ASSERT_EQ(decode(c.data(), uint32_t(c.size()), out.data(), &len), lumStatusOk);
        EXPECT_EQ(len, 11u);
        EXPECT_EQ(std::string(out.begin(), out.end()), "hello world");
    }
    // Swapped, the first segment no longer fits its 5 bytes; the second still
    // decodes into its place, and the container fails leaving *pDstLen alone.
    const Bytes swapped = container({b, a}, 11);
    Bytes out(11, 0);
    uint32_t len = 11;
    EXPECT_EQ(lumsDecodeLZOSafe_8u(swapped.data(), uint32_t(swapped.size()), out.data(), &len), lumStatusSrcTruncated);
    EXPECT_EQ(len, 11u);
    EXPECT_EQ(std::string(out.begin() + 5, out.end() - 1), "hello");
    EXPECT_EQ(agrees(swapped, 11), "");
}

TEST(LzoContainer, OneToThirtyTwoSegmentsOfLiblzoStreams) {
    auto rng = lumtest::makeRng(41);
    for (size_t n = 1; n <= 32; ++n) {
        const size_t total = 500 * n + rng() % 400;
        const Bytes data = makeData(rng, int(n % 3), total);
        const size_t share = total / n;
        std::vector<Bytes> streams;
        for (size_t i = 0; i < n; ++i) {
            const size_t begin = i * share, end = i + 1 == n ? total : begin + share;
            streams.push_back(
                lzoCompress(Bytes(data.begin() + ptrdiff_t(begin), data.begin() + ptrdiff_t(end)), i % 2 == 1));
        }
        const Bytes c = container(streams, uint32_t(total));
        for (auto* decode : {lumsDecodeLZOSafe_8u, lumsDecodeLZO_8u}) {
            Bytes out(total + 7, 0);
            uint32_t len = uint32_t(out.size());
            ASSERT_EQ(decode(c.data(), uint32_t(c.size()), out.data(), &len), lumStatusOk) << n << " segments";
            ASSERT_EQ(len, total);
            ASSERT_TRUE(std::equal(data.begin(), data.end(), out.begin())) << n << " segments";
        }
        ASSERT_EQ(agrees(c, total), "") << n << " segments";
        ASSERT_EQ(agrees(c, total - 1), "") << n << " segments, one byte short";
    }
}

// Damaged and hostile containers: every outcome is the reference's, the trusted
// decoder (which checks container segments too) agrees with the safe one, and
// guard pages catch any stray access.
TEST(LzoContainer, HostileHeadersAndDamagedSegmentsAgreeWithTheReference) {
    auto rng = lumtest::makeRng(42);
    for (int round = 0; round < 2000; ++round) {
        const size_t n = 1 + rng() % 6, total = 64 + rng() % 3000;
        const Bytes data = makeData(rng, round % 3, total);
        std::vector<Bytes> streams;
        for (size_t i = 0; i < n; ++i) {
            const size_t share = total / n, begin = i * share, end = i + 1 == n ? total : begin + share;
            streams.push_back(lzoCompress(Bytes(data.begin() + ptrdiff_t(begin), data.begin() + ptrdiff_t(end))));
        }
        Bytes c = container(streams, uint32_t(total));
        switch (round % 5) {
            case 0:  // a wrong total
                c[3 + rng() % 4] ^= uint8_t(1 + rng() % 255);
                break;
            case 1:  // a wrong segment size (when there is one)
                if (n > 1) c[7 + 4 * (rng() % (n - 1)) + rng() % 4] ^= uint8_t(1 + rng() % 255);
                break;
            case 2:  // a damaged segment byte
                c[3 + 4 * n + rng() % (c.size() - 3 - 4 * n)] ^= uint8_t(1 + rng() % 255);
                break;
            case 3:  // cut anywhere
                c.resize(1 + rng() % c.size());
                break;
            default:  // the header count or its check byte
                c[1 + rng() % 2] ^= uint8_t(1 + rng() % 255);
                break;
        }
        const size_t capacity = rng() % 4 == 0 ? 1 + rng() % (total + 50) : total;
        ASSERT_EQ(agrees(c, capacity), "") << "round " << round;
        if (lumtest::lzoReferenceDecode(c.data(), c.size(), capacity).container) {
            ASSERT_EQ(agrees(c, capacity, true), "") << "round " << round << " (trusted)";
        }
    }
}

TEST(LzoContainer, AHeaderThatFailsATestIsAPlainStream) {
    const Bytes a = lzoCompress(Bytes(100, 'a'));
    Bytes c = container({a, a}, 200);
    c[2] ^= 1;  // the check byte no longer matches
    EXPECT_FALSE(lumtest::lzoReferenceDecode(c.data(), c.size(), 200).container);
    EXPECT_EQ(agrees(c, 200), "");
    Bytes cut(c.begin(), c.begin() + 6);  // the header itself cut short
    cut[2] ^= 1;
    EXPECT_EQ(agrees(cut, 200), "");
}

// ---- Every variant ------------------------------------------------------------------

class LzoDecodeVariant : public ::testing::TestWithParam<size_t> {
protected:
    void SetUp() override {
        if (!lumtest::hasFeatures(variant().features)) GTEST_SKIP() << "processor lacks " << variant().name;
        scope_.emplace(variant().features);
    }
    const lumdc::Variant<const lumdc::lzo::DecodeKernels*>& variant() const {
        return lumdc::lzo::kDecodeVariants[GetParam()];
    }

private:
    std::optional<lumtest::FeatureScope> scope_;
};

TEST_P(LzoDecodeVariant, DecodesLiblzoStreamsOfEverySizeAndKind) {
    auto rng = lumtest::makeRng(43);
    std::vector<size_t> sizes;
    for (size_t n = 1; n <= 300; ++n) sizes.push_back(n);
    for (size_t n : {1000u, 4095u, 49152u, 65536u, 65537u, 300000u, 1u << 20}) sizes.push_back(n);
    for (size_t n : sizes) {
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            for (bool best : {false, true}) {
                if (best && n > 70000) continue;
                const Bytes stream = lzoCompress(data, best);
                for (auto* decode : {lumsDecodeLZOSafe_8u, lumsDecodeLZO_8u}) {
                    for (size_t slack : {size_t(0), size_t(100)}) {
                        Bytes out(n + slack);
                        uint32_t len = uint32_t(out.size());
                        ASSERT_EQ(decode(stream.data(), uint32_t(stream.size()), out.data(), &len), lumStatusOk)
                            << "n " << n << " kind " << kind << " best " << best;
                        ASSERT_EQ(len, n);
                        ASSERT_TRUE(std::equal(data.begin(), data.end(), out.begin())) << "n " << n;
                    }
                }
            }
        }
    }
}

TEST_P(LzoDecodeVariant, DecodesTheCorpus) {
    const auto files = lumtest::corpusFiles();
    if (files.empty()) GTEST_SKIP() << "corpus not found";
    for (const auto& file : files) {
        const Bytes data = lumtest::readFile(file, 3 << 20);
        const Bytes stream = lzoCompress(data);
        for (auto* decode : {lumsDecodeLZOSafe_8u, lumsDecodeLZO_8u}) {
            Bytes out(data.size());
            uint32_t len = uint32_t(out.size());
            ASSERT_EQ(decode(stream.data(), uint32_t(stream.size()), out.data(), &len), lumStatusOk) << file;
            ASSERT_EQ(out, data) << file;
        }
    }
}

TEST_P(LzoDecodeVariant, AgreesWithTheReferenceAtEveryCapacityNearTheEnd) {
    auto rng = lumtest::makeRng(44);
    for (size_t n : {40u, 200u, 1500u, 9000u}) {
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes stream = lzoCompress(makeData(rng, kind, n), kind == 1);
            for (size_t cap = n > 140 ? n - 140 : 1; cap <= n + 4; ++cap)
                ASSERT_EQ(agrees(stream, cap), "") << "n " << n << " kind " << kind << " capacity " << cap;
        }
    }
}

TEST_P(LzoDecodeVariant, AgreesWithTheReferenceOnEveryTruncation) {
    auto rng = lumtest::makeRng(45);
    for (size_t n : {100u, 3000u}) {
        const Bytes stream = lzoCompress(lumtest::textLike(rng, n));
        for (size_t cut = 1; cut <= stream.size(); ++cut)
            ASSERT_EQ(agrees(Bytes(stream.begin(), stream.begin() + ptrdiff_t(cut)), n + 50), "") << "cut " << cut;
    }
}

TEST_P(LzoDecodeVariant, AgreesWithTheReferenceOnCorruptStreams) {
    auto rng = lumtest::makeRng(46);
    const Bytes good = lzoCompress(lumtest::repetitive(rng, 6000)), text = lzoCompress(lumtest::textLike(rng, 6000));
    for (int round = 0; round < 3000; ++round) {
        Bytes stream;
        if (round % 3 == 0) {
            stream = lumtest::randomBytes(rng, 1 + rng() % 400);
        } else {
            stream = round % 3 == 1 ? good : text;
            for (int k = 0, flips = 1 + int(rng() % 4); k < flips; ++k)
                stream[rng() % stream.size()] ^= uint8_t(1 + rng() % 255);
            if (rng() % 2) stream.resize(1 + rng() % stream.size());
        }
        ASSERT_EQ(agrees(stream, 1 + rng() % 9000), "") << "round " << round;
    }
}

// A literal run, a match of 60 at every distance from 1 to 40 and the marker, cut
// by every capacity: the exact copies of the careful path end flush against the
// guard page.
TEST_P(LzoDecodeVariant, EveryShortDistanceStopsExactlyAtTheCapacity) {
    for (size_t d = 1; d <= 40; ++d) {
        Bytes stream = {uint8_t(17 + 40)};
        for (int i = 0; i < 40; ++i) stream.push_back(uint8_t('A' + i % 53));
        const size_t dm = d - 1;
        stream.insert(stream.end(), {32, uint8_t(60 - 33), uint8_t(dm << 2), uint8_t(dm >> 6)});
        stream.insert(stream.end(), {0x11, 0, 0});
        for (size_t cap = 1; cap <= 110; ++cap)
            ASSERT_EQ(agrees(stream, cap), "") << "distance " << d << " capacity " << cap;
    }
}

TEST_P(LzoDecodeVariant, LongRunsAndZeroExtensionsAcrossTheMargins) {
    auto rng = lumtest::makeRng(47);
    for (size_t n : {300u, 5000u, 70000u}) {
        Bytes data = lumtest::randomBytes(rng, n);  // one long literal run
        data.insert(data.end(), n, 'z');            // then a long match of distance 1
        const Bytes stream = lzoCompress(data);
        for (size_t cap : {2 * n, 2 * n + 100, 2 * n - 1, n + 1, n})
            ASSERT_EQ(agrees(stream, cap), "") << "n " << n << " capacity " << cap;
    }
}

INSTANTIATE_TEST_SUITE_P(All, LzoDecodeVariant, ::testing::Range<size_t>(0, std::size(lumdc::lzo::kDecodeVariants)),
                         [](const auto& info) { return std::string(lumdc::lzo::kDecodeVariants[info.param].name); });

}  // namespace
