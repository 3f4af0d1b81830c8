// The fastest Deflate family: streams that zlib and libdeflate inflate to the
// input; the same bits for any cut of input and output, history in the input's
// buffer or apart, and across renumbering; statuses; matches whose symbols lack
// a code; the counter's symbols equal to those of the matcher's stream; every
// variant against the portable one.

#include <gtest/gtest.h>

#include <optional>
#include <random>

#include "deflate/deflate_fastest.h"
#include "huff_support.h"
#include "test_support.h"

namespace {

using namespace lumtest::deflate;

struct Codes {
    LitTable lit;
    DistTable dist;
};

const uint8_t kNoData = 0;  // a source for empty input

// Codes from the counter over the whole input, every literal kept.
Codes statCodes(const Bytes& data) {
    LitTable lf{};
    DistTable df{};
    EXPECT_EQ(lumsDeflateLZ77FastestGetStat_8u(data.empty() ? &kNoData : data.data(), int32_t(data.size()), lf.data(),
                                               df.data()),
              lumStatusOk);
    for (int s = 0; s < 256; ++s) lf[s].code = std::max<uint16_t>(lf[s].code, 1);
    Codes c;
    EXPECT_EQ(lumsDeflateLZ77FastestGenHuffTable_8u(lf.data(), df.data(), c.lit.data(), c.dist.data()), lumStatusOk);
    return c;
}

Codes builtInCodes() {
    LumDeflatePrecompHeader h;
    EXPECT_EQ(lumsDeflateLZ77FastestPrecompHeader_8u(nullptr, nullptr, &h), lumStatusOk);
    Codes c;
    std::copy(h.litCodes, h.litCodes + 286, c.lit.begin());
    std::copy(h.distCodes, h.distCodes + 30, c.dist.begin());
    return c;
}

struct Plan {
    int32_t winSize = 32768;
    int32_t hashSize = 32768;
    uint32_t startIdx = 0;
    std::vector<size_t> inputPieces;  // empty: all at once
    std::vector<size_t> roomPieces;   // cycled; empty: plenty
    bool apart = false;               // history in a buffer of its own, input in guarded copies
};

// One final block: a header for the codes, then the matcher's calls.
Bytes fastest(const Bytes& data, const Codes& c, const Plan& p) {
    StreamWriter w;
    uint32_t at;
    uint8_t* dst = w.reserve(304, at);
    EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(c.lit.data(), c.dist.data(), 1, &w.bitBuf, &w.bitCount, dst, &at),
              lumStatusOk);
    w.trim(at);
    // Apart: each call's input flush against a guard page, the history against
    // another, so that a read past either faults.
    std::optional<lumtest::GuardedBuffer> input, history;
    if (p.apart) {
        input.emplace(std::max<size_t>(data.size(), 1));
        history.emplace(size_t(p.winSize));
    }
    std::vector<int32_t> head(size_t(p.hashSize), -32768);
    uint32_t idx = p.startIdx;
    size_t done = 0, avail = 0, piece = 0, room = 0;
    bool final = false;
    while (!final) {
        const size_t step =
            p.inputPieces.empty() ? data.size() : p.inputPieces[std::min(piece++, p.inputPieces.size() - 1)];
        avail = std::min(data.size(), avail + step);
        final = avail == data.size();
        for (;;) {
            const size_t give =
                p.roomPieces.empty() ? 2 * (avail - done) + 64 : p.roomPieces[room++ % p.roomPieces.size()];
            dst = w.reserve(give, at);
            int32_t made = int32_t(give);
            uint32_t len = uint32_t(avail - done);
            const uint8_t* src;
            const uint8_t* window;
            if (p.apart) {
                uint8_t* const in = input->data() + input->size() - len;
                std::copy(data.begin() + ptrdiff_t(done), data.begin() + ptrdiff_t(avail), in);
                const size_t h = std::min(done, size_t(p.winSize));
                std::copy(data.begin() + ptrdiff_t(done - h), data.begin() + ptrdiff_t(done),
                          history->data() + history->size() - h);
                src = in;
                window = history->data() + history->size();
            } else {
                src = data.empty() ? &kNoData : data.data() + done;
                window = src;
            }
            const uint8_t* const before = src;
            const LumStatus st =
                lumsDeflateLZ77Fastest_8u(&src, &len, &idx, window, p.winSize, head.data(), p.hashSize, c.lit.data(),
                                          c.dist.data(), dst + at, &made, &w.bitBuf, &w.bitCount, final ? 2 : 0);
            EXPECT_TRUE(st == lumStatusOk || st == lumStatusDstFull) << st;
            EXPECT_LT(w.bitCount, 8u);
            EXPECT_EQ(size_t(len), avail - done - size_t(src - before));
            done += size_t(src - before);
            w.trim(at + uint32_t(made));
            if (st != lumStatusDstFull) break;
            if (give >= 64) {
                EXPECT_GT(made + (src - before), 0) << "no progress with room " << give;
            }
        }
    }
    EXPECT_EQ(done, data.size());
    w.align();
    return w.bytes;
}

