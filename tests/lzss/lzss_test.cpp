// LZSS: statuses, a by-the-book parser that checks every item the encoder writes,
// a by-the-book encoder that the library's streams must equal bit for bit,
// hand-made streams, round trips whole and cut into pieces in both directions,
// and every encoder variant against the portable one.

#include "lzss/lzss.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "lumdc.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Record {
    std::vector<uint64_t> memory = std::vector<uint64_t>(327744 / 8);
    LumLzssState* get() { return reinterpret_cast<LumLzssState*>(memory.data()); }
};

// Reads the stream item by item as the format has it, refusing what the encoder
// must never write: a distance of 0 or past the start, a final partial item
// other than zero padding. Returns the decoded bytes, or an error message.
struct Parsed {
    Bytes out;
    std::string error;
    size_t matches = 0;
    uint32_t longest = 0;
};
// The stream's bits, most significant first.
struct BitReader {
    const Bytes& stream;
    size_t at = 0;

    size_t left() const { return stream.size() * 8 - at; }
    uint32_t next() const { return (stream[at / 8] >> (7 - at % 8)) & 1; }
    uint32_t take(int n) {
        uint32_t v = 0;
        for (int i = 0; i < n; ++i, ++at) v = v << 1 | next();
        return v;
    }
};

Parsed parse(const Bytes& stream) {
    Parsed r;
    BitReader in{stream};
    while (in.left() > 0) {
        const size_t left = in.left();
        if (left < 9) {
            if (in.take(int(left)) != 0) r.error = "nonzero padding";
            break;
        }
        if (in.take(1) == 1) {
            r.out.push_back(uint8_t(in.take(8)));
            continue;
        }
        if (left < 24) {
            if (in.take(int(left - 1)) != 0) r.error = "nonzero padding";
            break;
        }
        const uint32_t d = in.take(15), len = in.take(8) + 3;
        if (d == 0 || d > r.out.size()) {
            r.error = "distance " + std::to_string(d) + " at " + std::to_string(r.out.size());
            break;
        }
        for (uint32_t k = 0; k < len; ++k) r.out.push_back(r.out[r.out.size() - d]);
        ++r.matches;
        r.longest = std::max(r.longest, len);
    }
    return r;
}

// Decodes any bytes as the format reads them: distance 0 stands for 32768, bytes
// before the start of the output are zeros, a cut last item is dropped.
Bytes bookDecode(const Bytes& stream) {
    Bytes out;
    BitReader in{stream};
    while (in.left() >= 9) {
        if (in.next() != 0) {
            in.take(1);
            out.push_back(uint8_t(in.take(8)));
            continue;
        }
        if (in.left() < 24) break;
        in.take(1);
        const uint32_t d = in.take(15), len = in.take(8) + 3, distance = d == 0 ? 32768 : d;
        for (uint32_t k = 0; k < len; ++k) out.push_back(out.size() >= distance ? out[out.size() - distance] : 0);
    }
    return out;
}

// The encoder's side of the bargain, checked after every call: 33 only with
// source left and the output used up, 0 only with the source all taken; input
// taken in no more than 260 bytes beyond the positions coded (written or
// pending), and no more than an item and a few bits pending. Returns what broke.
std::string contractBreak(LumLzssState* record, LumStatus st, int32_t srcLeft, int32_t room, uint64_t taken) {
    const auto& h = *reinterpret_cast<const lumdc::lzss::Header*>(record);
    const uint64_t coded = h.position + h.cursor;
    if (st != lumStatusOk && st != lumStatusDstFull) return "status " + std::to_string(st);
    if (st == lumStatusDstFull && srcLeft == 0) return "33 with no source left";
    if (st == lumStatusDstFull && room != 0) return "33 with " + std::to_string(room) + " bytes of room";
    if (st == lumStatusOk && srcLeft != 0) return "0 with " + std::to_string(srcLeft) + " bytes of source left";
    if (h.position + h.filled != taken) return "the record holds other input than was taken";
    if (taken > coded + 260) return std::to_string(taken - coded) + " bytes taken beyond the coded ones";
    if (h.bitCount < 0 || h.bitCount > 31) return std::to_string(h.bitCount) + " bits pending";
    return {};
}

