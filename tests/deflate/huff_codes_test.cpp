// Deflate code building: codes that are canonical, complete prefix codes within
// 15 bits (the one-code cases as documented), as short in total as an optimal
// code allows (against Huffman's construction and, under the limit, a package-
// merge written here); block headers read back by a reader of our own to the
// same lengths and accepted by zlib and libdeflate; precomputed headers.

#include <gtest/gtest.h>

#include <numeric>
#include <queue>
#include <random>

#include "huff_support.h"
#include "test_support.h"

namespace {

using namespace lumtest::deflate;

// What a code table must be: lengths <= 15, codes canonical and bit-reversed as
// RFC 1951 assigns them from the lengths. Returns the Kraft sum in 2^-15 units.
int64_t checkCanonical(const LumDeflateHuffEntry* t, int n, const std::string& what) {
    int count[16] = {};
    for (int s = 0; s < n; ++s) {
        EXPECT_LE(t[s].len, 15) << what << " symbol " << s;
        if (t[s].len <= 15) ++count[t[s].len];
    }
    count[0] = 0;
    int next[16] = {};
    for (int b = 1, code = 0; b < 16; ++b) next[b] = code = (code + count[b - 1]) << 1;
    int64_t kraft = 0;
    for (int s = 0; s < n; ++s) {
        if (t[s].len == 0) {
            EXPECT_EQ(t[s].code, 0) << what << " symbol " << s;
            continue;
        }
        const int c = next[t[s].len]++;
        int reversed = 0;
        for (int b = 0; b < t[s].len; ++b) reversed |= (c >> b & 1) << (t[s].len - 1 - b);
        EXPECT_EQ(t[s].code, reversed) << what << " symbol " << s;
        kraft += int64_t(1) << (15 - t[s].len);
    }
    return kraft;
}

uint64_t cost(const std::vector<uint32_t>& freq, const LumDeflateHuffEntry* t) {
    uint64_t bits = 0;
    for (size_t s = 0; s < freq.size(); ++s) bits += uint64_t(freq[s]) * t[s].len;
    return bits;
}

// Total bits of an optimal unlimited code (Huffman's merging of the two least).
uint64_t huffmanCost(const std::vector<uint32_t>& freq) {
    std::priority_queue<uint64_t, std::vector<uint64_t>, std::greater<>> q;
    for (uint32_t f : freq)
        if (f != 0) q.push(f);
    if (q.size() == 1) return q.top();
    uint64_t total = 0;
    while (q.size() > 1) {
        const uint64_t a = q.top();
        q.pop();
        const uint64_t b = q.top();
        q.pop();
        total += a + b;
        q.push(a + b);
    }
    return total;
}

// Total bits of an optimal code limited to maxBits: package-merge as the coin
// collector's problem, each item carrying the symbols it counts.
uint64_t limitedCost(const std::vector<uint32_t>& freq, int maxBits) {
    struct Item {
        uint64_t weight;
        std::vector<int> symbols;
    };
    std::vector<Item> leaves;
    for (size_t s = 0; s < freq.size(); ++s)
        if (freq[s] != 0) leaves.push_back({freq[s], {int(s)}});
    std::sort(leaves.begin(), leaves.end(), [](const Item& a, const Item& b) { return a.weight < b.weight; });
    if (leaves.size() == 1) return leaves[0].weight;
    std::vector<Item> list = leaves;
    for (int level = 1; level < maxBits; ++level) {
        std::vector<Item> merged;
        for (size_t i = 0; i + 1 < list.size(); i += 2) {
            Item p{list[i].weight + list[i + 1].weight, list[i].symbols};
            p.symbols.insert(p.symbols.end(), list[i + 1].symbols.begin(), list[i + 1].symbols.end());
            merged.push_back(std::move(p));
        }
        merged.insert(merged.end(), leaves.begin(), leaves.end());
        std::stable_sort(merged.begin(), merged.end(),
                         [](const Item& a, const Item& b) { return a.weight < b.weight; });
        list = std::move(merged);
    }
    uint64_t total = 0;
    for (size_t i = 0; i < 2 * leaves.size() - 2; ++i)
        for (int s : list[i].symbols) total += freq[size_t(s)];
    return total;
}

struct Codes {
    LitTable lit;
    DistTable dist;
};
Codes build(const std::vector<uint32_t>& litFreq, const std::vector<uint32_t>& distFreq) {
    LitTable lf{};
    DistTable df{};
    for (size_t s = 0; s < litFreq.size(); ++s) lf[s].code = uint16_t(litFreq[s]);
    for (size_t s = 0; s < distFreq.size(); ++s) df[s].code = uint16_t(distFreq[s]);
    Codes c;
    EXPECT_EQ(lumsDeflateLZ77FastestGenHuffTable_8u(lf.data(), df.data(), c.lit.data(), c.dist.data()), lumStatusOk);
    return c;
}

TEST(DeflateCodes, CompleteCanonicalAndOptimal) {
    auto rng = lumtest::makeRng(401);
    for (int trial = 0; trial < 300; ++trial) {
        std::vector<uint32_t> lit(286, 0), dist(30, 0);
        const int kind = trial % 5;
        const int used = 1 + int(rng() % 286);
        for (int k = 0; k < used; ++k) {
            const size_t s = rng() % 286;
            lit[s] = kind == 0   ? uint32_t(1 + rng() % 3)
                     : kind == 1 ? uint32_t(1 + rng() % 65535)
                     : kind == 2 ? uint32_t(1) << (rng() % 16)
                                 : uint32_t(1 + (rng() % 1000) * (rng() % 60));
        }
        for (int k = int(rng() % 31); k > 0; --k) dist[rng() % 30] = uint32_t(1 + rng() % 5000);
        const Codes c = build(lit, dist);
        const std::string what = "trial " + std::to_string(trial);
        EXPECT_EQ(checkCanonical(c.lit.data(), 286, what), 1 << 15) << what;
        EXPECT_EQ(checkCanonical(c.dist.data(), 30, what), 1 << 15) << what;
        EXPECT_NE(c.lit[256].len, 0) << what;
        std::vector<uint32_t> withEob = lit;
        withEob[256] = std::max<uint32_t>(withEob[256], 1);
        for (int s = 0; s < 286; ++s)
            if (withEob[size_t(s)] != 0) {
                EXPECT_NE(c.lit[size_t(s)].len, 0) << what << " symbol " << s;
            }
        // As short as the best code under the limit: Huffman's when it fits in 15
        // bits, package-merge's otherwise.
        if (std::count_if(withEob.begin(), withEob.end(), [](uint32_t f) { return f != 0; }) >= 2) {
            const uint64_t optimal = limitedCost(withEob, 15);
            EXPECT_EQ(cost(withEob, c.lit.data()), optimal) << what;
            EXPECT_GE(optimal, huffmanCost(withEob));
        }
        if (std::count_if(dist.begin(), dist.end(), [](uint32_t f) { return f != 0; }) >= 2) {
            EXPECT_EQ(cost(dist, c.dist.data()), huffmanCost(dist)) << what;
        }
    }
}

TEST(DeflateCodes, ExtremeCounts) {
    // All equal: 226 codes of 8 bits and 60 of 9 fill the code.
    {
        const Codes c = build(std::vector<uint32_t>(286, 7), std::vector<uint32_t>(30, 7));
        int count[16] = {};
        for (const auto& e : c.lit) ++count[e.len];
        EXPECT_EQ(count[8], 226);
        EXPECT_EQ(count[9], 60);
        EXPECT_EQ(checkCanonical(c.dist.data(), 30, "equal"), 1 << 15);
    }
    // Fibonacci counts over many symbols want codes of 30 bits: the limit holds,
    // the code stays complete and optimal under it.
    {
        std::vector<uint32_t> lit(286, 0), dist(30, 0);
        uint32_t a = 1, b = 1;
        for (int s = 0; s < 24; ++s, std::swap(a, b), b += a) lit[size_t(s)] = a;
        for (int s = 0; s < 30; ++s) dist[size_t(s)] = s < 2 ? 1 : dist[size_t(s) - 1] + dist[size_t(s) - 2];
        for (auto& f : dist) f = std::min<uint32_t>(f, 65535);
        const Codes c = build(lit, dist);
        EXPECT_EQ(checkCanonical(c.lit.data(), 286, "fibonacci"), 1 << 15);
        EXPECT_EQ(checkCanonical(c.dist.data(), 30, "fibonacci"), 1 << 15);
        int longest = 0;
        for (const auto& e : c.dist) longest = std::max<int>(longest, e.len);
        EXPECT_EQ(longest, 15);
        std::vector<uint32_t> withEob = lit;
        withEob[256] = 1;
        EXPECT_EQ(cost(withEob, c.lit.data()), limitedCost(withEob, 15));
        EXPECT_EQ(cost(dist, c.dist.data()), limitedCost(dist, 15));
    }
    // One literal and nothing else: it and the end-of-block code, one bit each; no
    // distance: two codes of one bit; one distance: it and a second one.
    {
        std::vector<uint32_t> lit(286, 0), dist(30, 0);
        lit['A'] = 500;
        const Codes c = build(lit, dist);
        EXPECT_EQ(c.lit['A'].len, 1);
        EXPECT_EQ(c.lit[256].len, 1);
        EXPECT_EQ(checkCanonical(c.dist.data(), 30, "no distance"), 1 << 15);
        EXPECT_EQ(c.dist[0].len + c.dist[1].len, 2);
        dist[17] = 3;
        const Codes d = build(lit, dist);
        EXPECT_EQ(d.dist[17].len, 1);
        EXPECT_EQ(checkCanonical(d.dist.data(), 30, "one distance"), 1 << 15);
        const Codes e = build(std::vector<uint32_t>(286, 0), std::vector<uint32_t>(30, 0));
        EXPECT_EQ(checkCanonical(e.lit.data(), 286, "empty"), 1 << 15);
        EXPECT_EQ(e.lit[256].len, 1);
    }
}

TEST(DeflateCodes, TablesMayBeTheCountsAndNullsFail) {
    std::vector<uint32_t> lit(286, 0), dist(30, 0);
    auto rng = lumtest::makeRng(402);
    for (auto& f : lit) f = uint32_t(rng() % 100);
    for (auto& f : dist) f = uint32_t(rng() % 100);
    const Codes c = build(lit, dist);
    LitTable t{};
    DistTable d{};
    for (int s = 0; s < 286; ++s) t[s].code = uint16_t(lit[size_t(s)]);
    for (int s = 0; s < 30; ++s) d[s].code = uint16_t(dist[size_t(s)]);
    ASSERT_EQ(lumsDeflateLZ77FastestGenHuffTable_8u(t.data(), d.data(), t.data(), d.data()), lumStatusOk);
    for (int s = 0; s < 286; ++s) EXPECT_TRUE(t[s].code == c.lit[s].code && t[s].len == c.lit[s].len) << s;
    for (int s = 0; s < 30; ++s) EXPECT_TRUE(d[s].code == c.dist[s].code && d[s].len == c.dist[s].len) << s;
    EXPECT_EQ(lumsDeflateLZ77FastestGenHuffTable_8u(nullptr, d.data(), t.data(), d.data()), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGenHuffTable_8u(t.data(), nullptr, t.data(), d.data()), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGenHuffTable_8u(t.data(), d.data(), nullptr, d.data()), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGenHuffTable_8u(t.data(), d.data(), t.data(), nullptr), lumStatusNullPtr);
}

// A header for the codes (after `pending` bits), then the end-of-block code.
Bytes headerBlock(const LitTable& lc, const DistTable& dc, uint32_t pending, size_t* headerBytes = nullptr) {
    StreamWriter w;
    w.put(0, pending);
    uint32_t idx;
    uint8_t* dst = w.reserve(304, idx);
    const uint32_t before = idx;
    EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(lc.data(), dc.data(), 1, &w.bitBuf, &w.bitCount, dst, &idx),
              lumStatusOk);
    EXPECT_LT(w.bitCount, 8u);
    if (headerBytes != nullptr) *headerBytes = idx - before;
    w.trim(idx);
    w.put(lc[256].code, lc[256].len);
    w.align();
    return w.bytes;
}

