// Inflation against the streams of zlib (every level and strategy), libdeflate and
// isa-l, and hand-made streams for the edges of the format: the output equals the
// input whatever the split of input and output, truncated streams ask for more
// input without inventing output, and invalid streams get exact statuses.

#include "deflate/inflate.h"

#include <gtest/gtest.h>
#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "lumdc.h"
#include "test_support.h"
#include "zlib_peer.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes zlibDeflate(const Bytes& src, int level, int strategy = Z_DEFAULT_STRATEGY) {
    return lumtest::zlibCompress(src, -15, level, strategy);
}

Bytes libdeflateDeflate(const Bytes& src, int level) {
    libdeflate_compressor* c = libdeflate_alloc_compressor(level);
    Bytes out(libdeflate_deflate_compress_bound(c, src.size()));
    out.resize(libdeflate_deflate_compress(c, src.data(), src.size(), out.data(), out.size()));
    libdeflate_free_compressor(c);
    return out;
}

Bytes isalDeflate(const Bytes& src, int level) {
    static const uint32_t kLevelBuf[] = {ISAL_DEF_LVL0_DEFAULT, ISAL_DEF_LVL1_DEFAULT, ISAL_DEF_LVL2_DEFAULT,
                                         ISAL_DEF_LVL3_DEFAULT};
    std::vector<uint8_t> levelBuf(kLevelBuf[level]);
    isal_zstream s;
    isal_deflate_init(&s);
    s.level = uint32_t(level);
    s.level_buf = levelBuf.data();
    s.level_buf_size = kLevelBuf[level];
    s.end_of_stream = 1;
    Bytes out(2 * src.size() + 1024);  // level 0 spends up to a quarter more on random data
    s.next_in = const_cast<uint8_t*>(src.data());
    s.avail_in = uint32_t(src.size());
    s.next_out = out.data();
    s.avail_out = uint32_t(out.size());
    EXPECT_EQ(isal_deflate(&s), COMP_OK);
    EXPECT_EQ(s.avail_in, 0u);
    EXPECT_GT(s.avail_out, 0u);
    out.resize(s.total_out);
    return out;
}

struct Result {
    LumStatus status;
    Bytes out;
    size_t consumed;
};

// Inflates with input and output handed over in pieces of the given sizes
// (cycled; 0 means all at once); the whole output buffer stays as history.
Result inflatePieces(const Bytes& stream, size_t capacity, size_t inStep, size_t outStep) {
    LumInflateState st{};
    Bytes out(capacity + 1);  // never empty: an empty vector's data() may be null
    uint32_t idx = 0;
    size_t at = 0;
    LumStatus s = lumStatusSrcExhausted;
    for (int guard = 0; guard < 50000000; ++guard) {
        const size_t inAvail = std::min(stream.size() - at, inStep ? inStep : stream.size());
        const uint32_t limit = uint32_t(std::min(capacity, outStep ? idx + outStep : capacity));
        const uint8_t* p = stream.data() + at;
        uint32_t len = uint32_t(inAvail);
        s = lumsInflate_8u(&p, &len, out.data(), &idx, limit, &st);
        at = size_t(p - stream.data());
        if (s < 0 || s == lumStatusOk) break;
        if (s == lumStatusSrcExhausted && at == stream.size()) break;
        if (s == lumStatusDstFull && limit == capacity) break;
    }
    out.resize(idx);
    return {s, out, at};
}

Result inflateWhole(const Bytes& stream, size_t capacity) { return inflatePieces(stream, capacity, 0, 0); }

struct Data {
    std::string kind;
    Bytes bytes;
};

std::vector<Data> samples(size_t n, uint64_t salt) {
    auto rng = lumtest::makeRng(salt);
    return {{"random", lumtest::randomBytes(rng, n)},
            {"text", lumtest::textLike(rng, n)},
            {"repetitive", lumtest::repetitive(rng, n)}};
}

class InflateVariants : public ::testing::TestWithParam<size_t> {
protected:
    void SetUp() override {
        const auto& v = lumdc::inflate::kVariants[GetParam()];
        if (!lumtest::hasFeatures(v.features)) GTEST_SKIP() << v.name << " not supported here";
        scope_.emplace(v.features);
    }
    std::optional<lumtest::FeatureScope> scope_;
};