// Encodes with the source and destination cut into the given pieces (cycled),
// then flushes, also in pieces. A broken contract fails the test and gives an
// empty stream.
Bytes encode(const Bytes& data, const std::vector<size_t>& srcPieces = {}, const std::vector<size_t>& dstPieces = {}) {
    static Record r;  // left as the last stream left it, which Init must not mind
    EXPECT_EQ(lumsEncodeLZSSInit_8u(r.get()), lumStatusOk);
    Bytes out(data.size() * 9 / 8 + 64);
    uint8_t* dst = out.data();
    const uint8_t* src = data.data();
    size_t srcLeft = data.size(), si = 0, di = 0;
    const auto nextRoom = [&] { return dstPieces.empty() ? out.size() : dstPieces[di++ % dstPieces.size()]; };
    while (srcLeft > 0) {
        const size_t piece = srcPieces.empty() ? srcLeft : std::min(srcLeft, srcPieces[si++ % srcPieces.size()]);
        int32_t len = int32_t(piece);
        while (len > 0) {
            int32_t room = int32_t(std::min<size_t>(nextRoom(), out.data() + out.size() - dst));
            const LumStatus st = lumsEncodeLZSS_8u(&src, &len, &dst, &room, r.get());
            const std::string broken = contractBreak(r.get(), st, len, room, uint64_t(src - data.data()));
            if (!broken.empty()) {
                ADD_FAILURE() << broken << " after taking " << src - data.data() << " of " << data.size()
                              << " bytes and writing " << dst - out.data();
                return {};
            }
        }
        srcLeft -= piece;
    }
    for (;;) {
        int32_t room = int32_t(std::max<size_t>(1, std::min<size_t>(nextRoom(), out.data() + out.size() - dst)));
        const LumStatus st = lumsEncodeLZSSFlush_8u(&dst, &room, r.get());
        if (st == lumStatusOk) break;
        EXPECT_EQ(st, lumStatusDstFull);
        if (st != lumStatusDstFull) return {};
    }
    out.resize(size_t(dst - out.data()));
    return out;
}

Bytes decode(const Bytes& stream, size_t expect, const std::vector<size_t>& srcPieces = {},
             const std::vector<size_t>& dstPieces = {}) {
    Record r;
    EXPECT_EQ(lumsDecodeLZSSInit_8u(r.get()), lumStatusOk);
    Bytes out(expect + 16);
    uint8_t* dst = out.data();
    const uint8_t* src = stream.data();
    size_t srcLeft = stream.size(), si = 0, di = 0;
    while (srcLeft > 0) {
        const size_t piece = srcPieces.empty() ? srcLeft : std::min(srcLeft, srcPieces[si++ % srcPieces.size()]);
        int32_t len = int32_t(piece);
        const uint8_t* before = src;
        while (len > 0) {
            const size_t space = size_t(out.data() + out.size() - dst);
            if (space == 0) {  // a decoder fault, which must fail rather than spin
                ADD_FAILURE() << "more output than was encoded";
                return out;
            }
            int32_t room = int32_t(dstPieces.empty() ? space : std::min(space, dstPieces[di++ % dstPieces.size()]));
            const LumStatus st = lumsDecodeLZSS_8u(&src, &len, &dst, &room, r.get());
            EXPECT_TRUE(st == lumStatusOk || st == lumStatusDstFull) << st;
            if (st == lumStatusOk) {
                EXPECT_EQ(len, 0);
            }
        }
        srcLeft -= size_t(src - before);
    }
    // The rest of a match cut by a full output comes with an empty source.
    for (LumStatus st = lumStatusDstFull; st == lumStatusDstFull && dst < out.data() + out.size();) {
        int32_t len = 0, room = int32_t(dstPieces.empty() ? out.data() + out.size() - dst : 1);
        st = lumsDecodeLZSS_8u(&src, &len, &dst, &room, r.get());
    }
    out.resize(size_t(dst - out.data()));
    return out;
}