// Reads the block back: the lengths, trimmed as they should be.
void checkHeader(const Bytes& stream, uint32_t pending, const LitTable& lc, const DistTable& dc,
                 const std::string& what) {
    SymbolReader reader(stream, pending);
    SymbolReader::Block b;
    ASSERT_TRUE(reader.block(b)) << what << ": " << reader.error;
    EXPECT_TRUE(b.final);
    int lastLit = 256, lastDist = 0;
    for (int s = 0; s < 286; ++s) {
        EXPECT_EQ(b.litLens[s], lc[s].len) << what << " literal/length " << s;
        if (lc[s].len != 0) lastLit = std::max(lastLit, s);
    }
    for (int s = 0; s < 30; ++s) {
        EXPECT_EQ(b.distLens[s], dc[s].len) << what << " distance " << s;
        if (dc[s].len != 0) lastDist = s;
    }
    EXPECT_EQ(b.hlit, lastLit + 1) << what;
    EXPECT_EQ(b.hdist, lastDist + 1) << what;
    static constexpr uint8_t kOrder[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
    int lastCl = 3;
    for (int i = 0; i < 19; ++i) {
        EXPECT_LE(b.clLens[kOrder[i]], 7) << what;
        if (b.clLens[kOrder[i]] != 0) lastCl = std::max(lastCl, i);
    }
    EXPECT_EQ(b.hclen, lastCl + 1) << what;
    EXPECT_LE(b.headerBits, 300u * 8) << what;
}

TEST(DeflateHeader, ReadsBackAndInflates) {
    auto rng = lumtest::makeRng(403);
    for (int trial = 0; trial < 400; ++trial) {
        std::vector<uint32_t> lit(286, 0), dist(30, 0);
        const int kind = trial % 4;
        for (int s = 0; s < 286; ++s)
            lit[size_t(s)] = kind == 0   ? uint32_t(rng() % 2 ? 1 + rng() % 1000 : 0)
                             : kind == 1 ? uint32_t(s < 128 ? 1 + rng() % 50 : 0)
                             : kind == 2 ? uint32_t(rng() % 9 == 0 ? 1 + rng() % 60000 : 0)
                                         : uint32_t(1 + rng() % 3);
        for (int s = 0; s < 30; ++s) dist[size_t(s)] = kind == 1 ? 0 : uint32_t(rng() % 3 ? rng() % 900 : 0);
        const Codes c = build(lit, dist);
        const uint32_t pending = uint32_t(rng() % 8);
        size_t headerBytes = 0;
        const Bytes stream = headerBlock(c.lit, c.dist, pending, &headerBytes);
        EXPECT_LE(headerBytes, 300u);
        const std::string what = "trial " + std::to_string(trial);
        checkHeader(stream, pending, c.lit, c.dist, what);
        if (pending == 0) {
            EXPECT_EQ(zlibInflate(stream, 0).error, "") << what;
            EXPECT_EQ(libdeflateInflate(stream, 0).error, "") << what;
        }
    }
}

// The longest header there is: every length present and none repeated.
TEST(DeflateHeader, WorstCaseFitsAndLengthsAbove15Fail) {
    LitTable lc{};
    DistTable dc{};
    for (int s = 0; s < 286; ++s) lc[s].len = uint16_t(1 + (s * 7 + s / 15) % 15);
    for (int s = 0; s < 30; ++s) dc[s].len = uint16_t(1 + (s * 11) % 15);
    size_t headerBytes = 0;
    headerBlock(lc, dc, 7, &headerBytes);
    EXPECT_LE(headerBytes, 300u);
    Bytes dst(400);
    uint16_t bitBuf = 0;
    uint32_t bitCount = 0, idx = 0;
    lc[100].len = 16;
    EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(lc.data(), dc.data(), 0, &bitBuf, &bitCount, dst.data(), &idx),
              lumStatusBadArg);
    EXPECT_EQ(idx, 0u);
    lc[100].len = 3;
    dc[29].len = 20;
    EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(lc.data(), dc.data(), 0, &bitBuf, &bitCount, dst.data(), &idx),
              lumStatusBadArg);
    dc[29].len = 3;
    EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(nullptr, dc.data(), 0, &bitBuf, &bitCount, dst.data(), &idx),
              lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(lc.data(), nullptr, 0, &bitBuf, &bitCount, dst.data(), &idx),
              lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(lc.data(), dc.data(), 0, nullptr, &bitCount, dst.data(), &idx),
              lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(lc.data(), dc.data(), 0, &bitBuf, nullptr, dst.data(), &idx),
              lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(lc.data(), dc.data(), 0, &bitBuf, &bitCount, nullptr, &idx),
              lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestGenHeader_8u(lc.data(), dc.data(), 0, &bitBuf, &bitCount, dst.data(), nullptr),
              lumStatusNullPtr);
    EXPECT_EQ(idx, 0u);
}