// Streams of the three peer compressors at all their levels and zlib's strategies.
TEST_P(InflateVariants, PeerStreamsAtEveryLevel) {
    for (size_t n : {size_t(0), size_t(1), size_t(100), size_t(5000), size_t(70000), size_t(400000)})
        for (const auto& d : samples(n, n)) {
            SCOPED_TRACE(d.kind + " n=" + std::to_string(n));
            std::vector<std::pair<std::string, Bytes>> streams;
            for (int level = 0; level <= 9; ++level)
                streams.emplace_back("zlib " + std::to_string(level), zlibDeflate(d.bytes, level));
            for (int strategy : {Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED})
                streams.emplace_back("zlib strategy " + std::to_string(strategy), zlibDeflate(d.bytes, 6, strategy));
            for (int level = 0; level <= 12; ++level)
                streams.emplace_back("libdeflate " + std::to_string(level), libdeflateDeflate(d.bytes, level));
            for (int level = 0; level <= 3; ++level)
                streams.emplace_back("isa-l " + std::to_string(level), isalDeflate(d.bytes, level));
            for (auto& [name, stream] : streams) {
                SCOPED_TRACE(name);
                stream.push_back(0xA5);  // a byte after the stream stays unconsumed
                const Result r = inflateWhole(stream, n);
                EXPECT_EQ(r.status, lumStatusOk);
                EXPECT_EQ(r.consumed, stream.size() - 1);
                EXPECT_TRUE(r.out == d.bytes);
            }
        }
}

// Any split of input and output gives the same output, down to one byte a side,
// and the stream's end is found at the same byte.
TEST_P(InflateVariants, AnySplitOfInputAndOutput) {
    auto rng = lumtest::makeRng(3);
    for (const auto& d : samples(150000, 5)) {
        for (int level : {0, 1, 6, 9}) {
            Bytes stream = zlibDeflate(d.bytes, level);
            stream.insert(stream.end(), {1, 2, 3, 4, 5, 6, 7, 8, 9});
            for (auto [in, out] : std::vector<std::pair<size_t, size_t>>{
                     {1, 0}, {0, 1}, {7, 13}, {size_t(rng() % 100 + 1), size_t(rng() % 3000 + 1)}, {65536, 65536}}) {
                SCOPED_TRACE(d.kind + " level " + std::to_string(level) + " in " + std::to_string(in) + " out " +
                             std::to_string(out));
                if ((in == 1 || out == 1) && level != 6) continue;  // one-byte pieces are slow; one level suffices
                const Result r = inflatePieces(stream, d.bytes.size(), in, out);
                EXPECT_EQ(r.status, lumStatusOk);
                EXPECT_EQ(r.consumed, stream.size() - 9);
                EXPECT_TRUE(r.out == d.bytes);
            }
        }
    }
}

// A caller that keeps only the last 32 KiB of output in front of its index.
TEST_P(InflateVariants, HistoryMovedByTheCaller) {
    auto rng = lumtest::makeRng(9);
    const Bytes data = lumtest::textLike(rng, 600000);
    const Bytes stream = zlibDeflate(data, 9);
    LumInflateState st{};
    Bytes window(32768 + 20000), out;
    uint32_t idx = 0;
    const uint8_t* p = stream.data();
    uint32_t left = uint32_t(stream.size());
    LumStatus s;
    do {
        if (idx > 32768) {  // keep the last 32 KiB
            std::memmove(window.data(), window.data() + idx - 32768, 32768);
            idx = 32768;
        }
        const uint32_t before = idx;
        uint32_t piece = std::min<uint32_t>(left, 777);
        const uint32_t given = piece;
        s = lumsInflate_8u(&p, &piece, window.data(), &idx, uint32_t(window.size()), &st);
        left -= given - piece;
        out.insert(out.end(), window.begin() + before, window.begin() + idx);
    } while (s == lumStatusSrcExhausted || s == lumStatusDstFull);
    EXPECT_EQ(s, lumStatusOk);
    EXPECT_TRUE(out == data);
}