Bytes makeData(std::mt19937_64& rng, int kind, size_t n) {
    switch (kind) {
        case 0:
            return lumtest::textLike(rng, n);
        case 1:
            return lumtest::repetitive(rng, n);
        case 2:
            return lumtest::randomBytes(rng, n);
        default: {
            Bytes b(n);  // long runs and 16-bit samples, as images have them
            for (size_t i = 0; i < n; ++i) b[i] = uint8_t(i % 2 ? (i / 700) % 3 : (i / 64) & 0xFF);
            return b;
        }
    }
}

void expectInflates(const Bytes& stream, const Bytes& data, const std::string& what) {
    const Inflated z = zlibInflate(stream, data.size());
    ASSERT_EQ(z.error, "") << what;
    EXPECT_TRUE(z.out == data) << what;
    const Inflated ld = libdeflateInflate(stream, data.size());
    ASSERT_EQ(ld.error, "") << what;
    EXPECT_TRUE(ld.out == data) << what;
}

TEST(DeflateFastest, StreamsInflateWithThePeers) {
    auto rng = lumtest::makeRng(501);
    const Codes builtIn = builtInCodes();
    for (size_t n : {0, 1, 3, 4, 5, 17, 260, 261, 262, 263, 523, 4096, 65536, 200001})
        for (int kind = 0; kind < 4; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            const std::string what = std::to_string(n) + " bytes, kind " + std::to_string(kind);
            expectInflates(fastest(data, statCodes(data), {}), data, what);
            Plan small;
            small.winSize = 256;
            small.hashSize = 256;
            expectInflates(fastest(data, builtIn, small), data, what + ", small tables");
        }
    for (const auto& file : lumtest::corpusFiles()) {
        const Bytes data = lumtest::readFile(file, 400000);
        expectInflates(fastest(data, statCodes(data), {}), data, file);
    }
}

TEST(DeflateFastest, AnyCutOfInputAndOutputGivesTheSameBits) {
    auto rng = lumtest::makeRng(502);
    for (int trial = 0; trial < 24; ++trial) {
        const size_t n = trial % 3 == 0 ? 1 + rng() % 600 : 1000 + rng() % 120000;
        const Bytes data = makeData(rng, trial % 4, n);
        const Codes c = statCodes(data);
        Plan whole;
        whole.winSize = trial % 2 ? 32768 : 1024;
        whole.hashSize = trial % 5 == 0 ? 256 : 4096;
        const Bytes want = fastest(data, c, whole);
        Plan cut = whole;
        cut.inputPieces = lumtest::randomSplit(rng, n, 30);
        cut.roomPieces = {size_t(16 + rng() % 40), 3, size_t(1 + rng() % 5000), 15, 16};
        cut.apart = trial % 2 == 0;
        EXPECT_TRUE(fastest(data, c, cut) == want) << "trial " << trial;
        Plan apart = whole;
        apart.apart = true;
        EXPECT_TRUE(fastest(data, c, apart) == want) << "trial " << trial;
    }
}