// Against the greedy cut (longest runs first) under its own best code-length code.
TEST(DeflateHeader, RunsAreCutWell) {
    auto rng = lumtest::makeRng(404);
    for (int trial = 0; trial < 100; ++trial) {
        std::vector<uint32_t> lit(286, 0), dist(30, 0);
        for (int s = 0; s < 286; ++s)
            lit[size_t(s)] = rng() % 4 == 0 ? 0 : uint32_t(1 + rng() % (trial % 2 ? 8 : 9000));
        for (int s = 0; s < 30; ++s) dist[size_t(s)] = uint32_t(rng() % 500);
        const Codes c = build(lit, dist);
        size_t bytes = 0;
        const Bytes stream = headerBlock(c.lit, c.dist, 0, &bytes);
        SymbolReader reader(stream);
        SymbolReader::Block b;
        ASSERT_TRUE(reader.block(b)) << reader.error;
        // The greedy cut's symbols and the cost of the best code for them.
        std::vector<uint8_t> lens;
        for (int s = 0; s < b.hlit; ++s) lens.push_back(uint8_t(c.lit[size_t(s)].len));
        for (int s = 0; s < b.hdist; ++s) lens.push_back(uint8_t(c.dist[size_t(s)].len));
        std::vector<uint32_t> freq(19, 0);
        uint64_t extra = 0;
        for (size_t i = 0; i < lens.size();) {
            size_t run = 1;
            while (i + run < lens.size() && lens[i + run] == lens[i]) ++run;
            size_t left = run;
            if (lens[i] == 0) {
                for (; left >= 11; left -= std::min<size_t>(left, 138)) ++freq[18], extra += 7;
                if (left >= 3) ++freq[17], extra += 3, left = 0;
            } else {
                ++freq[lens[i]], --left;
                for (; left >= 3; left -= std::min<size_t>(left, 6)) ++freq[16], extra += 2;
            }
            freq[lens[i]] += uint32_t(left);
            i += run;
        }
        const uint64_t greedyBits = limitedCost(freq, 7) + extra;
        uint64_t oursBits = b.headerBits - 17 - 3 * uint64_t(b.hclen);
        EXPECT_LE(oursBits, greedyBits + 3 * (19 - 4)) << "trial " << trial;
    }
}