// The greedy coder as plainly as it can be written: 32-bit positions in the head
// and chain tables, one candidate at a time with the two-byte check at the ends
// of the best match. The hash is the library's: the top half of one CRC-32C step
// (reflected, from 0) of the key as a little-endian word.
Bytes bookEncode(const Bytes& in) {
    const auto hash = [&](size_t i) {
        uint32_t c = uint32_t(in[i] | in[i + 1] << 8 | in[i + 2] << 16);
        for (int bit = 0; bit < 32; ++bit) c = c >> 1 ^ (0x82F63B78u & (0u - (c & 1)));
        return c >> 16;
    };
    std::vector<int64_t> head(65536, -32768), chain(32768, -32768);
    const auto enter = [&](size_t i) {
        const uint32_t key = hash(i);
        chain[i % 32768] = head[key];
        head[key] = int64_t(i);
    };
    Bytes out;
    uint64_t acc = 0;
    int count = 0;
    const auto put = [&](uint32_t value, int n) {
        acc = acc << n | value;
        for (count += n; count >= 8; count -= 8) out.push_back(uint8_t(acc >> (count - 8)));
    };
    const size_t n = in.size();
    for (size_t i = 0; i < n;) {
        size_t best = 2, distance = 0;
        if (n - i >= 3) {
            const size_t limit = std::min<size_t>(258, n - i);
            int64_t candidate = head[hash(i)];
            enter(i);
            for (int k = 0; k < 16 && int64_t(i) - candidate < 32768; ++k) {
                const size_t c = size_t(candidate);
                if (in[c + best - 1] == in[i + best - 1] && in[c + best] == in[i + best]) {
                    size_t len = 0;
                    while (len < limit && in[c + len] == in[i + len]) ++len;
                    if (len > best) {
                        best = len;
                        distance = i - c;
                        if (best == limit) break;
                    }
                }
                candidate = chain[c % 32768];
            }
        }
        if (distance != 0) {
            put(uint32_t(distance << 8 | (best - 3)), 24);
            for (size_t j = i + 1; j < i + best && n - j >= 3; ++j) enter(j);
            i += best;
        } else {
            put(0x100 | in[i], 9);
            ++i;
        }
    }
    if (count > 0) out.push_back(uint8_t(acc << (8 - count)));
    return out;
}

Bytes makeData(std::mt19937_64& rng, int kind, size_t n) {
    return kind == 0   ? lumtest::randomBytes(rng, n)
           : kind == 1 ? lumtest::textLike(rng, n)
                       : lumtest::repetitive(rng, n);
}