TEST(DeflateFastest, ByteAtATimeWithSixteenBytesOfRoom) {
    auto rng = lumtest::makeRng(503);
    const Bytes data = lumtest::textLike(rng, 30000);
    const Codes c = statCodes(data);
    const Bytes want = fastest(data, c, {});
    Plan p;
    p.inputPieces = {1};
    p.roomPieces = {16};
    EXPECT_TRUE(fastest(data, c, p) == want);
    p.apart = true;
    p.roomPieces = {1, 16, 17};
    EXPECT_TRUE(fastest(data, c, p) == want);
}

// Positions near 2^31 are renumbered as the call starts; the bits do not change,
// wherever the cut puts the renumbering.
TEST(DeflateFastest, RenumberingKeepsTheBits) {
    auto rng = lumtest::makeRng(504);
    const Bytes data = lumtest::textLike(rng, 150000);
    const Codes c = statCodes(data);
    const Bytes want = fastest(data, c, {});
    Plan p;
    p.startIdx = 0x7FFE0000u;
    EXPECT_TRUE(fastest(data, c, p) == want);
    p.inputPieces = lumtest::randomSplit(rng, data.size(), 12);
    EXPECT_TRUE(fastest(data, c, p) == want);
}

// A code table without some length and distance codes: matches are shortened to
// a length with a code or left as literals, and the stream uses no missing code.
TEST(DeflateFastest, MatchesWithoutCodesAreShortenedOrLeft) {
    auto rng = lumtest::makeRng(505);
    const Bytes data = lumtest::repetitive(rng, 60000);
    LitTable lf{};
    DistTable df{};
    for (int s = 0; s < 286; ++s) lf[s].code = 5;
    for (int s = 260; s < 286; s += 2) lf[s].code = 0;  // lengths 6, 8, 11-12, ... have no code
    lf[258].code = 0;                                   // nor length 4
    for (int s = 0; s < 30; ++s) df[s].code = s % 3 == 0 ? 0 : 5;
    Codes c;
    ASSERT_EQ(lumsDeflateLZ77FastestGenHuffTable_8u(lf.data(), df.data(), c.lit.data(), c.dist.data()), lumStatusOk);
    const Bytes stream = fastest(data, c, {});
    expectInflates(stream, data, "missing codes");
    SymbolReader reader(stream);
    SymbolReader::Block b;
    ASSERT_TRUE(reader.block(b)) << reader.error;
    for (int s = 0; s < 286; ++s)
        if (c.lit[s].len == 0) {
            EXPECT_EQ(b.litCount[s], 0u) << s;
        }
    for (int s = 0; s < 30; ++s)
        if (c.dist[s].len == 0) {
            EXPECT_EQ(b.distCount[s], 0u) << s;
        }
    EXPECT_GT(b.litCount[259], 0u);  // some matches did get through
}

struct Call {
    Bytes data = Bytes(1000, 'a');
    const uint8_t* src = data.data();
    uint32_t len = 1000, idx = 0;
    std::vector<int32_t> head = std::vector<int32_t>(1024, -32768);
    Codes c = builtInCodes();
    Bytes dst = Bytes(4096, 0);
    int32_t room = 4096;
    uint16_t bitBuf = 0x5;
    uint32_t bitCount = 3;
    int32_t win = 32768, hash = 1024, flush = 2;

    LumStatus run() {
        return lumsDeflateLZ77Fastest_8u(&src, &len, &idx, src, win, head.data(), hash, c.lit.data(), c.dist.data(),
                                         dst.data(), &room, &bitBuf, &bitCount, flush);
    }
    bool untouched() const {
        return src == data.data() && len == 1000 && idx == 0 && room == 4096 && bitCount == 3 && bitBuf == 5 &&
               std::all_of(head.begin(), head.end(), [](int32_t e) { return e == -32768; }) &&
               std::all_of(dst.begin(), dst.end(), [](uint8_t b) { return b == 0; });
    }
};