TEST(DeflatePrecompHeader, EverySymbolCodedAndTheHeaderReadsBack) {
    LumDeflatePrecompHeader h;
    EXPECT_EQ(lumsDeflateLZ77FastestPrecompHeader_8u(nullptr, nullptr, nullptr), lumStatusNullPtr);
    LitTable lf{};
    DistTable df{};
    EXPECT_EQ(lumsDeflateLZ77FastestPrecompHeader_8u(lf.data(), nullptr, &h), lumStatusNullPtr);
    EXPECT_EQ(lumsDeflateLZ77FastestPrecompHeader_8u(nullptr, df.data(), &h), lumStatusNullPtr);

    auto rng = lumtest::makeRng(405);
    for (int trial = 0; trial < 3; ++trial) {
        const bool builtIn = trial == 0;
        for (auto& e : lf) e.code = uint16_t(trial == 1 ? 0 : rng() % 3000);
        for (auto& e : df) e.code = uint16_t(trial == 1 ? 0 : rng() % 3000);
        ASSERT_EQ(
            lumsDeflateLZ77FastestPrecompHeader_8u(builtIn ? nullptr : lf.data(), builtIn ? nullptr : df.data(), &h),
            lumStatusOk);
        const std::string what = "trial " + std::to_string(trial);
        EXPECT_EQ(checkCanonical(h.litCodes, 286, what), 1 << 15);
        EXPECT_EQ(checkCanonical(h.distCodes, 30, what), 1 << 15);
        for (const auto& e : h.litCodes) EXPECT_NE(e.len, 0) << what;
        for (const auto& e : h.distCodes) EXPECT_NE(e.len, 0) << what;
        EXPECT_EQ(h.bits[0] & 1, 0) << what;
        // The header, made final, with an end-of-block code after it.
        StreamWriter w;
        for (uint32_t b = 0; b < h.bitCount; ++b) w.put((h.bits[b / 8] >> (b % 8) & 1) | (b == 0 ? 1 : 0), 1);
        w.put(h.litCodes[256].code, h.litCodes[256].len);
        w.align();
        SymbolReader reader(w.bytes);
        SymbolReader::Block b;
        ASSERT_TRUE(reader.block(b)) << what << ": " << reader.error;
        EXPECT_EQ(b.headerBits, h.bitCount) << what;
        for (int s = 0; s < 286; ++s) EXPECT_EQ(b.litLens[s], h.litCodes[s].len) << what;
        for (int s = 0; s < 30; ++s) EXPECT_EQ(b.distLens[s], h.distCodes[s].len) << what;
        EXPECT_EQ(zlibInflate(w.bytes, 0).error, "") << what;
        // Bits past the header are zero.
        for (uint32_t k = (h.bitCount + 7) / 8; k < sizeof(h.bits); ++k) EXPECT_EQ(h.bits[k], 0) << what;
    }
}

}  // namespace