TEST(LzssStatus, ArgumentsAndEmptyBuffers) {
    int32_t size = 0;
    EXPECT_EQ(lumsLZSSGetSize_8u(&size), lumStatusOk);
    EXPECT_EQ(size, 327744);
    EXPECT_EQ(lumsLZSSGetSize_8u(nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZSSInit_8u(nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsDecodeLZSSInit_8u(nullptr), lumStatusNullPtr);

    Record r;
    ASSERT_EQ(lumsEncodeLZSSInit_8u(r.get()), lumStatusOk);
    uint8_t in[4] = {1, 2, 3, 4}, out[8] = {};
    const uint8_t* src = in;
    uint8_t* dst = out;
    int32_t srcLen = 4, dstLen = 0;
    EXPECT_EQ(lumsEncodeLZSS_8u(&src, &srcLen, &dst, &dstLen, r.get()), lumStatusDstFull);
    EXPECT_EQ(src, in);
    EXPECT_EQ(srcLen, 4);
    dstLen = 8, srcLen = 0;
    EXPECT_EQ(lumsEncodeLZSS_8u(&src, &srcLen, &dst, &dstLen, r.get()), lumStatusOk);
    EXPECT_EQ(dstLen, 8);
    dstLen = 0;  // no source left, so no call for room
    EXPECT_EQ(lumsEncodeLZSS_8u(&src, &srcLen, &dst, &dstLen, r.get()), lumStatusOk);
    dstLen = 8;
    srcLen = -1;
    EXPECT_EQ(lumsEncodeLZSS_8u(&src, &srcLen, &dst, &dstLen, r.get()), lumStatusSizeErr);
    EXPECT_EQ(lumsEncodeLZSS_8u(nullptr, &srcLen, &dst, &dstLen, r.get()), lumStatusNullPtr);
    dstLen = 0;
    EXPECT_EQ(lumsEncodeLZSSFlush_8u(&dst, &dstLen, r.get()), lumStatusSizeErr);
    dstLen = 8;
    EXPECT_EQ(lumsEncodeLZSSFlush_8u(&dst, &dstLen, r.get()), lumStatusOk);  // nothing pending
    EXPECT_EQ(dst, out);
    EXPECT_EQ(dstLen, 8);

    ASSERT_EQ(lumsDecodeLZSSInit_8u(r.get()), lumStatusOk);
    srcLen = 4, dstLen = 0;
    EXPECT_EQ(lumsDecodeLZSS_8u(&src, &srcLen, &dst, &dstLen, r.get()), lumStatusDstFull);
    srcLen = 0, dstLen = 8;
    EXPECT_EQ(lumsDecodeLZSS_8u(&src, &srcLen, &dst, &dstLen, r.get()), lumStatusOk);
    dstLen = -3;
    EXPECT_EQ(lumsDecodeLZSS_8u(&src, &srcLen, &dst, &dstLen, r.get()), lumStatusSizeErr);
}

TEST(LzssFormat, HandMadeStreamsDecodeAsTheFormatSays) {
    // 'A' literal, then a match of distance 1, length 5: "AAAAAA"; then literal 'b'
    // and a match of distance 2, length 3: "bAbA"; 9 + 24 + 9 + 24 = 66 bits.
    std::vector<int> bits;
    const auto put = [&](uint32_t v, int n) {
        for (int i = n - 1; i >= 0; --i) bits.push_back(int(v >> i & 1));
    };
    put(0x100 | 'A', 9);
    put(1 << 8 | 2, 24);
    put(0x100 | 'b', 9);
    put(2 << 8 | 0, 24);
    Bytes stream((bits.size() + 7) / 8);
    for (size_t i = 0; i < bits.size(); ++i) stream[i / 8] |= uint8_t(bits[i] << (7 - i % 8));
    const Bytes want = {'A', 'A', 'A', 'A', 'A', 'A', 'b', 'A', 'b', 'A'};
    EXPECT_EQ(decode(stream, want.size()), want);
    EXPECT_EQ(decode(stream, want.size(), {1}, {1}), want);  // a byte at a time both ways
    EXPECT_EQ(parse(stream).out, want);
}

TEST(LzssFormat, LimitsOfLengthAndDistance) {
    // 1000 equal bytes: a literal, then matches of distance 1 and at most 258.
    const Bytes same(1000, 'x');
    const Parsed p = parse(encode(same));
    ASSERT_TRUE(p.error.empty()) << p.error;
    EXPECT_EQ(p.out, same);
    EXPECT_EQ(p.matches, 4u);  // 999 = 258 * 3 + 225

    // A block repeated 32767 bytes later is found; 32768 bytes later it is not.
    auto rng = lumtest::makeRng(80);
    for (size_t gap : {32767u, 32768u}) {
        Bytes data = lumtest::randomBytes(rng, gap + 300);
        std::copy(data.begin(), data.begin() + 300, data.begin() + ptrdiff_t(gap));
        const Parsed q = parse(encode(data));
        ASSERT_TRUE(q.error.empty()) << q.error;
        EXPECT_EQ(q.out, data);
        EXPECT_EQ(q.longest == 258, gap == 32767) << gap;
    }
}

TEST(LzssFormat, StreamsEqualTheByTheBookEncoder) {
    auto rng = lumtest::makeRng(84);
    for (size_t n : {1u, 2u, 3u, 9u, 300u, 5000u, 70000u, 300000u})
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            ASSERT_EQ(encode(data), bookEncode(data)) << "n " << n << " kind " << kind;
        }
    // Candidates at the far edge of the window, several within a few bytes: the
    // three copies of the key lie 32747, 32755 and 32767 back, the last one the
    // longest. Around them, short repeats of other keys.
    for (size_t shift = 0; shift < 40; shift += 3) {
        Bytes data = lumtest::randomBytes(rng, 70000);
        for (size_t k = 0; k < data.size(); ++k) data[k] &= 0x3F;
        const size_t a = 1000 + shift, w = a + 32767;
        const Bytes key = {0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA};
        std::copy(key.begin(), key.end(), data.begin() + ptrdiff_t(w));
        std::copy(key.begin(), key.end(), data.begin() + ptrdiff_t(a));
        for (size_t copy : {a + 12, a + 20}) std::copy(key.begin(), key.begin() + 4, data.begin() + ptrdiff_t(copy));
        ASSERT_EQ(encode(data), bookEncode(data)) << shift;
        ASSERT_EQ(encode(data, {}, {7, 1, 300}), bookEncode(data)) << shift;
    }
    for (const auto& file : lumtest::corpusFiles()) {
        const Bytes data = lumtest::readFile(file, 1 << 20);
        ASSERT_EQ(encode(data), bookEncode(data)) << file;
    }
}

TEST(LzssRoundTrip, EverySizeAndKindWholeAndInPieces) {
    auto rng = lumtest::makeRng(81);
    std::vector<size_t> sizes;
    for (size_t n = 1; n <= 300; n += 7) sizes.push_back(n);
    for (size_t n : {259u, 260u, 261u, 4095u, 32767u, 32768u, 65536u, 65537u, 200000u}) sizes.push_back(n);
    for (size_t n : sizes)
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            const Bytes whole = encode(data);
            const Parsed p = parse(whole);
            ASSERT_TRUE(p.error.empty()) << p.error << " n " << n << " kind " << kind;
            ASSERT_EQ(p.out, data) << "n " << n << " kind " << kind;
            ASSERT_EQ(decode(whole, n), data);
            // The same stream from any split of the input and the output.
            const auto pieces = lumtest::randomSplit(rng, n, 40);
            ASSERT_EQ(encode(data, pieces, {1 + rng() % 100, 1, 3}), whole) << "n " << n << " kind " << kind;
            ASSERT_EQ(decode(whole, n, {1 + rng() % 50, 1}, {1 + rng() % 300, 2}), data);
        }
}