TEST(DeflateFastest, StatusesInCheckOrder) {
    const uint8_t* nul = nullptr;
    {
        Call k;
        const uint8_t* s = k.src;
        auto f = [&](const uint8_t** pp, uint32_t* pl, uint32_t* pi, const uint8_t* w, int32_t* h,
                     const LumDeflateHuffEntry* lc, const LumDeflateHuffEntry* dc, uint8_t* d, int32_t* r, uint16_t* bb,
                     uint32_t* bc) {
            return lumsDeflateLZ77Fastest_8u(pp, pl, pi, w, 100, h, 100, lc, dc, d, r, bb, bc, 2);
        };
        // Null pointers come first, before the sizes (100 is out of range for both).
        EXPECT_EQ(f(nullptr, &k.len, &k.idx, s, k.head.data(), k.c.lit.data(), k.c.dist.data(), k.dst.data(), &k.room,
                    &k.bitBuf, &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&s, nullptr, &k.idx, s, k.head.data(), k.c.lit.data(), k.c.dist.data(), k.dst.data(), &k.room,
                    &k.bitBuf, &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&s, &k.len, nullptr, s, k.head.data(), k.c.lit.data(), k.c.dist.data(), k.dst.data(), &k.room,
                    &k.bitBuf, &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&s, &k.len, &k.idx, nullptr, k.head.data(), k.c.lit.data(), k.c.dist.data(), k.dst.data(), &k.room,
                    &k.bitBuf, &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&s, &k.len, &k.idx, s, nullptr, k.c.lit.data(), k.c.dist.data(), k.dst.data(), &k.room, &k.bitBuf,
                    &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&s, &k.len, &k.idx, s, k.head.data(), nullptr, k.c.dist.data(), k.dst.data(), &k.room, &k.bitBuf,
                    &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&s, &k.len, &k.idx, s, k.head.data(), k.c.lit.data(), nullptr, k.dst.data(), &k.room, &k.bitBuf,
                    &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&s, &k.len, &k.idx, s, k.head.data(), k.c.lit.data(), k.c.dist.data(), nullptr, &k.room, &k.bitBuf,
                    &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&s, &k.len, &k.idx, s, k.head.data(), k.c.lit.data(), k.c.dist.data(), k.dst.data(), nullptr,
                    &k.bitBuf, &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&s, &k.len, &k.idx, s, k.head.data(), k.c.lit.data(), k.c.dist.data(), k.dst.data(), &k.room,
                    nullptr, &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&s, &k.len, &k.idx, s, k.head.data(), k.c.lit.data(), k.c.dist.data(), k.dst.data(), &k.room,
                    &k.bitBuf, nullptr),
                  lumStatusNullPtr);
        EXPECT_EQ(f(&nul, &k.len, &k.idx, s, k.head.data(), k.c.lit.data(), k.c.dist.data(), k.dst.data(), &k.room,
                    &k.bitBuf, &k.bitCount),
                  lumStatusNullPtr);
        EXPECT_TRUE(k.untouched());
    }
    for (auto [win, hash] : {std::pair{255, 1024}, {32769, 1024}, {32768, 255}, {32768, 65537}}) {
        Call k;
        k.win = win;
        k.hash = hash;
        EXPECT_EQ(k.run(), lumStatusSizeErr) << win << " " << hash;
        EXPECT_TRUE(k.untouched());
    }
    // A literal or the end-of-block symbol without a code: -5 before anything is
    // done, even with nothing to code.
    for (int s : {0, 97, 255, 256}) {
        Call k;
        k.c.lit[size_t(s)] = {0, 0};
        EXPECT_EQ(k.run(), lumStatusBadArg) << s;
        EXPECT_TRUE(k.untouched());
        k.len = 0;
        k.flush = 0;
        EXPECT_EQ(k.run(), lumStatusBadArg) << s;
    }
    // A length or distance code missing is no error.
    {
        Call k;
        k.c.lit[260] = {0, 0};
        k.c.dist[0] = {0, 0};
        EXPECT_EQ(k.run(), lumStatusOk);
    }
}