// Every prefix of a stream asks for more input and never yields output that the
// whole stream does not have.
TEST_P(InflateVariants, TruncatedStreamsAskForMoreAndInventNothing) {
    auto rng = lumtest::makeRng(4);
    const Bytes data = lumtest::textLike(rng, 3000);
    for (int level : {0, 1, 9}) {
        const Bytes stream = zlibDeflate(data, level);
        for (size_t cut = 0; cut < stream.size(); ++cut) {
            const Bytes prefix(stream.begin(), stream.begin() + ptrdiff_t(cut));
            const Result r = inflateWhole(prefix, data.size());
            ASSERT_EQ(r.status, lumStatusSrcExhausted) << "cut " << cut;
            ASSERT_TRUE(std::equal(r.out.begin(), r.out.end(), data.begin())) << "cut " << cut;
            ASSERT_EQ(r.consumed, cut);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, InflateVariants, ::testing::Range(size_t(0), std::size(lumdc::inflate::kVariants)),
                         [](const auto& info) { return std::string(lumdc::inflate::kVariants[info.param].name); });

// A least-significant-bit-first writer for hand-made streams.
struct Bits {
    Bytes bytes;
    uint32_t acc = 0, n = 0;
    void put(uint32_t v, uint32_t len) {
        for (uint32_t i = 0; i < len; ++i) {
            acc |= ((v >> i) & 1) << n;
            if (++n == 8) bytes.push_back(uint8_t(acc)), acc = 0, n = 0;
        }
    }
    // Huffman codes go most significant bit first.
    void code(uint32_t c, uint32_t len) {
        for (uint32_t i = len; i-- > 0;) put((c >> i) & 1, 1);
    }
    Bytes done() {
        if (n) bytes.push_back(uint8_t(acc)), acc = 0, n = 0;
        return bytes;
    }
};

// Fixed-code symbols.
void fixedLit(Bits& b, uint32_t sym) {
    if (sym < 144)
        b.code(0x30 + sym, 8);
    else if (sym < 256)
        b.code(0x190 + sym - 144, 9);
    else if (sym < 280)
        b.code(sym - 256, 7);
    else
        b.code(0xC0 + sym - 280, 8);
}

TEST(Inflate, HandMadeEdges) {
    {  // empty stored blocks, then a stored block of 65535 bytes
        Bits b;
        b.put(0, 3);
        Bytes s = b.done();
        s.insert(s.end(), {0, 0, 0xFF, 0xFF});
        s.push_back(1);  // final, stored
        s.insert(s.end(), {0xFF, 0xFF, 0, 0});
        Bytes payload(65535);
        for (size_t i = 0; i < payload.size(); ++i) payload[i] = uint8_t(i * 7);
        s.insert(s.end(), payload.begin(), payload.end());
        const Result r = inflatePieces(s, payload.size(), 1000, 999);
        EXPECT_EQ(r.status, lumStatusOk);
        EXPECT_TRUE(r.out == payload);
    }
    {  // length 258 at distance 1, then distance 32768 reaching the first byte
        Bits b;
        b.put(1, 1);
        b.put(1, 2);
        fixedLit(b, 'a');
        fixedLit(b, 285);  // length 258
        b.code(0, 5);      // distance 1
        for (int i = 0; i < 32768 - 259; ++i) fixedLit(b, 'b');
        fixedLit(b, 257);  // length 3
        b.code(29, 5);     // distance code 29: 24577 + 13 extra bits
        b.put(32768 - 24577, 13);
        fixedLit(b, 256);
        Bytes expect(1, 'a');
        expect.insert(expect.end(), 258, 'a');
        expect.insert(expect.end(), 32768 - 259, 'b');
        expect.insert(expect.end(), {'a', 'a', 'a'});
        const Result r = inflateWhole(b.done(), expect.size());
        EXPECT_EQ(r.status, lumStatusOk);
        EXPECT_TRUE(r.out == expect);
        // One byte more of distance reaches before the output.
        Bits bad;
        bad.put(1, 1);
        bad.put(1, 2);
        fixedLit(bad, 'a');
        fixedLit(bad, 257);
        bad.code(1, 5);  // distance 2 with one byte of history
        EXPECT_EQ(inflateWhole(bad.done(), 100).status, lumStatusDataErr);
    }
    {  // reserved block type, bad stored length, fixed distance codes 30 and 31
        Bits b;
        b.put(1, 1);
        b.put(3, 2);
        EXPECT_EQ(inflateWhole(b.done(), 10).status, lumStatusDataErr);
        EXPECT_EQ(inflateWhole({1, 5, 0, 0xFB, 0xFF}, 10).status, lumStatusDataErr);
        for (uint32_t code : {30u, 31u}) {
            Bits c;
            c.put(1, 1);
            c.put(1, 2);
            fixedLit(c, 'x');
            fixedLit(c, 257);
            c.code(code, 5);
            c.put(0, 16);
            EXPECT_EQ(inflateWhole(c.done(), 10).status, lumStatusDataErr);
        }
    }
}

TEST(Inflate, DynamicHeaderCountsAndCodes) {
    // A code-length code of 16 four-bit codes is complete; symbols 0..15 as codes 0..15.
    auto header = [](Bits& b, uint32_t hlit, uint32_t hdist, const std::vector<uint8_t>& lens) {
        b.put(1, 1);
        b.put(2, 2);
        b.put(hlit - 257, 5);
        b.put(hdist - 1, 5);
        b.put(15, 4);  // 19 code-length codes in the order 16 17 18 0 8 7 9 6 10 5 11 4 12 3 13 2 14 1 15
        const int order[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
        for (int i = 0; i < 19; ++i) b.put(order[i] < 16 ? 4 : 0, 3);
        for (uint8_t l : lens) b.code(l, 4);
    };
    // One literal 'q' (1 bit), end-of-block (1 bit), and a single 1-bit distance code.
    std::vector<uint8_t> lens(257 + 1, 0);
    lens['q'] = 1;
    lens[256] = 1;
    lens[257] = 1;  // the only distance code
    {
        Bits b;
        header(b, 257, 1, lens);
        b.code(0, 1);  // 'q'
        b.code(1, 1);  // end of block
        const Result r = inflateWhole(b.done(), 10);
        EXPECT_EQ(r.status, lumStatusOk);
        EXPECT_TRUE(r.out == Bytes{'q'});
    }
    for (auto [hlit, hdist] : {std::pair{287u, 1u}, {288u, 1u}, {257u, 31u}, {257u, 32u}}) {
        Bits b;
        header(b, hlit, hdist, std::vector<uint8_t>(hlit + hdist, 0));
        EXPECT_EQ(inflateWhole(b.done(), 10).status, lumStatusDataErr) << hlit << " " << hdist;
    }
    {  // over-subscribed literal/length code
        std::vector<uint8_t> over(258, 0);
        over['a'] = over['b'] = over[256] = 1;
        Bits b;
        header(b, 257, 1, over);
        EXPECT_EQ(inflateWhole(b.done(), 10).status, lumStatusHuffCodeErr);
    }
    {  // 15-bit codes: lengths 1, 2, ..., 14, 15, 15
        std::vector<uint8_t> deep(258, 0);
        for (int i = 0; i < 15; ++i) deep['a' + i] = uint8_t(i + 1);
        deep[256] = 15;
        deep[257] = 1;
        Bits b;
        header(b, 257, 1, deep);
        b.code(0x7FFE, 15);  // 'a' + 14: fifteen bits
        b.code(0x7FFF, 15);  // end of block
        const Result r = inflateWhole(b.done(), 10);
        EXPECT_EQ(r.status, lumStatusOk);
        EXPECT_TRUE(r.out == Bytes{uint8_t('a' + 14)});
    }
}

TEST(Inflate, BuildHuffTableAndCallerBlocks) {
    LumInflateState st{};
    uint8_t lens[288 + 32];
    std::fill(lens, lens + 144, 8);
    std::fill(lens + 144, lens + 256, 9);
    std::fill(lens + 256, lens + 280, 7);
    std::fill(lens + 280, lens + 288, 8);
    std::fill(lens + 288, lens + 320, 5);
    EXPECT_EQ(lumsInflateBuildHuffTable(nullptr, 288, 32, &st), lumStatusNullPtr);
    EXPECT_EQ(lumsInflateBuildHuffTable(lens, 256, 32, &st), lumStatusSizeErr);
    EXPECT_EQ(lumsInflateBuildHuffTable(lens, 288, 33, &st), lumStatusSizeErr);
    EXPECT_EQ(lumsInflateBuildHuffTable(lens, 286, 30, &st), lumStatusHuffCodeErr);  // incomplete
    lens[0] = 16;
    EXPECT_EQ(lumsInflateBuildHuffTable(lens, 288, 32, &st), lumStatusHuffCodeErr);
    lens[0] = 8;
    ASSERT_EQ(lumsInflateBuildHuffTable(lens, 288, 32, &st), lumStatusOk);
    // A fixed-code body decoded from caller-built tables: "hi", end of block; the
    // byte after it is not consumed.
    Bits b;
    fixedLit(b, 'h');
    fixedLit(b, 'i');
    fixedLit(b, 256);
    Bytes body = b.done();
    body.push_back(0x77);
    Bytes out(10);
    uint32_t idx = 0, len = uint32_t(body.size());
    const uint8_t* p = body.data();
    EXPECT_EQ(lumsInflate_8u(&p, &len, out.data(), &idx, 10, &st), lumStatusOk);
    EXPECT_EQ(idx, 2u);
    EXPECT_EQ(len, 1u);
    EXPECT_EQ(std::string(out.begin(), out.begin() + 2), "hi");
}

TEST(Inflate, ArgumentChecksAndStickyErrors) {
    LumInflateState st{};
    uint8_t dst[4];
    const uint8_t src[] = {0x07};  // final, reserved type
    const uint8_t* p = src;
    uint32_t len = 1, idx = 0;
    EXPECT_EQ(lumsInflate_8u(nullptr, &len, dst, &idx, 4, &st), lumStatusNullPtr);
    EXPECT_EQ(lumsInflate_8u(&p, &len, dst, &idx, 4, nullptr), lumStatusNullPtr);
    idx = 5;
    EXPECT_EQ(lumsInflate_8u(&p, &len, dst, &idx, 4, &st), lumStatusSizeErr);
    idx = 0;
    EXPECT_EQ(lumsInflate_8u(&p, &len, dst, &idx, 4, &st), lumStatusDataErr);
    const uint8_t good[] = {0x03, 0x00};  // an empty fixed block
    p = good;
    len = 2;
    EXPECT_EQ(lumsInflate_8u(&p, &len, dst, &idx, 4, &st), lumStatusDataErr);
    st = LumInflateState{};
    EXPECT_EQ(lumsInflate_8u(&p, &len, dst, &idx, 4, &st), lumStatusOk);
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(lumsInflate_8u(&p, &len, dst, &idx, 4, &st), lumStatusOk);  // and at once after the end
}

// Random bytes as a stream: a status, never a fault, and the same answer as zlib's
// on whether the stream is valid.
TEST(Inflate, RandomBytesAgreeWithZlib) {
    auto rng = lumtest::makeRng(21);
    for (int i = 0; i < 3000; ++i) {
        Bytes junk = lumtest::randomBytes(rng, 1 + rng() % 200);
        junk[0] = uint8_t((junk[0] & ~6) | (i % 3 == 0 ? 2 : 4));  // mostly fixed and dynamic blocks
        const Result r = inflateWhole(junk, 4096);
        z_stream z{};
        inflateInit2(&z, -15);
        Bytes out(4096);
        z.next_in = junk.data();
        z.avail_in = uInt(junk.size());
        z.next_out = out.data();
        z.avail_out = uInt(out.size());
        const int zs = inflate(&z, Z_FINISH);
        out.resize(z.total_out);
        inflateEnd(&z);
        if (zs == Z_DATA_ERROR) {
            EXPECT_TRUE(r.status == lumStatusDataErr || r.status == lumStatusHuffCodeErr) << i;
        } else if (zs == Z_STREAM_END) {
            EXPECT_EQ(r.status, lumStatusOk) << i;
            EXPECT_TRUE(r.out == out) << i;
        } else {
            EXPECT_TRUE(r.status == lumStatusSrcExhausted || r.status == lumStatusDstFull) << i << " zlib " << zs;
        }
    }
}

}  // namespace
