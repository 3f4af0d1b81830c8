// ZFP: bit-identical streams and floats against libzfp in every mode, every
// kernel variant against the portable one, the record's functions, and streams
// that end early on either side.

#include "zfp/zfp.h"

#include <gtest/gtest.h>
#include <zfp.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "test_support.h"
#include "zfp_support.h"

namespace {

using namespace zfptest;

constexpr size_t kCur = 32, kEnd = 48, kFastLimit = 56, kMinExp = 16, kBitCount = 20;

// The parameter sets of the four modes, and some that mix them.
std::vector<Params> allModes() {
    std::vector<Params> modes;
    for (int32_t rate : {10, 64, 100, 512, 1024, 1500, 4096}) modes.push_back({rate, rate, 64, -10740});
    for (int32_t prec : {1, 2, 5, 16, 31, 32, 33, 64}) modes.push_back({0, 4171, prec, -10740});
    for (int32_t minExp : {-149, -20, -10, 0, 7, 60}) modes.push_back({0, 4171, 64, minExp});
    modes.push_back({});                       // the defaults
    modes.push_back({300, 700, 20, -30});      // a bit of everything
    modes.push_back({0, 200, 64, -10740});     // a budget below most blocks
    modes.push_back({2000, 4171, 64, -1074});  // padding beyond the coded bits
    return modes;
}

std::string describe(const Params& p) {
    return "minBits " + std::to_string(p.minBits) + " maxBits " + std::to_string(p.maxBits) + " maxPrec " +
           std::to_string(p.maxPrec) + " minExp " + std::to_string(p.minExp);
}

bool sameBits(const Floats& a, const Floats& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// ---- Against libzfp, every variant --------------------------------------------------

class ZfpVariant : public ::testing::TestWithParam<size_t> {
protected:
    void SetUp() override {
        if (!lumtest::hasFeatures(variant().features)) GTEST_SKIP() << "processor lacks " << variant().name;
        scope_.emplace(variant().features);
    }
    const lumdc::Variant<const lumdc::zfp::Kernels*>& variant() const { return lumdc::zfp::kVariants[GetParam()]; }
    std::optional<lumtest::FeatureScope> scope_;
};

TEST_P(ZfpVariant, StreamsAndFloatsAreLibzfpsInEveryMode) {
    auto rng = lumtest::makeRng(70);
    const Floats blocks = makeBlocks(rng, 300);
    const size_t n = blocks.size() / 64;
    for (const Params& p : allModes()) {
        const Encoded ours = encodeOurs(blocks, p, n * 600 + 64);
        ASSERT_EQ(ours.status, lumStatusOk) << describe(p);
        const Bytes theirs = encodeZfp(blocks, p);
        ASSERT_TRUE(ours.stream == theirs) << describe(p) << ": " << ours.stream.size() << " vs " << theirs.size();
        const Decoded back = decodeOurs(ours.stream, p, n);
        ASSERT_EQ(back.status, lumStatusOk) << describe(p);
        EXPECT_TRUE(sameBits(back.values, decodeZfp(theirs, p, n))) << describe(p);
        if (p.minBits == p.maxBits) {
            EXPECT_EQ(ours.stream.size(), (n * size_t(p.maxBits) + 63) / 64 * 8);
        }
    }
}

// Whole arrays through zfp_compress give the same stream as our block walk.
TEST_P(ZfpVariant, AWholeArrayMatchesZfpCompress) {
    auto rng = lumtest::makeRng(71);
    constexpr int kNx = 16, kNy = 12, kNz = 8;
    Floats field(kNx * kNy * kNz);
    for (int z = 0; z < kNz; ++z)
        for (int y = 0; y < kNy; ++y)
            for (int x = 0; x < kNx; ++x)
                field[(z * kNy + y) * kNx + x] = std::sin(0.3f * float(x)) * std::cos(0.2f * float(y)) +
                                                 0.01f * float(z) + float(rng() % 100) * 1e-5f;
    for (double tolerance : {1e-3, 1e-6}) {
        Bytes theirs(1 << 16);
        zfp_field* f = zfp_field_3d(field.data(), zfp_type_float, kNx, kNy, kNz);
        zfp_stream* zs = zfp_stream_open(nullptr);
        zfp_stream_set_accuracy(zs, tolerance);
        bitstream* bs = stream_open(theirs.data(), theirs.size());
        zfp_stream_set_bit_stream(zs, bs);
        theirs.resize((zfp_compress(zs, f) + 7) / 8 * 8);  // byte words in Debian's build
        stream_close(bs);
        zfp_stream_close(zs);
        zfp_field_free(f);

        Bytes ours(1 << 16);
        Record r;
        ASSERT_EQ(lumsEncodeZfpInit_32f(ours.data(), int32_t(ours.size()), r.get()), lumStatusOk);
        ASSERT_EQ(lumsEncodeZfpSetAccuracy_32f(tolerance, r.get()), lumStatusOk);
        for (int bz = 0; bz < kNz; bz += 4)
            for (int by = 0; by < kNy; by += 4)
                for (int bx = 0; bx < kNx; bx += 4)
                    ASSERT_EQ(lumsEncodeZfp444_32f(&field[(bz * kNy + by) * kNx + bx], 4 * kNx, 4 * kNx * kNy, r.get()),
                              lumStatusOk);
        ASSERT_EQ(lumsEncodeZfpFlush_32f(r.get()), lumStatusOk);
        int32_t size = 0;
        ASSERT_EQ(lumsEncodeZfpGetCompressedSize_32f(r.get(), &size), lumStatusOk);
        ours.resize(size_t(size));
        EXPECT_TRUE(ours == theirs) << "tolerance " << tolerance;

        // Decoded block by block with negative steps (planes and rows walked from
        // the far end), the values are within the tolerance.
        Floats back(field.size());
        Record d;
        ASSERT_EQ(lumsDecodeZfpInit_32f(ours.data(), size, d.get()), lumStatusOk);
        ASSERT_EQ(lumsDecodeZfpSetAccuracy_32f(tolerance, d.get()), lumStatusOk);
        Floats block(64);
        for (int bz = 0; bz < kNz; bz += 4)
            for (int by = 0; by < kNy; by += 4)
                for (int bx = 0; bx < kNx; bx += 4) {
                    ASSERT_EQ(lumsDecodeZfp444_32f(d.get(), block.data() + 12, -16, 64), lumStatusOk);
                    for (int z = 0; z < 4; ++z)
                        for (int y = 0; y < 4; ++y)
                            for (int x = 0; x < 4; ++x)
                                back[((bz + z) * kNy + by + y) * kNx + bx + x] = block[12 - 4 * y + 16 * z + x];
                }
        for (size_t i = 0; i < field.size(); ++i) ASSERT_NEAR(back[i], field[i], tolerance) << i;
    }
}

// The kernels themselves against the portable ones, on blocks of every kind
// including NaN, infinities, subnormals and blocks under 2^-96.
TEST_P(ZfpVariant, KernelsMatchThePortableOnes) {
    const auto& mine = *variant().fn;
    const auto& portable = lumdc::zfp::ref::kKernels;
    auto rng = lumtest::makeRng(72);
    for (int round = 0; round < 4000; ++round) {
        Floats b = makeBlock(rng, Kind(rng() % size_t(Kind::Count)), round % 3 == 0);
        if (round % 7 == 0) b[rng() % 64] = std::numeric_limits<float>::quiet_NaN();
        if (round % 11 == 0) b[rng() % 64] = -std::numeric_limits<float>::infinity();
        if (round % 13 == 0)
            for (float& v : b) v = std::bit_cast<float>(uint32_t(rng()));
        const int32_t maxPrec = round % 5 == 0 ? int32_t(rng() % 70) - 3 : 64;
        const int32_t minExp = round % 4 == 0 ? int32_t(rng() % 300) - 200 : -10740;
        uint64_t a[32] = {}, c[32] = {};
        const int32_t ea = mine.forward(reinterpret_cast<const uint8_t*>(b.data()), 16, 64, maxPrec, minExp, a);
        const int32_t ec = portable.forward(reinterpret_cast<const uint8_t*>(b.data()), 16, 64, maxPrec, minExp, c);
        ASSERT_EQ(ea, ec) << round;
        ASSERT_EQ(std::memcmp(a, c, sizeof a), 0) << round;

        uint64_t planes[32];
        for (auto& w : planes) w = rng() & rng();
        const uint32_t e = uint32_t(rng() % 256);
        Floats x(64), y(64);
        mine.inverse(planes, e, reinterpret_cast<uint8_t*>(x.data()), 16, 64);
        portable.inverse(planes, e, reinterpret_cast<uint8_t*>(y.data()), 16, 64);
        ASSERT_TRUE(sameBits(x, y)) << round;
    }
}

// Steps of every sign and size read and write the same elements.
TEST_P(ZfpVariant, StridesOfEverySignGiveTheSameBlock) {
    auto rng = lumtest::makeRng(73);
    const Floats b = makeBlock(rng, Kind::Smooth);
    const Params p{0, 4171, 64, -10740};
    const Bytes contiguous = encodeOurs(b, p, 1024).stream;
    for (int32_t step : {16, 20, 64, -16, -40}) {
        for (int32_t planeStep : {64, 4 * 64, -64, -300 * 4}) {
            if (std::abs(planeStep) < 4 * std::abs(step)) continue;
            // A volume big enough for the steps, the block's origin inside it.
            const ptrdiff_t span = 3 * (std::abs(step) + std::abs(planeStep)) / 4 + 16;
            Floats volume(size_t(2 * span), 0.0f);
            float* origin = volume.data() + span;
            for (int z = 0; z < 4; ++z)
                for (int y = 0; y < 4; ++y)
                    std::memcpy(reinterpret_cast<uint8_t*>(origin) + z * planeStep + y * step, &b[16 * z + 4 * y], 16);
            Bytes stream(1024);
            Record r;
            ASSERT_EQ(lumsEncodeZfpInit_32f(stream.data(), 1024, r.get()), lumStatusOk);
            ASSERT_EQ(lumsEncodeZfp444_32f(origin, step, planeStep, r.get()), lumStatusOk);
            ASSERT_EQ(lumsEncodeZfpFlush_32f(r.get()), lumStatusOk);
            stream.resize(contiguous.size());
            EXPECT_TRUE(stream == contiguous) << step << " " << planeStep;

            Floats out(volume.size(), 7.0f);
            Record d;
            ASSERT_EQ(lumsDecodeZfpInit_32f(stream.data(), int32_t(stream.size()), d.get()), lumStatusOk);
            float* at = out.data() + span;
            ASSERT_EQ(lumsDecodeZfp444_32f(d.get(), at, step, planeStep), lumStatusOk);
            const Floats reference = decodeOurs(contiguous, p, 1).values;
            size_t written = 0;
            for (int z = 0; z < 4; ++z)
                for (int y = 0; y < 4; ++y) {
                    ASSERT_EQ(std::memcmp(reinterpret_cast<uint8_t*>(at) + z * planeStep + y * step,
                                          &reference[16 * z + 4 * y], 16),
                              0);
                    written += 4;
                }
            EXPECT_EQ(size_t(std::count(out.begin(), out.end(), 7.0f)), out.size() - written);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, ZfpVariant, ::testing::Range<size_t>(0, std::size(lumdc::zfp::kVariants)),
                         [](const auto& info) { return std::string(lumdc::zfp::kVariants[info.param].name); });

// ---- The record ------------------------------------------------------------------

TEST(ZfpRecord, SizesInitAndChecks) {
    int32_t size = 0;
    EXPECT_EQ(lumsEncodeZfpGetStateSize_32f(&size), lumStatusOk);
    EXPECT_EQ(size, 576);
    size = 0;
    EXPECT_EQ(lumsDecodeZfpGetStateSize_32f(&size), lumStatusOk);
    EXPECT_EQ(size, 576);
    EXPECT_EQ(lumsEncodeZfpGetStateSize_32f(nullptr), lumStatusNullPtr);

    uint8_t buf[64];
    Record r;
    EXPECT_EQ(lumsEncodeZfpInit_32f(nullptr, 8, r.get()), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeZfpInit_32f(buf, 8, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeZfpInit_32f(buf, 0, r.get()), lumStatusSizeErr);
    EXPECT_EQ(lumsEncodeZfpInit_32f(buf, -1, r.get()), lumStatusSizeErr);
    EXPECT_EQ(lumsEncodeZfpInitLong_32f(buf, 0, r.get()), lumStatusSizeErr);
    EXPECT_EQ(lumsDecodeZfpInit_32f(buf, 0, r.get()), lumStatusSizeErr);
    EXPECT_EQ(lumsDecodeZfpInitLong_32f(nullptr, 5, r.get()), lumStatusNullPtr);

    // Nothing but the size query and Init accepts a record Init has not seen; a
    // refused Init leaves it so.
    const Floats zeros(64, 0.0f);
    Floats out(64);
    int32_t s32;
    int64_t s64;
    EXPECT_EQ(lumsEncodeZfpSet_32f(0, 64, 64, 0, r.get()), lumStatusContextMismatch);
    EXPECT_EQ(lumsDecodeZfpSet_32f(0, 64, 64, 0, r.get()), lumStatusContextMismatch);
    EXPECT_EQ(lumsEncodeZfpSetAccuracy_32f(1.0, r.get()), lumStatusContextMismatch);
    EXPECT_EQ(lumsEncodeZfpGetCompressedSize_32f(r.get(), &s32), lumStatusContextMismatch);
    EXPECT_EQ(lumsDecodeZfpGetDecompressedSizeLong_32f(r.get(), &s64), lumStatusContextMismatch);
    EXPECT_EQ(lumsEncodeZfpGetCompressedBitSize_32f(r.get(), &s64), lumStatusContextMismatch);
    EXPECT_EQ(lumsEncodeZfpFlush_32f(r.get()), lumStatusContextMismatch);
    EXPECT_EQ(lumsEncodeZfp444_32f(zeros.data(), 16, 64, r.get()), lumStatusContextMismatch);
    EXPECT_EQ(lumsDecodeZfp444_32f(r.get(), out.data(), 16, 64), lumStatusContextMismatch);
    EXPECT_EQ(lumsEncodeZfp444_32f(nullptr, 16, 64, r.get()), lumStatusNullPtr);
    EXPECT_EQ(lumsDecodeZfp444_32f(r.get(), nullptr, 16, 64), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeZfpGetCompressedSize_32f(nullptr, &s32), lumStatusNullPtr);

    ASSERT_EQ(lumsEncodeZfpInit_32f(buf, 64, r.get()), lumStatusOk);
    EXPECT_EQ(lumsEncodeZfpGetCompressedSize_32f(r.get(), nullptr), lumStatusNullPtr);
    EXPECT_EQ(fieldI32(r.get(), 4), 0);
    EXPECT_EQ(fieldI32(r.get(), 8), 4171);
    EXPECT_EQ(fieldI32(r.get(), 12), 64);
    EXPECT_EQ(fieldI32(r.get(), kMinExp), -10740);
    EXPECT_EQ(pointerField(r.get(), kEnd, buf), 64);
    EXPECT_EQ(pointerField(r.get(), kFastLimit, buf), 64 - 528);

    // Set stores as given and recomputes the fast limit in 32-bit arithmetic.
    const std::pair<int32_t, int64_t> limits[] = {{64, 8}, {65, 16}, {4171, 528}, {0, 0}, {-9, 0}, {-100, -8}};
    for (auto [maxBits, back] : limits) {
        ASSERT_EQ(lumsEncodeZfpSet_32f(-3, maxBits, 99, 12345, r.get()), lumStatusOk);
        EXPECT_EQ(pointerField(r.get(), kFastLimit, buf), 64 - back) << maxBits;
        EXPECT_EQ(fieldI32(r.get(), 8), maxBits);
    }
    EXPECT_EQ(fieldI32(r.get(), 4), -3);
    EXPECT_EQ(fieldI32(r.get(), 12), 99);
    EXPECT_EQ(fieldI32(r.get(), kMinExp), 12345);
    ASSERT_EQ(lumsEncodeZfpSet_32f(0, std::numeric_limits<int32_t>::max(), 64, 0, r.get()), lumStatusOk);
    EXPECT_EQ(pointerField(r.get(), kFastLimit, buf), 64 + (int64_t(1) << 28));  // the sum wraps negative
}

TEST(ZfpRecord, SetAccuracyTakesTheBinaryExponent) {
    uint8_t buf[8];
    Record r;
    ASSERT_EQ(lumsDecodeZfpInit_32f(buf, 8, r.get()), lumStatusOk);
    const std::pair<double, int32_t> cases[] = {
        {1e-3, -10},
        {1.0, 0},
        {0.75, -1},
        {1.5, 0},
        {1024.0, 10},
        {0.0, -10740},
        {-1.0, -10740},
        {std::numeric_limits<double>::quiet_NaN(), -10740},
        {std::numeric_limits<double>::denorm_min(), -1023},
        {std::numeric_limits<double>::infinity(), 1024},
    };
    for (auto [tolerance, minExp] : cases) {
        ASSERT_EQ(lumsDecodeZfpSetAccuracy_32f(tolerance, r.get()), lumStatusOk);
        EXPECT_EQ(fieldI32(r.get(), kMinExp), minExp) << tolerance;
    }
    EXPECT_EQ(fieldI32(r.get(), 8), 4171);  // the other parameters stay
}

// Empty blocks write one bit each, so n of them leave n bits to flush.
LumStatus writeEmptyBlocks(Record& r, int n) {
    const Floats zeros(64, 0.0f);
    for (int i = 0; i < n; ++i)
        if (const LumStatus st = lumsEncodeZfp444_32f(zeros.data(), 16, 64, r.get()); st != lumStatusOk) return st;
    return lumStatusOk;
}

TEST(ZfpRecord, FlushWritesAWordOrTheBytesThatFit) {
    struct Case {
        size_t room;
        int bits;
        LumStatus status;
        int64_t advance;
    };
    for (const Case c : {Case{8, 3, lumStatusOk, 8}, Case{40, 3, lumStatusOk, 8}, Case{2, 3, lumStatusOk, 1},
                         Case{2, 17, lumStatusStreamEnd, 2}, Case{3, 17, lumStatusOk, 3}, Case{7, 56, lumStatusOk, 7},
                         Case{1, 9, lumStatusStreamEnd, 1}}) {
        Bytes buf(c.room, 0xEE);
        Record r;
        ASSERT_EQ(lumsEncodeZfpInit_32f(buf.data(), int32_t(c.room), r.get()), lumStatusOk);
        ASSERT_EQ(writeEmptyBlocks(r, c.bits), lumStatusOk);
        int64_t bits = 0;
        ASSERT_EQ(lumsEncodeZfpGetCompressedBitSize_32f(r.get(), &bits), lumStatusOk);
        EXPECT_EQ(bits, c.bits);
        EXPECT_EQ(lumsEncodeZfpFlush_32f(r.get()), c.status) << c.room << " " << c.bits;
        EXPECT_EQ(pointerField(r.get(), kCur, buf.data()), c.advance) << c.room << " " << c.bits;
        for (int64_t i = 0; i < c.advance; ++i) EXPECT_EQ(buf[size_t(i)], 0);
        if (c.status == lumStatusOk) {
            EXPECT_EQ(fieldI32(r.get(), kBitCount), 0);
            EXPECT_EQ(lumsEncodeZfpFlush_32f(r.get()), lumStatusOk);  // nothing left
            EXPECT_EQ(pointerField(r.get(), kCur, buf.data()), c.advance);
        } else {
            EXPECT_EQ(fieldI32(r.get(), kBitCount), c.bits - 8 * int(c.advance));
        }
    }
}

// ---- Block format edges --------------------------------------------------------------

int64_t bitsOfOneBlock(const Floats& b, const Params& p) {
    Bytes buf(4096);
    Record r;
    lumsEncodeZfpInit_32f(buf.data(), 4096, r.get());
    lumsEncodeZfpSet_32f(p.minBits, p.maxBits, p.maxPrec, p.minExp, r.get());
    EXPECT_EQ(lumsEncodeZfp444_32f(b.data(), 16, 64, r.get()), lumStatusOk);
    int64_t bits = 0;
    lumsEncodeZfpGetCompressedBitSize_32f(r.get(), &bits);
    return bits;
}

TEST(ZfpBlock, SizesFixedByTheFormat) {
    auto rng = lumtest::makeRng(74);
    const Floats zeros(64, 0.0f);
    EXPECT_EQ(bitsOfOneBlock(zeros, {}), 1);
    EXPECT_EQ(bitsOfOneBlock(zeros, {256, 256, 64, -10740}), 256);
    EXPECT_EQ(bitsOfOneBlock(zeros, {1, 9, 64, -10740}), 1);

    Floats ones(64, 0.25f);
    ones[5] = -1.0f;  // emax 1: header 2 * 128 + 1
    Bytes buf(1024);
    Record r;
    lumsEncodeZfpInit_32f(buf.data(), 1024, r.get());
    ASSERT_EQ(lumsEncodeZfp444_32f(ones.data(), 16, 64, r.get()), lumStatusOk);
    lumsEncodeZfpFlush_32f(r.get());
    EXPECT_EQ((buf[0] | buf[1] << 8) & 0x1FF, 257);

    // Below the accuracy: p is 0 and the block is empty though not zero.
    Floats small(64, std::ldexp(1.0f, -10));  // emax -9
    EXPECT_EQ(bitsOfOneBlock(small, {0, 4171, 64, 0}), 1);
    EXPECT_GT(bitsOfOneBlock(small, {0, 4171, 64, -2}), 9);  // p = 1
    // maxBits 9: the header only; 9 with padding to minBits; a budget under the
    // header still writes it.
    const Floats noisy = makeBlock(rng, Kind::Noisy);
    EXPECT_EQ(bitsOfOneBlock(noisy, {0, 9, 64, -10740}), 9);
    EXPECT_EQ(bitsOfOneBlock(noisy, {40, 9, 64, -10740}), 40);
    EXPECT_EQ(bitsOfOneBlock(noisy, {0, 3, 64, -10740}), 9);
    EXPECT_EQ(bitsOfOneBlock(noisy, {0, 4171, -5, -10740}), 9);  // no planes at all
    for (int32_t rate : {10, 11, 63, 64, 65, 127, 333, 2048})
        EXPECT_EQ(bitsOfOneBlock(noisy, {rate, rate, 64, -10740}), rate) << rate;
}

TEST(ZfpBlock, DecodingFollowsTheHeaderExponent) {
    // emax 30 (E = 157) uses scale 1: integer values that fit come back exactly.
    Floats ints(64);
    for (int i = 0; i < 64; ++i) ints[i] = float((i * 7919) % 1000) * 1e6f;
    ints[3] = 1 << 29;
    ints[9] = -(1 << 29);  // largest magnitude 2^29 is 0.5 * 2^30: emax 30
    const Encoded e = encodeOurs(ints, {}, 1024);
    ASSERT_EQ(e.stream[0] & 1, 1);
    ASSERT_EQ((e.stream[0] | e.stream[1] << 8) >> 1 & 0xFF, 157);
    const Decoded d = decodeOurs(e.stream, {}, 1);
    ASSERT_EQ(d.status, lumStatusOk);
    for (int i = 0; i < 64; ++i) EXPECT_NEAR(d.values[i], ints[i], 64.0f) << i;

    // A block under 2^-98 is coded with the capped scale; the decoder has no cap,
    // and E = 30 gives scale 0.
    Floats tiny(64, std::ldexp(1.0f, -99));  // emax -98, E = 29
    Floats at30(64, std::ldexp(1.0f, -98));  // emax -97, E = 30
    EXPECT_NE(decodeOurs(encodeOurs(tiny, {}, 1024).stream, {}, 1).values[0], tiny[0]);
    const Floats zero = decodeOurs(encodeOurs(at30, {}, 1024).stream, {}, 1).values;
    EXPECT_TRUE(std::all_of(zero.begin(), zero.end(), [](float v) { return v == 0.0f; }));
}

// A buffer ending inside a block: -4 at that block, the bit size counts what was
// written, and the bytes are a prefix of the whole stream. Every capacity from 1
// up to beyond the whole stream.
TEST(ZfpBlock, EncodingIntoEveryShortBuffer) {
    auto rng = lumtest::makeRng(75);
    const Floats blocks = makeBlocks(rng, 12);
    for (const Params& p : {Params{}, Params{700, 700, 64, -10740}, Params{0, 4171, 64, -8}}) {
        const Encoded whole = encodeOurs(blocks, p, 8192);
        ASSERT_EQ(whole.status, lumStatusOk);
        for (size_t capacity = 1; capacity <= whole.stream.size() + 9; ++capacity) {
            const Encoded part = encodeOurs(blocks, p, capacity);
            if (part.status == lumStatusOk) {
                // With less than a word of room the flush ends on a whole byte.
                EXPECT_TRUE(part.stream.size() <= whole.stream.size() && part.stream.size() + 8 > whole.stream.size() &&
                            std::equal(part.stream.begin(), part.stream.end(), whole.stream.begin()))
                    << capacity;
                continue;
            }
            ASSERT_EQ(part.status, lumStatusStreamEnd);
            ASSERT_LE(part.stream.size(), capacity);
            EXPECT_TRUE(std::equal(part.stream.begin(), part.stream.end(), whole.stream.begin())) << capacity;
            if (part.blocksOk == 12) continue;  // the flush ran out of room
            // Written words plus the 64 buffered bits of the word that found no room.
            EXPECT_GE(int64_t(capacity) * 8 + 64, part.bitsBefore);
        }
    }
}

// A stream cut anywhere: the blocks before the cut decode as in the whole stream,
// then -4; nothing past the end is read (a guard page follows it).
TEST(ZfpBlock, DecodingEveryTruncation) {
    auto rng = lumtest::makeRng(76);
    const Floats blocks = makeBlocks(rng, 10);
    for (const Params& p : {Params{}, Params{333, 333, 64, -10740}, Params{0, 4171, 16, -10740}}) {
        const Bytes whole = encodeOurs(blocks, p, 8192).stream;
        const Decoded full = decodeOurs(whole, p, 10);
        ASSERT_EQ(full.status, lumStatusOk);
        for (size_t cut = 1; cut < whole.size(); ++cut) {
            const Decoded d = decodeOurs(Bytes(whole.begin(), whole.begin() + ptrdiff_t(cut)), p, 10);
            if (d.status == lumStatusOk) {
                // Only the zero fill of the last word may be missing.
                EXPECT_GE(cut * 8 + 64, whole.size() * 8 - 64) << cut;
                continue;
            }
            ASSERT_EQ(d.status, lumStatusStreamEnd) << cut;
            EXPECT_TRUE(
                std::equal(d.values.begin(), d.values.begin() + ptrdiff_t(64 * d.blocksOk), full.values.begin()))
                << cut;
        }
    }
}

}  // namespace