TEST(LzssRoundTrip, ByteAtATimeAndTheCorpus) {
    auto rng = lumtest::makeRng(82);
    const Bytes text = lumtest::textLike(rng, 40000);
    const Bytes whole = encode(text);
    EXPECT_EQ(encode(text, {1}, {1}), whole);
    EXPECT_EQ(decode(whole, text.size(), {1}, {1}), text);
    for (const auto& file : lumtest::corpusFiles()) {
        const Bytes data = lumtest::readFile(file, 1 << 20);
        const Bytes stream = encode(data);
        const Parsed p = parse(stream);
        ASSERT_TRUE(p.error.empty()) << file << ": " << p.error;
        ASSERT_EQ(p.out, data) << file;
        ASSERT_EQ(decode(stream, data.size(), {70001}, {65536}), data) << file;
    }
}

// The case that once returned 33 with the source all taken: 200 kB of text into
// 16-byte pieces of output, the source given whole each time. The first call
// takes what its 16 bytes code and the look-ahead, the rest stays with the caller.
TEST(LzssStreaming, SmallOutputPiecesTakeOnlyWhatTheyCode) {
    auto rng = lumtest::makeRng(85);
    const Bytes text = lumtest::textLike(rng, 200000);
    Record r;
    ASSERT_EQ(lumsEncodeLZSSInit_8u(r.get()), lumStatusOk);
    Bytes out(text.size() * 9 / 8 + 64);
    const uint8_t* src = text.data();
    uint8_t* dst = out.data();
    int32_t len = int32_t(text.size()), room = 16;
    ASSERT_EQ(lumsEncodeLZSS_8u(&src, &len, &dst, &room, r.get()), lumStatusDstFull);
    EXPECT_EQ(room, 0);
    // No more than 16 bytes and the pending bits hold, all of them longest matches.
    EXPECT_LE(src - text.data(), (16 * 8 + 31) / 24 * 258 + 260);
    EXPECT_EQ(contractBreak(r.get(), lumStatusDstFull, len, room, uint64_t(src - text.data())), "");
    LumStatus st = lumStatusDstFull;
    while (len > 0) {
        room = 16;
        st = lumsEncodeLZSS_8u(&src, &len, &dst, &room, r.get());
        ASSERT_EQ(contractBreak(r.get(), st, len, room, uint64_t(src - text.data())), "");
    }
    EXPECT_EQ(st, lumStatusOk);
    for (room = 16; lumsEncodeLZSSFlush_8u(&dst, &room, r.get()) == lumStatusDstFull;) room = 16;
    out.resize(size_t(dst - out.data()));
    EXPECT_EQ(out, encode(text));
}

