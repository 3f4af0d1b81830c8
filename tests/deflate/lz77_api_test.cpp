// Deflate LZ77 matching through the exports: exact statuses in check order with
// nothing touched on failure, records that zlib inflates, large streams equal
// across kernel variants, the window's edge, minimum lengths by level, counts
// that wrap, entering positions, and the dense alphabet of bytes in use.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <string>
#include <vector>

#include "deflate/deflate_lz77.h"
#include "lumdc.h"
#include "lz77_reference.h"
#include "lz77_samples.h"
#include "test_support.h"

namespace {

using lz77test::Bytes;
using lz77test::Layout;
using lz77test::Outcome;

// One matcher call's arguments, kept so that a failing call can be shown to
// have changed nothing.
struct Args {
    Bytes data = Bytes(1000, 'a');
    const uint8_t* src = data.data();
    uint32_t srcLen = 1000, srcIdx = 0;
    int32_t winSize = 32768, hashSize = 65536;
    std::vector<int32_t> head = std::vector<int32_t>(65536, -32768), chain = std::vector<int32_t>(32768, -32768);
    std::vector<LumDeflateHuffEntry> litFreq = std::vector<LumDeflateHuffEntry>(286),
                                     distFreq = std::vector<LumDeflateHuffEntry>(30);
    Bytes lit = Bytes(1000, 0xEE);
    std::vector<uint16_t> dist = std::vector<uint16_t>(1000, 0xEEEE);
    int32_t dstLen = 1000;

