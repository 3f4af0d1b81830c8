// Deflate Huffman output: bytes and bit buffer equal to the bit writer's rule
// written out plainly, for random records and codes, in any split of the records,
// on both sides of the table-driven path; nothing written past the output;
// statuses; every variant against the portable one; and whole streams of records
// from a lazy matcher that zlib and libdeflate inflate.

#include <gtest/gtest.h>

#include <random>

#include "deflate/deflate_huff.h"
#include "huff_support.h"
#include "test_support.h"

namespace {

using namespace lumtest::deflate;

// Code tables of random lengths (1..15) and random code values that fit them:
// not prefix codes, which the writer does not care about.
void randomCodes(std::mt19937_64& rng, LitTable& lc, DistTable& dc, int maxLen = 15) {
    for (auto& e : lc) {
        e.len = uint16_t(1 + rng() % uint64_t(maxLen));
        e.code = uint16_t(rng() & ((1u << e.len) - 1));
    }
    for (auto& e : dc) {
        e.len = uint16_t(1 + rng() % uint64_t(maxLen));
        e.code = uint16_t(rng() & ((1u << e.len) - 1));
    }
}

Records randomRecords(std::mt19937_64& rng, size_t count) {
    Records r;
    for (size_t i = 0; i < count; ++i) {
        if (rng() % 3 != 0) {
            r.literal(uint8_t(rng()));
            continue;
        }
        // Lengths and distances across every code, the extremes often.
        const int len = rng() % 8 == 0 ? 258 : 3 + int(rng() % 256);
        const int d = rng() % 8 == 0 ? int(1 + rng() % 4) : rng() % 16 == 0 ? 32768 : int(1 + rng() % 32768);
        r.match(len, d);
    }
    return r;
}

struct Output {
    Bytes dst;
    uint32_t idx;
    uint16_t bitBuf;
    uint32_t bitCount;
    bool operator==(const Output&) const = default;
};

constexpr uint8_t kFill = 0xA5;

// The rule: the records from dst index `start` with the given pending bits.
Output byRule(const Records& r, const LitTable& lc, const DistTable& dc, uint32_t start, uint16_t bitBuf,
              uint32_t bitCount) {
    Output o{Bytes(start + r.lit.size() * 6 + 8, kFill), 0, 0, 0};
    RuleWriter w{o.dst.data(), start, bitBuf, bitCount};
    ruleRecords(w, r.lit.data(), r.dist.data(), r.lit.size(), lc, dc);
    w.finish(o.bitBuf, o.bitCount);
    o.idx = w.out;
    return o;
}

// The library, the records cut into calls of the given sizes (repeating the last).
Output byLibrary(const Records& r, const LitTable& lc, const DistTable& dc, uint32_t start, uint16_t bitBuf,
                 uint32_t bitCount, const std::vector<size_t>& pieces = {}) {
    Output o{Bytes(start + r.lit.size() * 6 + 8, kFill), start, bitBuf, bitCount};
    static const uint8_t noLit = 0;
    static const uint16_t noDist = 0;
    const uint8_t* lit = r.lit.empty() ? &noLit : r.lit.data();
    const uint16_t* dist = r.dist.empty() ? &noDist : r.dist.data();
    size_t at = 0, k = 0;
    do {
        const size_t n =
            pieces.empty() ? r.lit.size() : std::min(pieces[std::min(k++, pieces.size() - 1)], r.lit.size() - at);
        EXPECT_EQ(lumsDeflateHuff_8u(lit + at, dist + at, int32_t(n), &o.bitBuf, &o.bitCount, lc.data(), dc.data(),
                                     o.dst.data(), &o.idx),
                  lumStatusOk);
        at += n;
    } while (at < r.lit.size());
    return o;
}

TEST(DeflateHuff, RandomRecordsFollowTheRule) {
    auto rng = lumtest::makeRng(301);
    for (size_t count : {0, 1, 2, 3, 7, 100, 2047, 2048, 2049, 2100, 5000, 40000}) {
        for (int trial = 0; trial < 3; ++trial) {
            LitTable lc;
            DistTable dc;
            randomCodes(rng, lc, dc, trial == 2 ? 4 : 15);
            const Records r = randomRecords(rng, count);
            const uint32_t start = uint32_t(rng() % 5);
            const uint32_t pending = uint32_t(rng() % 8);
            const uint16_t bits = uint16_t(rng() & ((1u << pending) - 1));
            const Output want = byRule(r, lc, dc, start, bits, pending);
            // Bytes past the output, up to the room the caller gives, are untouched too.
            EXPECT_TRUE(byLibrary(r, lc, dc, start, bits, pending) == want) << count << " records, trial " << trial;
        }
    }
}

TEST(DeflateHuff, AnySplitWritesTheSameBytes) {
    auto rng = lumtest::makeRng(302);
    for (int trial = 0; trial < 6; ++trial) {
        LitTable lc;
        DistTable dc;
        randomCodes(rng, lc, dc);
        const Records r = randomRecords(rng, 9000 + rng() % 3000);
        const Output whole = byLibrary(r, lc, dc, 0, 0, 0);
        // Pieces below and above the table-driven path's threshold, and single records.
        for (const auto& pieces : std::vector<std::vector<size_t>>{
                 {1}, {2047}, {2048}, {3000, 1}, {1, 2048, 5, 4000}, {size_t(1 + rng() % 5000)}})
            EXPECT_TRUE(byLibrary(r, lc, dc, 0, 0, 0, pieces) == whole) << "trial " << trial;
        const auto split = lumtest::randomSplit(rng, r.lit.size(), 20);
        EXPECT_TRUE(byLibrary(r, lc, dc, 0, 0, 0, split) == whole) << "trial " << trial;
    }
}

// Where the word rule's stores fall: bits reaching exactly 32 stay pending until
// the end; no records flushes whole pending bytes only.
TEST(DeflateHuff, PendingBitsAndWordBoundaries) {
    LitTable lc{};
    DistTable dc{};
    for (int s = 0; s < 286; ++s) lc[s] = {uint16_t(s & 0xFF), 8};
    for (int s = 0; s < 30; ++s) dc[s] = {uint16_t(s), 5};
    lc['a'] = {0x7F, 7};

    Bytes dst(16, kFill);
    uint16_t bitBuf = 0x1ABC;
    uint32_t bitCount = 13, idx = 2;
    const uint8_t lit0 = 0;
    const uint16_t dist0 = 0;
    ASSERT_EQ(lumsDeflateHuff_8u(&lit0, &dist0, 0, &bitBuf, &bitCount, lc.data(), dc.data(), dst.data(), &idx),
              lumStatusOk);
    EXPECT_EQ(idx, 3u);
    EXPECT_EQ(dst[2], 0xBC);
    EXPECT_EQ(dst[3], kFill);
    EXPECT_EQ(bitCount, 5u);
    EXPECT_EQ(bitBuf, 0x1A);

    // 4 pending + four 7-bit codes = 32 bits: one word, written by the last step.
    Records r;
    for (int k = 0; k < 4; ++k) r.literal('a');
    const Output want = byRule(r, lc, dc, 0, 0x5, 4);
    const Output got = byLibrary(r, lc, dc, 0, 0x5, 4);
    EXPECT_TRUE(got == want);
    EXPECT_EQ(got.idx, 4u);
    EXPECT_EQ(got.bitCount, 0u);

    // Length 258 and distances 1..4 take no extra bits; 32768 takes 13.
    Records m;
    m.match(258, 1);
    m.match(258, 4);
    m.match(10, 32768);
    const Output mw = byRule(m, lc, dc, 0, 0, 0);
    EXPECT_EQ(mw.idx * 8 + mw.bitCount, 8u + 5 + 8 + 5 + 8 + 5 + 13);
    EXPECT_TRUE(byLibrary(m, lc, dc, 0, 0, 0) == mw);
}

TEST(DeflateHuff, NullPointersWriteNothing) {
    LitTable lc{};
    DistTable dc{};
    uint8_t lit = 1, dst[8] = {};
    uint16_t dist = 0, bitBuf = 0;
    uint32_t bitCount = 9, idx = 0;
    const uint8_t* l = &lit;
    const uint16_t* d = &dist;
    EXPECT_EQ(lumsDeflateHuff_8u(nullptr, d, 1, &bitBuf, &bitCount, lc.data(), dc.data(), dst, &idx), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateHuff_8u(l, nullptr, 1, &bitBuf, &bitCount, lc.data(), dc.data(), dst, &idx), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateHuff_8u(l, d, 1, nullptr, &bitCount, lc.data(), dc.data(), dst, &idx), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateHuff_8u(l, d, 1, &bitBuf, nullptr, lc.data(), dc.data(), dst, &idx), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateHuff_8u(l, d, 1, &bitBuf, &bitCount, nullptr, dc.data(), dst, &idx), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateHuff_8u(l, d, 1, &bitBuf, &bitCount, lc.data(), nullptr, dst, &idx), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateHuff_8u(l, d, 1, &bitBuf, &bitCount, lc.data(), dc.data(), nullptr, &idx), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateHuff_8u(l, d, 1, &bitBuf, &bitCount, lc.data(), dc.data(), dst, nullptr), lumStatusNullPtr);
    EXPECT_EQ(idx, 0u);
    EXPECT_EQ(bitCount, 9u);
    EXPECT_EQ(dst[0], 0);
}

// Blocks of lazy-matcher records under codes, header and end-of-block code from
// the library inflate to the input with zlib and libdeflate.
Bytes compressRecords(const Records& r, std::vector<size_t> blocks) {
    StreamWriter w;
    size_t at = 0;
    for (size_t b = 0; b < blocks.size(); ++b) {
        Records part;
        for (size_t i = at; i < at + blocks[b]; ++i) {
            if (r.dist[i] == 0)
                part.literal(r.lit[i]);
            else
                part.match(r.lit[i] + 3, r.dist[i]);
        }
        LitTable lf, lc;
        DistTable df, dc;
        toFreq(part, lf, df);
        EXPECT_EQ(lumsDeflateLZ77FastestGenHuffTable_8u(lf.data(), df.data(), lc.data(), dc.data()), lumStatusOk);
        uint32_t idx;
        uint8_t* dst = w.reserve(304, idx);
        EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(lc.data(), dc.data(), b + 1 == blocks.size(), &w.bitBuf,
                                                     &w.bitCount, dst, &idx),
                  lumStatusOk);
        w.trim(idx);
        dst = w.reserve(part.lit.size() * 6 + 4, idx);
        EXPECT_EQ(lumsDeflateHuff_8u(part.lit.data(), part.dist.data(), int32_t(part.lit.size()), &w.bitBuf,
                                     &w.bitCount, lc.data(), dc.data(), dst, &idx),
                  lumStatusOk);
        w.trim(idx);
        w.put(lc[256].code, lc[256].len);
        at += blocks[b];
    }
    w.align();
    return w.bytes;
}

