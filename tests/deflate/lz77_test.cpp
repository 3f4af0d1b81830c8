// Deflate LZ77 matching: every kernel variant against a matcher written straight
// from the rules (records, counts, tables and positions, at every level and on
// parameter records, over call and room splits and both window layouts); records
// that replay to the input and inflate with zlib; renumbering near 2^31; tables
// left by other streams; and the exports' statuses.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "deflate/deflate_lz77.h"
#include "lumdc.h"
#include "lz77_reference.h"
#include "lz77_samples.h"
#include "test_support.h"

namespace {

using lumdc::deflate::kMatchVariants;
using lz77test::Bytes;
using lz77test::corpusPiece;
using lz77test::Layout;
using lz77test::Outcome;
using lz77test::samples;

std::vector<size_t> whole(size_t n) { return {n}; }
std::vector<int32_t> ample(size_t n) { return {int32_t(n + 1)}; }

// A caller's room per call: mostly generous, sometimes a handful of records.
std::vector<int32_t> randomRooms(std::mt19937_64& rng, size_t count) {
    std::vector<int32_t> rooms;
    for (size_t i = 0; i < count; ++i)
        rooms.push_back(rng() % 3 == 0 ? int32_t(1 + rng() % 8) : int32_t(1 + rng() % 5000));
    return rooms;
}

std::string describe(const std::string& what, const Layout& l) {
    return what + " win " + std::to_string(l.winSize) + " hash " + std::to_string(l.hashSize) +
           (l.separateWindow ? " separate window" : "") + " seed " + std::to_string(lumtest::testSeed());
}

void expectSameAsRules(const lz77test::MatchCall& lib, const lz77test::MatchCall& ref, const Bytes& data,
                       const std::vector<size_t>& pieces, const std::vector<int32_t>& rooms, const Layout& layout,
                       const std::string& what) {
    const Outcome want = lz77test::runStream(ref, data, pieces, rooms, layout);
    ASSERT_EQ(want.error, "") << describe(what, layout);
    const Outcome got = lz77test::runStream(lib, data, pieces, rooms, layout);
    ASSERT_EQ(lz77test::compareOutcomes(got, want), "") << describe(what, layout);
    Bytes out;
    const Bytes history(layout.dictionary.end() - ptrdiff_t(std::min(layout.dictionary.size(), size_t(layout.winSize))),
                        layout.dictionary.end());
    ASSERT_EQ(lz77test::replay(got, history, out), "") << describe(what, layout);
    ASSERT_TRUE(out == data) << describe(what, layout) << ": the records do not rebuild the input";
}

class Lz77Variant : public ::testing::TestWithParam<size_t> {
protected:
    void SetUp() override {
        const auto& v = kMatchVariants[GetParam()];
        if (!lumtest::hasFeatures(v.features)) GTEST_SKIP() << "processor lacks " << v.name;
        scope_.emplace(v.features);
    }
    std::optional<lumtest::FeatureScope> scope_;
};

// Sizes around the hold-back and the longest match, in one final call.
TEST_P(Lz77Variant, EveryLevelFollowsTheRulesOnShortInputs) {
    auto rng = lumtest::makeRng(1);
    const size_t sizes[] = {0,   1,   2,   3,   4,   5,   7,   31,  64,  100, 257, 258, 259,
                            260, 261, 262, 263, 264, 300, 518, 519, 520, 521, 522, 600};
    const Layout layouts[] = {{}, {256, 256, 0, false, {}, false}, {1024, 4096, 0, true, {}, false}};
    for (int level = 0; level < 30; ++level)
        for (const size_t n : sizes)
            for (const auto& s : samples(rng, n))
                for (const auto& layout : layouts)
                    expectSameAsRules(lz77test::libraryLevel(level), lz77test::referenceLevel(level), s.bytes, whole(n),
                                      ample(n), layout,
                                      "level " + std::to_string(level) + " " + s.name + " " + std::to_string(n));
}

// Every size up to 600, each at a few levels, once whole and once in pieces.
TEST_P(Lz77Variant, EverySizeFollowsTheRules) {
    auto rng = lumtest::makeRng(2);
    for (size_t n = 0; n <= 600; ++n) {
        const auto all = samples(rng, n);
        const auto& s = all[n % all.size()];
        for (int k = 0; k < 2; ++k) {
            const int level = int(rng() % 30);
            const auto pieces = k == 0 ? whole(n) : lumtest::randomSplit(rng, n, 6);
            const auto rooms = k == 0 ? ample(n) : randomRooms(rng, 16);
            expectSameAsRules(lz77test::libraryLevel(level), lz77test::referenceLevel(level), s.bytes, pieces, rooms,
                              Layout{}, "level " + std::to_string(level) + " " + s.name + " " + std::to_string(n));
        }
    }
}

// Streams of tens of KiB cut into input pieces and output rooms, through one
// buffer and through a separate history buffer.
TEST_P(Lz77Variant, CallSplitsFollowTheRules) {
    auto rng = lumtest::makeRng(3);
    for (int level = 0; level < 30; ++level) {
        const size_t n = level % 10 >= 8 ? 24000 : 60000;
        for (const auto& s : samples(rng, n)) {
            if (s.name == "zeros" || s.name == "period5") continue;
            Layout layout;
            layout.separateWindow = rng() % 2 == 0;
            if (rng() % 3 == 0) {
                layout.winSize = 4096;
                layout.hashSize = 1024;
            }
            const auto pieces = lumtest::randomSplit(rng, n, 40);
            expectSameAsRules(lz77test::libraryLevel(level), lz77test::referenceLevel(level), s.bytes, pieces,
                              randomRooms(rng, 64), layout, "level " + std::to_string(level) + " " + s.name);
        }
    }
}

// Parameter records off the level table: tiny and huge chains, nice below the
// lazy limit, good above nice, insert limits that cut overlapping matches.
TEST_P(Lz77Variant, ParameterRecordsFollowTheRules) {
    auto rng = lumtest::makeRng(4);
    for (int round = 0; round < 150; ++round) {
        const bool lazy = round % 2 == 1;
        DeflateMatchParams prm{int32_t(rng() % 6 == 0 ? rng() % 4 : rng() % 40), int32_t(4 + rng() % 40),
                               int32_t(4 + rng() % 300), int32_t(4 + rng() % 300)};
        if (lazy && prm.chain == 0) prm.chain = 1;
        const auto all = samples(rng, 1 + rng() % 9000);
        const auto& s = all[size_t(round) % all.size()];
        Layout layout;
        layout.winSize = 256 << (rng() % 8);
        layout.hashSize = 256 << (rng() % 9);
        layout.separateWindow = rng() % 2 == 0;
        expectSameAsRules(lz77test::libraryParams(prm, lazy), lz77test::referenceParams(prm, lazy), s.bytes,
                          lumtest::randomSplit(rng, s.bytes.size(), 5), randomRooms(rng, 16), layout,
                          std::string(lazy ? "lazy" : "greedy") + " {" + std::to_string(prm.chain) + ", " +
                              std::to_string(prm.good) + ", " + std::to_string(prm.nice) + ", " +
                              std::to_string(prm.limit) + "} " + s.name);
    }
}

// A preset dictionary (both hash modes) and the matching that follows it.
TEST_P(Lz77Variant, DictionaryFollowsTheRules) {
    auto rng = lumtest::makeRng(5);
    for (const size_t dictLen : {4, 200, 257, 258, 259, 5000, 40000}) {
        for (const int level : {0, 1, 4, 6, 9, 12, 20}) {
            const Bytes text = corpusPiece(rng, dictLen + 20000);
            Layout layout;
            layout.dictionary.assign(text.begin(), text.begin() + ptrdiff_t(dictLen));
            layout.rollingDictionary = level % 10 == 0;
            layout.separateWindow = rng() % 2 == 0;
            const Bytes data(text.begin() + ptrdiff_t(dictLen), text.end());
            expectSameAsRules(lz77test::libraryLevel(level), lz77test::referenceLevel(level), data,
                              lumtest::randomSplit(rng, data.size(), 8), randomRooms(rng, 8), layout,
                              "dictionary " + std::to_string(dictLen) + " level " + std::to_string(level));
        }
    }
}

// Positions near 2^31 are renumbered. Head entries keep their distances, so the
// rolling matcher's records equal those of the same stream from position 0;
// chain slots stay where they are, so the chained matchers' walks change, as
// the rules have it, but their records still rebuild the input.
TEST_P(Lz77Variant, RenumberingFollowsTheRules) {
    auto rng = lumtest::makeRng(6);
    for (const int level : {0, 1, 6, 9}) {
        const Bytes data = corpusPiece(rng, 300000);
        Layout high;
        high.startIdx = 0x7FFFFFFFu - 330000;
        high.separateWindow = level == 6;
        const auto pieces = lumtest::randomSplit(rng, data.size(), 30);
        const auto rooms = randomRooms(rng, 32);
        expectSameAsRules(lz77test::libraryLevel(level), lz77test::referenceLevel(level), data, pieces, rooms, high,
                          "high positions, level " + std::to_string(level));
        const Outcome renumbered = lz77test::runStream(lz77test::libraryLevel(level), data, pieces, rooms, high);
        EXPECT_LT(renumbered.idx, high.startIdx) << "never renumbered";
        if (level == 0) {
            const Outcome low = lz77test::runStream(lz77test::libraryLevel(level), data, pieces, rooms, Layout{});
            EXPECT_TRUE(low.lit == renumbered.lit && low.dist == renumbered.dist);
        }
    }
}

// Tables a caller left from another stream, or filled ahead with the very
// positions about to be matched: entries at or after a position are out of
// reach, never a distance of 0 or below.
TEST_P(Lz77Variant, TablesRunningAheadAreOutOfReach) {
    auto rng = lumtest::makeRng(7);
    const Bytes data = corpusPiece(rng, 50000);
    for (const int level : {0, 1, 5, 9}) {
        for (int how = 0; how < 2; ++how) {
            std::vector<int32_t> head(65536), chain(32768);
            if (how == 0) {
                for (auto& e : head) e = int32_t(rng() % 2000000);
                for (auto& e : chain) e = int32_t(rng() % 2000000);
            } else {
                std::fill(head.begin(), head.end(), -32768);
                std::fill(chain.begin(), chain.end(), -32768);
                ASSERT_EQ(lumsDeflateUpdateHash_8u(data.data(), 0, uint32_t(data.size()), head.data(), 65536,
                                                   chain.data(), 32768, level % 10 == 0 ? 0 : 1),
                          lumStatusOk);
            }
            Outcome out[2];
            for (int k = 0; k < 2; ++k) {
                std::vector<int32_t> h = head, c = chain;
                std::vector<LumDeflateHuffEntry> lf(286), df(30);
                Bytes lit(data.size());
                std::vector<uint16_t> dist(data.size());
                const uint8_t* src = data.data();
                uint32_t len = uint32_t(data.size()), idx = 0;
                int32_t room = int32_t(data.size());
                const auto call = k == 0 ? lz77test::libraryLevel(level) : lz77test::referenceLevel(level);
                ASSERT_EQ(call(&src, &len, &idx, data.data(), 32768, h.data(), c.data(), 65536, lf.data(), df.data(),
                               lit.data(), dist.data(), &room, 2),
                          lumStatusOk);
                lit.resize(data.size() - size_t(room));
                dist.resize(lit.size());
                out[k].lit = lit;
                out[k].dist = dist;
                out[k].head = h;
                out[k].chain = c;
            }
            ASSERT_EQ(lz77test::compareOutcomes(out[0], out[1]), "") << "level " << level << " how " << how;
            Bytes rebuilt;
            ASSERT_EQ(lz77test::replay(out[0], {}, rebuilt), "");
            EXPECT_TRUE(rebuilt == data) << "level " << level;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Lz77Variant, ::testing::Range<size_t>(0, std::size(kMatchVariants)),
                         [](const auto& info) { return std::string(kMatchVariants[info.param].name); });

}  // namespace