TEST(DeflateFastest, RoomAndHoldBack) {
    // Less than 16 bytes of room with input to code: 33, nothing taken or written.
    for (int32_t room : {0, 1, 15}) {
        Call k;
        k.room = room;
        EXPECT_EQ(k.run(), lumStatusDstFull) << room;
        EXPECT_EQ(k.room, 0);
        EXPECT_EQ(k.len, 1000u);
        EXPECT_EQ(k.bitCount, 3u);
    }
    // A non-final call holds back the last 261 bytes; with no more than that it
    // does nothing, room or none.
    {
        Call k;
        k.flush = 1;
        k.len = 261;
        k.room = 0;
        EXPECT_EQ(k.run(), lumStatusOk);
        EXPECT_EQ(k.len, 261u);
        EXPECT_EQ(k.room, 0);
        k.len = 1000;
        k.room = 4096;
        EXPECT_EQ(k.run(), lumStatusOk);
        EXPECT_GE(k.len, 3u);
        EXPECT_LE(k.len, 261u);
        EXPECT_EQ(k.idx, 1000u - k.len);
    }
    // All input coded but the end-of-block code does not fit: 33 with the source
    // used up; the next final call, with no input, writes only that code.
    {
        Call k;
        k.data = Bytes(40, 'z');
        k.src = k.data.data();
        k.len = 40;
        k.room = 16;
        LumStatus st = k.run();
        Bytes stream(k.dst.begin(), k.dst.begin() + k.room);
        while (st == lumStatusDstFull) {
            k.room = 16;
            st = k.run();
            stream.insert(stream.end(), k.dst.begin(), k.dst.begin() + k.room);
        }
        EXPECT_EQ(st, lumStatusOk);
        EXPECT_EQ(k.len, 0u);
        const uint32_t bits = k.bitCount;
        const size_t bytes = stream.size();
        k.room = 100;
        EXPECT_EQ(k.run(), lumStatusOk);  // a second end-of-block code
        EXPECT_EQ(size_t(k.room) * 8 + k.bitCount, bits + k.c.lit[256].len);
        (void)bytes;
    }
}