TEST(DeflateHuff, LazyRecordsInflateWithThePeers) {
    auto rng = lumtest::makeRng(303);
    std::vector<Bytes> inputs = {lumtest::textLike(rng, 100000), lumtest::repetitive(rng, 80000),
                                 lumtest::randomBytes(rng, 30000), Bytes(70000, 'x'), Bytes(1, 'q')};
    for (const auto& file : lumtest::corpusFiles()) inputs.push_back(lumtest::readFile(file, 300000));
    for (const Bytes& in : inputs) {
        const Records r = lazyRecords(in.data(), in.size());
        ASSERT_EQ(r.bytes, in.size());
        std::vector<size_t> blocks;
        for (size_t left = r.lit.size(); left > 0;) {
            const size_t n = std::min(left, size_t(1000 + rng() % 40000));
            blocks.push_back(n);
            left -= n;
        }
        const Bytes stream = compressRecords(r, blocks);
        const Inflated z = zlibInflate(stream, in.size());
        ASSERT_EQ(z.error, "") << in.size();
        EXPECT_TRUE(z.out == in);
        const Inflated ld = libdeflateInflate(stream, in.size());
        ASSERT_EQ(ld.error, "");
        EXPECT_TRUE(ld.out == in);
    }
}

class DeflateHuffVariant : public ::testing::TestWithParam<size_t> {};

TEST_P(DeflateHuffVariant, WritesThePortableBytes) {
    const auto& v = lumdc::deflate::kHuffVariants[GetParam()];
    if (!lumtest::hasFeatures(v.features)) GTEST_SKIP() << "processor lacks " << v.name;
    auto rng = lumtest::makeRng(304);
    for (size_t count : {2048, 3001, 20000}) {
        LitTable lc;
        DistTable dc;
        randomCodes(rng, lc, dc);
        const Records r = randomRecords(rng, count);
        Output ref, got;
        {
            lumtest::FeatureScope scope(0);
            ref = byLibrary(r, lc, dc, 1, 3, 2);
        }
        {
            lumtest::FeatureScope scope(v.features);
            got = byLibrary(r, lc, dc, 1, 3, 2);
        }
        EXPECT_TRUE(got == ref) << count;
    }
}

INSTANTIATE_TEST_SUITE_P(All, DeflateHuffVariant, ::testing::Range<size_t>(0, std::size(lumdc::deflate::kHuffVariants)),
                         [](const auto& info) { return std::string(lumdc::deflate::kHuffVariants[info.param].name); });

}  // namespace