    bool untouched() const {
        const Args fresh;
        return src == data.data() && srcLen == 1000 && srcIdx == 0 && head == fresh.head && chain == fresh.chain &&
               std::all_of(litFreq.begin(), litFreq.end(), [](auto e) { return e.code == 0 && e.len == 0; }) &&
               std::all_of(distFreq.begin(), distFreq.end(), [](auto e) { return e.code == 0 && e.len == 0; }) &&
               lit == fresh.lit && dist == fresh.dist && dstLen == 1000;
    }
};

enum class Export { Level, Fast, Slow };

LumStatus call(Export e, Args& a, const uint8_t** ppSrc, uint32_t* pSrcLen, uint32_t* pSrcIdx, const uint8_t* win,
               int32_t* head, int32_t* chain, LumDeflateHuffEntry* lf, LumDeflateHuffEntry* df, uint8_t* lit,
               uint16_t* dist, int32_t* dstLen, const DeflateMatchParams* prm, int32_t level) {
    switch (e) {
        case Export::Level:
            return lumsDeflateLZ77_8u(ppSrc, pSrcLen, pSrcIdx, win, a.winSize, head, chain, a.hashSize, lf, df, lit,
                                      dist, dstLen, level, 2);
        case Export::Fast:
            return lumsDeflateLZ77Fast_8u(ppSrc, pSrcLen, pSrcIdx, win, a.winSize, head, chain, a.hashSize, lf, df, lit,
                                          dist, dstLen, prm, 2);
        case Export::Slow:
            break;
    }
    return lumsDeflateLZ77Slow_8u(ppSrc, pSrcLen, pSrcIdx, win, a.winSize, head, chain, a.hashSize, lf, df, lit, dist,
                                  dstLen, prm, 2);
}

LumStatus callWith(Export e, Args& a, int nullArg, const DeflateMatchParams& prm = {8, 8, 8, 8}, int32_t level = 1) {
    const uint8_t** pp = nullArg == 0 ? nullptr : &a.src;
    if (nullArg == 11) a.src = nullptr;  // *ppSrc
    const LumStatus s = call(e, a, pp, nullArg == 1 ? nullptr : &a.srcLen, nullArg == 2 ? nullptr : &a.srcIdx,
                             nullArg == 3 ? nullptr : a.data.data(), nullArg == 4 ? nullptr : a.head.data(),
                             nullArg == 5 ? nullptr : a.chain.data(), nullArg == 6 ? nullptr : a.litFreq.data(),
                             nullArg == 7 ? nullptr : a.distFreq.data(), nullArg == 8 ? nullptr : a.lit.data(),
                             nullArg == 9 ? nullptr : a.dist.data(), nullArg == 10 ? nullptr : &a.dstLen,
                             nullArg == 12 ? nullptr : &prm, level);
    if (nullArg == 11) a.src = a.data.data();
    return s;
}

TEST(Lz77Statuses, MatchersCheckInOrderAndTouchNothingOnFailure) {
    for (const Export e : {Export::Level, Export::Fast, Export::Slow}) {
        const int nullArgs = e == Export::Level ? 12 : 13;
        for (int k = 0; k < nullArgs; ++k) {
            Args a;
            a.winSize = 1;  // a size failure too: the null pointer is reported first
            EXPECT_EQ(callWith(e, a, k), lumStatusNullPtr) << "argument " << k;
            EXPECT_TRUE(a.untouched());
        }
        for (const auto& [win, hash] : std::vector<std::pair<int32_t, int32_t>>{
                 {255, 65536}, {32769, 65536}, {0, 256}, {256, 255}, {256, 65537}, {-256, 256}}) {
            Args a;
            a.winSize = win;
            a.hashSize = hash;
            EXPECT_EQ(callWith(e, a, -1, {-1, 0, 0, 0}, 30), lumStatusSizeErr) << win << " " << hash;
            EXPECT_TRUE(a.untouched());
        }
    }
    for (const int32_t level : {30, 31, -1, INT32_MIN}) {
        Args a;
        EXPECT_EQ(callWith(Export::Level, a, -1, {}, level), lumStatusSizeErr) << level;
        EXPECT_TRUE(a.untouched());
    }
    // Parameter ranges: greedy needs chain >= 0 and, chained, the others >= 4;
    // lazy needs chain >= 1 and the others >= 4.
    const std::vector<std::pair<DeflateMatchParams, bool>> greedy = {
        {{-1, 8, 8, 8}, false}, {{4, 3, 8, 8}, false}, {{4, 8, 3, 8}, false}, {{4, 8, 8, 3}, false},
        {{0, 0, 0, 0}, true},   {{0, -5, 1, 2}, true}, {{1, 4, 4, 4}, true}};
    const std::vector<std::pair<DeflateMatchParams, bool>> lazy = {{{0, 8, 8, 8}, false},
                                                                   {{1, 3, 8, 8}, false},
                                                                   {{1, 8, 3, 8}, false},
                                                                   {{1, 8, 8, 3}, false},
                                                                   {{1, 4, 4, 4}, true}};
    for (const auto& [prm, ok] : greedy) {
        Args a;
        EXPECT_EQ(callWith(Export::Fast, a, -1, prm), ok ? lumStatusOk : lumStatusBadArg) << prm.chain;
        if (!ok) {
            EXPECT_TRUE(a.untouched());
        }
    }
    for (const auto& [prm, ok] : lazy) {
        Args a;
        EXPECT_EQ(callWith(Export::Slow, a, -1, prm), ok ? lumStatusOk : lumStatusBadArg) << prm.chain;
        if (!ok) {
            EXPECT_TRUE(a.untouched());
        }
    }
}

TEST(Lz77Statuses, TableExportsCheckInOrder) {
    std::vector<int32_t> head(65536, -32768), chain(32768, -32768);
    uint8_t win[32768] = {};
    const Bytes src(100, 'x');
    EXPECT_EQ(lumsDeflateUpdateHash_8u(nullptr, 0, 100, head.data(), 256, chain.data(), 1, 1), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateUpdateHash_8u(src.data(), 0, 100, nullptr, 256, chain.data(), 256, 1), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateUpdateHash_8u(src.data(), 0, 100, head.data(), 256, nullptr, 256, 0), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateUpdateHash_8u(src.data(), 0, 2, head.data(), 255, chain.data(), 256, 0), lumStatusSizeErr);
    EXPECT_EQ(lumsDeflateUpdateHash_8u(src.data(), 0, 2, head.data(), 256, chain.data(), 65536, 0), lumStatusSizeErr);
    EXPECT_EQ(lumsDeflateDictionarySet_8u(src.data(), 100, head.data(), 256, chain.data(), nullptr, 256, 1),
              lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateDictionarySet_8u(nullptr, 100, head.data(), 256, chain.data(), win, 100, 1), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateDictionarySet_8u(src.data(), 100, head.data(), 65537, chain.data(), win, 256, 1),
              lumStatusSizeErr);
    EXPECT_TRUE(std::all_of(head.begin(), head.end(), [](int32_t e) { return e == -32768; }));
    // Too short to key anything: success with nothing done, not even the copy.
    EXPECT_EQ(lumsDeflateUpdateHash_8u(src.data(), 0, 2, head.data(), 256, chain.data(), 256, 0), lumStatusOk);
    EXPECT_EQ(lumsDeflateUpdateHash_8u(src.data(), 0, 3, head.data(), 256, chain.data(), 256, 1), lumStatusOk);
    EXPECT_EQ(lumsDeflateDictionarySet_8u(src.data(), 3, head.data(), 256, chain.data(), win, 256, 5), lumStatusOk);
    EXPECT_TRUE(std::all_of(head.begin(), head.end(), [](int32_t e) { return e == -32768; }));
    EXPECT_EQ(win[0], 0);
    // Under 258 bytes copied: the copy, no hashing.
    EXPECT_EQ(lumsDeflateDictionarySet_8u(src.data(), 3, head.data(), 256, chain.data(), win, 256, 0), lumStatusOk);
    EXPECT_EQ(win[2], 'x');
    EXPECT_TRUE(std::all_of(head.begin(), head.end(), [](int32_t e) { return e == -32768; }));
}

TEST(Lz77Tables, EnteringFollowsTheRules) {
    auto rng = lumtest::makeRng(11);
    for (int round = 0; round < 200; ++round) {
        const uint32_t hashSize = 256u << (rng() % 9), winSize = 256u << (rng() % 8);
        const uint32_t mode = uint32_t(rng() % 3), srcIdx = uint32_t(rng() % 3000000);
        const uint32_t len = round < 20 ? uint32_t(round) : uint32_t(rng() % 5000);
        const Bytes src = rng() % 2 ? lumtest::textLike(rng, len) : lumtest::randomBytes(rng, len);
        std::vector<int32_t> head(hashSize), chain(winSize);
        for (auto& e : head) e = int32_t(rng());
        for (auto& e : chain) e = int32_t(rng());
        auto wantHead = head, wantChain = chain;
        lz77test::referenceUpdateHash(src.data(), srcIdx, len, wantHead.data(), hashSize, wantChain.data(), winSize,
                                      mode);
        const uint8_t dummy = 0;
        ASSERT_EQ(lumsDeflateUpdateHash_8u(len ? src.data() : &dummy, srcIdx, len, head.data(), hashSize, chain.data(),
                                           winSize, mode),
                  lumStatusOk);
        ASSERT_TRUE(head == wantHead && chain == wantChain) << "round " << round << " mode " << mode;
    }
}

// The records as a fixed-Huffman block, inflated by zlib; the counts are those
// of the records; chained levels never write a 3-byte match.
TEST(Lz77Interop, RecordsInflateWithZlib) {
    auto rng = lumtest::makeRng(12);
    for (int level = 0; level < 30; ++level) {
        const size_t n = level % 10 >= 8 ? 200000 : 600000;
        const std::vector<Bytes> inputs = {lz77test::corpusPiece(rng, n), lumtest::repetitive(rng, n / 4),
                                           lumtest::randomBytes(rng, n / 8)};
        for (const Bytes& data : inputs) {
            const Outcome o = lz77test::runStream(lz77test::libraryLevel(level), data,
                                                  lumtest::randomSplit(rng, data.size(), 20), {65536}, Layout{});
            ASSERT_EQ(o.error, "") << "level " << level;
            Bytes out;
            ASSERT_TRUE(lz77test::zlibInflate(lz77test::fixedHuffmanBlock(o.lit, o.dist), {}, data.size(), out));
            ASSERT_TRUE(out == data) << "level " << level;
            std::vector<uint32_t> litFreq, distFreq;
            lz77test::countSymbols(o.lit, o.dist, litFreq, distFreq);
            for (auto& c : litFreq) c &= 0xFFFF;
            for (auto& c : distFreq) c &= 0xFFFF;
            EXPECT_TRUE(litFreq == o.litFreq && distFreq == o.distFreq) << "level " << level;
            if (level % 10 != 0) {
                for (size_t i = 0; i < o.lit.size(); ++i) {
                    ASSERT_FALSE(o.dist[i] != 0 && o.lit[i] == 0) << level;
                }
            }
        }
    }
}

TEST(Lz77Interop, DictionaryInflatesWithZlibsPresetDictionary) {
    auto rng = lumtest::makeRng(13);
    for (const int level : {0, 1, 6, 9}) {
        const Bytes text = lz77test::corpusPiece(rng, 150000);
        Layout layout;
        layout.dictionary.assign(text.begin(), text.begin() + 50000);
        layout.rollingDictionary = level == 0;
        const Bytes data(text.begin() + 50000, text.end());
        const Outcome o = lz77test::runStream(lz77test::libraryLevel(level), data, {data.size()}, {1 << 20}, layout);
        ASSERT_EQ(o.error, "");
        const Bytes window(layout.dictionary.end() - 32768, layout.dictionary.end());
        Bytes out;
        ASSERT_TRUE(lz77test::zlibInflate(lz77test::fixedHuffmanBlock(o.lit, o.dist), window, data.size(), out));
        EXPECT_TRUE(out == data) << "level " << level;
        EXPECT_TRUE(std::any_of(o.dist.begin(), o.dist.begin() + 100, [](uint16_t d) { return d > 0; }))
            << "the dictionary's matches are not used";
    }
}

// Megabytes of the corpus (or generated data) through each variant, both window
// layouts, against the portable kernels.
TEST(Lz77Variants, LargeStreamsEqualThePortableKernels) {
    auto rng = lumtest::makeRng(14);
    const std::vector<Bytes> inputs = {lz77test::corpusPiece(rng, 4u << 20), lz77test::corpusPiece(rng, 3u << 20),
                                       lumtest::repetitive(rng, 2u << 20)};
    for (const int level : {0, 1, 4, 6, 9, 19}) {
        for (size_t k = 0; k < inputs.size(); ++k) {
            Layout layout;
            layout.separateWindow = k == 1;
            const std::vector<size_t> pieces(inputs[k].size() / 131072 + 1, 131072);
            std::vector<size_t> cut = pieces;
            cut.back() = inputs[k].size() - 131072 * (pieces.size() - 1);
            const std::vector<int32_t> rooms = {32768, 65536, 7};
            Outcome want;
            {
                lumtest::FeatureScope portable(0);
                want = lz77test::runStream(lz77test::libraryLevel(level), inputs[k], cut, rooms, layout);
            }
            ASSERT_EQ(want.error, "");
            for (const auto& v : lumdc::deflate::kMatchVariants) {
                if (!lumtest::hasFeatures(v.features) || v.features == 0) continue;
                lumtest::FeatureScope scope(v.features);
                const Outcome got = lz77test::runStream(lz77test::libraryLevel(level), inputs[k], cut, rooms, layout);
                ASSERT_EQ(lz77test::compareOutcomes(got, want), "") << v.name << " level " << level << " input " << k;
            }
        }
    }
}

TEST(Lz77Window, NothingAtOrBeyondTheWindowIsUsed) {
    auto rng = lumtest::makeRng(15);
    for (const int32_t winSize : {256, 4096, 32768}) {
        for (const int level : {0, 1, 6, 9}) {
            for (const int32_t gap : {winSize, winSize - 1}) {
                Bytes data = lumtest::randomBytes(rng, size_t(gap));
                data.insert(data.end(), data.begin(), data.end());
                Layout layout;
                layout.winSize = winSize;
                const Outcome o = lz77test::runStream(lz77test::libraryLevel(level), data, {data.size()},
                                                      {int32_t(data.size())}, layout);
                ASSERT_EQ(o.error, "");
                size_t repeated = 0;
                for (size_t i = 0; i < o.lit.size(); ++i) {
                    ASSERT_LT(o.dist[i], winSize);
                    if (o.dist[i] == gap) repeated += o.lit[i] + 3u;
                }
                if (gap == winSize) {
                    EXPECT_EQ(repeated, 0u) << winSize << " level " << level;
                } else {
                    EXPECT_GT(repeated, size_t(gap) / 2) << winSize << " level " << level;
                }
            }
        }
    }
}

// 3-byte repeats: the rolling hash takes them, the chained matchers never do.
TEST(Lz77Levels, OnlyTheRollingHashWritesThreeByteMatches) {
    auto rng = lumtest::makeRng(16);
    Bytes data;
    while (data.size() < 20000) {
        const Bytes r = lumtest::randomBytes(rng, 12);
        data.insert(data.end(), r.begin(), r.end());
        const size_t at = data.size() - 4 - rng() % (std::min<size_t>(data.size(), 2000) - 4);
        data.insert(data.end(), data.begin() + ptrdiff_t(at), data.begin() + ptrdiff_t(at + 3));
    }
    for (int level = 0; level < 30; ++level) {
        const Outcome o =
            lz77test::runStream(lz77test::libraryLevel(level), data, {data.size()}, {int32_t(data.size())}, Layout{});
        ASSERT_EQ(o.error, "");
        size_t threes = 0;
        for (size_t i = 0; i < o.lit.size(); ++i) threes += o.dist[i] != 0 && o.lit[i] == 0;
        if (level % 10 == 0) {
            EXPECT_GT(threes, 100u) << level;
        } else {
            EXPECT_EQ(threes, 0u) << level;
        }
    }
}

TEST(Lz77Calls, HoldBackRoomAndFlush) {
    auto rng = lumtest::makeRng(17);
    // One long run, and runs with short periods: matches as long as the hold-back
    // allows, from the first position on.
    const uint32_t history = 300;
    for (const Bytes& data : {Bytes(1300, 'a'), lumtest::repetitive(rng, 1300)})
        for (const int level : {0, 1, 6, 9, 20, 29}) {
            for (const uint32_t len : {0u, 1u, 100u, 260u, 261u, 262u, 700u}) {
                for (const int32_t flush : {0, 1, 2, 3}) {
                    for (const int32_t room : {-3, 0, 1, 2, 5000}) {
                        std::vector<int32_t> head(65536, -32768), chain(32768, -32768);
                        std::vector<LumDeflateHuffEntry> lf(286), df(30);
                        Bytes lit(5000, 0xEE);
                        std::vector<uint16_t> dist(5000, 0xEEEE);
                        // History entered before the input, which ends at a guard page:
                        // nothing past it may be read.
                        lumtest::GuardedBuffer buf(history + len);
                        std::copy(data.begin(), data.begin() + history + len, buf.data());
                        ASSERT_EQ(lumsDeflateUpdateHash_8u(buf.data(), 0, history, head.data(), 65536, chain.data(),
                                                           32768, level % 10 == 0 ? 0 : 1),
                                  lumStatusOk);
                        const std::vector<int32_t> headBefore = head;
                        const uint8_t* const in = buf.data() + history;
                        const uint8_t* src = in;
                        uint32_t srcLen = len, idx = history;
                        int32_t dstLen = room;
                        ASSERT_EQ(
                            lumsDeflateLZ77_8u(&src, &srcLen, &idx, in, 32768, head.data(), chain.data(), 65536,
                                               lf.data(), df.data(), lit.data(), dist.data(), &dstLen, level, flush),
                            lumStatusOk);
                        const uint32_t consumed = uint32_t(src - in);
                        const int32_t written = room - dstLen;
                        const std::string at = "level " + std::to_string(level) + " len " + std::to_string(len) +
                                               " flush " + std::to_string(flush) + " room " + std::to_string(room);
                        EXPECT_EQ(idx, history + consumed) << at;
                        EXPECT_EQ(srcLen, len - consumed) << at;
                        if (room <= 0) {
                            EXPECT_EQ(written, 0) << at;
                            EXPECT_EQ(consumed, 0u) << at;
                            EXPECT_TRUE(head == headBefore) << at;
                        } else if (flush >= 2 && room == 5000) {
                            EXPECT_EQ(consumed, len) << at;
                            // The last two (rolling) or three bytes are literals.
                            const int tail = std::min<int>(int(len), level % 10 == 0 ? 2 : 3);
                            for (int k = 1; k <= tail; ++k) EXPECT_EQ(dist[size_t(written - k)], 0) << at;
                        } else if (flush < 2) {
                            EXPECT_EQ(written > 0, len >= 261) << at;
                            if (len == 261) {
                                EXPECT_EQ(written, 1) << at;
                            }
                        }
                        EXPECT_LE(written, std::max(room, 0)) << at;
                        if (room < 5000) {
                            EXPECT_EQ(lit[size_t(std::max(room, 0))], 0xEE) << at;
                        }
                    }
                }
            }
        }
}

// Positions near 2^31: renumbered before anything else, even with no room.
TEST(Lz77Calls, RenumberingSaturatesTheTables) {
    std::vector<int32_t> head(256), chain(1024);
    for (size_t i = 0; i < head.size(); ++i) head[i] = i % 3 == 0 ? INT32_MIN : 0x7FFF0000 - int32_t(i * 1000);
    for (size_t i = 0; i < chain.size(); ++i) chain[i] = i % 5 == 0 ? -32768 : 0x7FFF8000 - int32_t(i * 7);
    const Bytes data(4000, 'q');
    for (const int level : {0, 1, 6}) {
        auto h = head, c = chain;
        std::vector<LumDeflateHuffEntry> lf(286), df(30);
        Bytes lit(10);
        std::vector<uint16_t> dist(10);
        const uint8_t* src = data.data();
        uint32_t srcLen = 4000, idx = 0x7FFFF000;
        int32_t dstLen = 0;
        ASSERT_EQ(lumsDeflateLZ77_8u(&src, &srcLen, &idx, data.data(), 1024, h.data(), c.data(), 256, lf.data(),
                                     df.data(), lit.data(), dist.data(), &dstLen, level, 2),
                  lumStatusOk);
        EXPECT_EQ(idx, 1024u);
        const int64_t delta = 1024 - int64_t(0x7FFFF000);
        for (size_t i = 0; i < head.size(); ++i)
            ASSERT_EQ(h[i], std::max<int64_t>(std::max<int64_t>(head[i], -32768) + delta, -32768)) << i;
        for (size_t i = 0; i < chain.size(); ++i)
            ASSERT_EQ(c[i],
                      level == 0 ? chain[i] : std::max<int64_t>(std::max<int64_t>(chain[i], -32768) + delta, -32768))
                << i;
    }
}

TEST(Lz77Calls, CountsWrapAndCodeLengthsStay) {
    auto rng = lumtest::makeRng(18);
    const Bytes data = lz77test::corpusPiece(rng, 100000);
    for (const int level : {0, 3, 7}) {
        std::vector<LumDeflateHuffEntry> lf(286), df(30);
        for (size_t i = 0; i < lf.size(); ++i) lf[i] = {uint16_t(65535 - i % 7), uint16_t(i % 16)};
        for (size_t i = 0; i < df.size(); ++i) df[i] = {uint16_t(65534 - i % 3), uint16_t(15 - i % 16)};
        const auto before = std::make_pair(lf, df);
        std::vector<int32_t> head(65536, -32768), chain(32768, -32768);
        Bytes lit(data.size());
        std::vector<uint16_t> dist(data.size());
        const uint8_t* src = data.data();
        uint32_t srcLen = uint32_t(data.size()), idx = 0;
        int32_t dstLen = int32_t(data.size());
        ASSERT_EQ(lumsDeflateLZ77_8u(&src, &srcLen, &idx, data.data(), 32768, head.data(), chain.data(), 65536,
                                     lf.data(), df.data(), lit.data(), dist.data(), &dstLen, level, 2),
                  lumStatusOk);
        lit.resize(data.size() - size_t(dstLen));
        dist.resize(lit.size());
        std::vector<uint32_t> litCount, distCount;
        lz77test::countSymbols(lit, dist, litCount, distCount);
        for (size_t i = 0; i < lf.size(); ++i) {
            ASSERT_EQ(lf[i].code, uint16_t(before.first[i].code + litCount[i])) << i;
            ASSERT_EQ(lf[i].len, before.first[i].len);
        }
        for (size_t i = 0; i < df.size(); ++i) {
            ASSERT_EQ(df[i].code, uint16_t(before.second[i].code + distCount[i])) << i;
            ASSERT_EQ(df[i].len, before.second[i].len);
        }
    }
}

TEST(Lz77Alphabet, ReduceAndExpandAreInverse) {
    auto rng = lumtest::makeRng(19);
    for (int round = 0; round < 100; ++round) {
        std::array<uint8_t, 256> inUse{};
        const uint64_t density = 1 + rng() % 8;
        for (auto& f : inUse) f = rng() % 8 < density;
        inUse[rng() % 256] = 1;
        std::vector<uint8_t> used;
        for (int b = 0; b < 256; ++b)
            if (inUse[size_t(b)]) used.push_back(uint8_t(b));
        Bytes data(1 + rng() % 3000);
        for (auto& x : data) x = used[rng() % used.size()];
        Bytes work = data;
        uint32_t size = 0;
        ASSERT_EQ(lumsReduceDictionary_8u_I(inUse.data(), work.data(), int32_t(work.size()), &size), lumStatusOk);
        ASSERT_EQ(size, used.size());
        for (size_t i = 0; i < data.size(); ++i) ASSERT_EQ(used[work[i]], data[i]) << "rank of " << int(data[i]);
        const Bytes reduced = work;
        EXPECT_EQ(lumsExpandDictionary_8u_I(inUse.data(), work.data(), int32_t(work.size()), int32_t(size) + 1),
                  lumStatusDataErr);
        EXPECT_TRUE(work == reduced) << "a failed expansion touched the data";
        ASSERT_EQ(lumsExpandDictionary_8u_I(inUse.data(), work.data(), int32_t(work.size()), int32_t(size)),
                  lumStatusOk);
        ASSERT_TRUE(work == data);
    }
    // Flags above 1: ranks are bytes, the total is not; each rank expands to the
    // largest byte value having it.
    std::array<uint8_t, 256> twos;
    twos.fill(2);
    Bytes all(256);
    std::iota(all.begin(), all.end(), 0);
    uint32_t size = 0;
    ASSERT_EQ(lumsReduceDictionary_8u_I(twos.data(), all.data(), 256, &size), lumStatusOk);
    EXPECT_EQ(size, 512u);
    for (int b = 0; b < 256; ++b) ASSERT_EQ(all[size_t(b)], uint8_t(2 * b));
    ASSERT_EQ(lumsExpandDictionary_8u_I(twos.data(), all.data(), 256, 512), lumStatusOk);
    for (int b = 0; b < 256; ++b) ASSERT_EQ(all[size_t(b)], b % 128 + 128) << b;
}

TEST(Lz77Alphabet, Statuses) {
    std::array<uint8_t, 256> none{};
    Bytes data(10, 3);
    uint32_t size = 7;
    EXPECT_EQ(lumsReduceDictionary_8u_I(nullptr, data.data(), 10, &size), lumStatusNullPtr);
    EXPECT_EQ(lumsReduceDictionary_8u_I(none.data(), nullptr, 10, &size), lumStatusNullPtr);
    EXPECT_EQ(lumsReduceDictionary_8u_I(none.data(), data.data(), 10, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsReduceDictionary_8u_I(none.data(), data.data(), 0, &size), lumStatusSizeErr);
    EXPECT_EQ(size, 7u);
    EXPECT_EQ(lumsExpandDictionary_8u_I(nullptr, data.data(), 10, 1), lumStatusNullPtr);
    EXPECT_EQ(lumsExpandDictionary_8u_I(none.data(), nullptr, 10, 1), lumStatusNullPtr);
    EXPECT_EQ(lumsExpandDictionary_8u_I(none.data(), data.data(), 0, 1), lumStatusSizeErr);
    EXPECT_EQ(lumsExpandDictionary_8u_I(none.data(), data.data(), 10, 0), lumStatusSizeErr);  // not -2
    EXPECT_EQ(lumsExpandDictionary_8u_I(none.data(), data.data(), 10, 1), lumStatusDataErr);
    EXPECT_TRUE(data == Bytes(10, 3));
}

}  // namespace