// The counter's symbols are those of the matcher's own stream with the counter's
// tables (8192 head entries, a 32 KiB window), no history, every symbol coded.
TEST(DeflateFastest, CounterSeesTheMatchersSymbols) {
    auto rng = lumtest::makeRng(506);
    const Codes builtIn = builtInCodes();
    for (int kind = 0; kind < 4; ++kind)
        for (size_t n : {0, 3, 5, 300, 20000, 100000}) {
            const Bytes data = makeData(rng, kind, n);
            Plan p;
            p.hashSize = int32_t(lumdc::deflate::kStatHashSize);
            p.winSize = int32_t(lumdc::deflate::kStatWindow);
            const Bytes stream = fastest(data, builtIn, p);
            SymbolReader reader(stream);
            SymbolReader::Block b;
            ASSERT_TRUE(reader.block(b)) << reader.error;
            LitTable lf{};
            DistTable df{};
            for (int s = 0; s < 286; ++s) lf[s].code = uint16_t(s);  // added to
            ASSERT_EQ(
                lumsDeflateLZ77FastestGetStat_8u(n == 0 ? &kNoData : data.data(), int32_t(n), lf.data(), df.data()),
                lumStatusOk);
            for (int s = 0; s < 286; ++s)
                EXPECT_EQ(lf[s].code, std::min<uint32_t>(s + (s == 256 ? 0 : b.litCount[s]), 65535))
                    << "kind " << kind << " n " << n << " symbol " << s;
            for (int s = 0; s < 30; ++s) EXPECT_EQ(df[s].code, b.distCount[s]) << "kind " << kind << " n " << n;
        }
    // Counts saturate.
    const Bytes zeros(300000, 0);
    LitTable lf{};
    DistTable df{};
    lf[0].code = 65535;
    lf[285].code = 64999;
    df[0].code = 65000;
    ASSERT_EQ(lumsDeflateLZ77FastestGetStat_8u(zeros.data(), int32_t(zeros.size()), lf.data(), df.data()), lumStatusOk);
    EXPECT_EQ(lf[0].code, 65535u);
    EXPECT_EQ(lf[285].code, 65535u);  // some 1160 matches of 258
    EXPECT_EQ(df[0].code, 65535u);
    const Bytes noise = lumtest::randomBytes(rng, 200000);
    ASSERT_EQ(lumsDeflateLZ77FastestGetStat_8u(noise.data(), int32_t(noise.size()), lf.data(), df.data()), lumStatusOk);
    uint32_t sum = 0;
    for (int s = 0; s < 256; ++s) sum += lf[s].code;
    EXPECT_GT(sum, 190000u);
    EXPECT_EQ(lumsDeflateLZ77FastestGetStat_8u(nullptr, 1, lf.data(), df.data()), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGetStat_8u(noise.data(), 1, nullptr, df.data()), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGetStat_8u(noise.data(), 1, lf.data(), nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGetStat_8u(noise.data(), -1, lf.data(), df.data()), lumStatusSizeErr);
    const LitTable before = lf;
    EXPECT_EQ(lumsDeflateLZ77FastestGetStat_8u(noise.data(), 0, lf.data(), df.data()), lumStatusOk);
    for (int s = 0; s < 286; ++s) EXPECT_EQ(lf[s].code, before[s].code);
}

class DeflateFastestVariant : public ::testing::TestWithParam<size_t> {};

TEST_P(DeflateFastestVariant, WritesThePortableBits) {
    const auto& v = lumdc::deflate::kFastestVariants[GetParam()];
    if (!lumtest::hasFeatures(v.features)) GTEST_SKIP() << "processor lacks " << v.name;
    auto rng = lumtest::makeRng(507);
    for (int trial = 0; trial < 12; ++trial) {
        const Bytes data = makeData(rng, trial % 4, 1 + rng() % 150000);
        const Codes c = statCodes(data);
        Plan p;
        p.apart = trial % 3 == 0;
        p.winSize = trial % 2 ? 32768 : 4096;
        p.inputPieces = lumtest::randomSplit(rng, data.size(), 6);
        p.roomPieces = {size_t(16 + rng() % 3000)};
        Bytes ref, got;
        LitTable refCount{}, gotCount{};
        DistTable refDist{}, gotDist{};
        {
            lumtest::FeatureScope scope(0);
            ref = fastest(data, c, p);
            lumsDeflateLZ77FastestGetStat_8u(data.data(), int32_t(data.size()), refCount.data(), refDist.data());
        }
        {
            lumtest::FeatureScope scope(v.features);
            got = fastest(data, c, p);
            lumsDeflateLZ77FastestGetStat_8u(data.data(), int32_t(data.size()), gotCount.data(), gotDist.data());
        }
        EXPECT_TRUE(got == ref) << "trial " << trial;
        for (int s = 0; s < 286; ++s) EXPECT_EQ(gotCount[s].code, refCount[s].code) << "trial " << trial;
        for (int s = 0; s < 30; ++s) EXPECT_EQ(gotDist[s].code, refDist[s].code) << "trial " << trial;
    }
}

INSTANTIATE_TEST_SUITE_P(All, DeflateFastestVariant,
                         ::testing::Range<size_t>(0, std::size(lumdc::deflate::kFastestVariants)),
                         [](const auto& info) {
                             return std::string(lumdc::deflate::kFastestVariants[info.param].name);
                         });

}  // namespace