// One byte of output per call over sources of every size up to 2 KiB and a
// spread of sizes up to 300 kB (the contract is checked after every call by
// encode()); some sources come in pieces too, down to one byte.
TEST(LzssStreaming, OneByteOutputPiecesOverEverySize) {
    auto rng = lumtest::makeRng(86);
    std::vector<size_t> sizes;
    for (size_t n = 1; n <= 2048; ++n) sizes.push_back(n);
    for (double n = 2048; n < 300000; n *= 1.12) sizes.push_back(size_t(n) + rng() % 64);
    sizes.push_back(300000);
    for (size_t n : sizes) {
        const int kind = int(n % 3);
        const Bytes data = makeData(rng, kind, n);
        const Bytes whole = encode(data);
        ASSERT_EQ(encode(data, {}, {1}), whole) << "n " << n << " kind " << kind;
        if (n % 16 == 0 || n > 2048) {
            const auto pieces = n % 5 == 0 ? std::vector<size_t>{1} : lumtest::randomSplit(rng, n, 60);
            ASSERT_EQ(encode(data, pieces, {1}), whole) << "n " << n << " kind " << kind << " in pieces";
        }
    }
}

class LzssVariant : public ::testing::TestWithParam<size_t> {};

TEST_P(LzssVariant, WritesThePortableStream) {
    const auto& v = lumdc::lzss::kEncodeVariants[GetParam()];
    if (!lumtest::hasFeatures(v.features)) GTEST_SKIP() << "processor lacks " << v.name;
    auto rng = lumtest::makeRng(83);
    for (size_t n : {1u, 100u, 5000u, 100000u})
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            Bytes mine, portable;
            {
                lumtest::FeatureScope scope(v.features);
                mine = encode(data);
            }
            {
                lumtest::FeatureScope scope(0);
                portable = encode(data);
            }
            ASSERT_EQ(mine, portable) << v.name << " n " << n << " kind " << kind;
        }
}

// Any bytes are a stream: random ones bring far and zero distances and reads
// before the start; encoded data brings long literal runs and short offsets.
class LzssDecodeVariant : public ::testing::TestWithParam<size_t> {};

TEST_P(LzssDecodeVariant, DecodesAsTheFormatReads) {
    const auto& v = lumdc::lzss::kDecodeVariants[GetParam()];
    if (!lumtest::hasFeatures(v.features)) GTEST_SKIP() << "processor lacks " << v.name;
    lumtest::FeatureScope scope(v.features);
    auto rng = lumtest::makeRng(89);
    std::vector<Bytes> streams;
    for (size_t n : {1u, 10u, 3000u, 40000u}) streams.push_back(lumtest::randomBytes(rng, n));
    for (int kind = 0; kind < 3; ++kind) streams.push_back(encode(makeData(rng, kind, 90000)));
    for (const Bytes& stream : streams) {
        const Bytes book = bookDecode(stream);
        ASSERT_EQ(decode(stream, book.size()), book) << v.name << " stream of " << stream.size();
        ASSERT_EQ(decode(stream, book.size(), {4099}, {333}), book) << v.name << " stream of " << stream.size();
        if (stream.size() <= 3000) {
            ASSERT_EQ(decode(stream, book.size(), {1}, {7}), book) << v.name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, LzssDecodeVariant, ::testing::Range<size_t>(0, std::size(lumdc::lzss::kDecodeVariants)),
                         [](const auto& info) { return std::string(lumdc::lzss::kDecodeVariants[info.param].name); });

INSTANTIATE_TEST_SUITE_P(All, LzssVariant, ::testing::Range<size_t>(0, std::size(lumdc::lzss::kEncodeVariants)),
                         [](const auto& info) { return std::string(lumdc::lzss::kEncodeVariants[info.param].name); });

}  // namespace
