// Copy, zero, fill and clamp kernels: every variant against the expected bytes on
// every route of the size strategies (small, string move, backward blocks across
// 4K aliasing distances, streaming stores under a forced cache size), with guard
// bytes around every destination; and the statuses of the checked entry points.

#include "core/mem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

using lumdc::MemKernels;

constexpr uint8_t kCanary = 0xCC;
constexpr size_t kPad = 64;

// A destination with canary bytes on both sides, placed at a chosen page offset.
struct Dest {
    std::vector<uint8_t> storage;
    uint8_t* p;
    size_t n;
    Dest(size_t size, size_t pageOffset) : storage(size + 2 * kPad + 8192, kCanary), n(size) {
        const auto base = reinterpret_cast<uintptr_t>(storage.data()) + kPad;
        const uintptr_t page = (base + 4095) & ~uintptr_t(4095);
        p = reinterpret_cast<uint8_t*>(page + pageOffset);
    }
    ::testing::AssertionResult intact() const {
        for (size_t i = 1; i <= kPad; ++i) {
            if (p[-ptrdiff_t(i)] != kCanary) return ::testing::AssertionFailure() << "wrote " << i << " bytes before";
            if (p[n + i - 1] != kCanary) return ::testing::AssertionFailure() << "wrote past end at +" << i - 1;
        }
        return ::testing::AssertionSuccess();
    }
};

// A source whose first byte sits at a chosen page offset.
struct Source {
    std::vector<uint8_t> storage;
    const uint8_t* p;
    Source(std::mt19937_64& rng, size_t size, size_t pageOffset) : storage(lumtest::randomBytes(rng, size + 8192)) {
        const auto base = reinterpret_cast<uintptr_t>(storage.data());
        p = reinterpret_cast<const uint8_t*>(((base + 4095) & ~uintptr_t(4095)) + pageOffset);
    }
};

class MemVariant : public ::testing::TestWithParam<const lumdc::MemVariant*> {
protected:
    void SetUp() override {
        if (!lumtest::hasFeatures(GetParam()->features)) GTEST_SKIP() << "processor lacks " << GetParam()->name;
    }
    const MemKernels& k() const { return *GetParam()->kernels; }
};

TEST_P(MemVariant, CopiesEveryShortLengthAtEveryAlignment) {
    auto rng = lumtest::makeRng(20);
    for (size_t n = 0; n <= 700; ++n) {
        Source src(rng, n, rng() % 64);
        Dest dst(n, rng() % 64);
        k().copy(src.p, dst.p, n);
        ASSERT_TRUE(std::equal(src.p, src.p + n, dst.p)) << "n " << n;
        ASSERT_TRUE(dst.intact()) << "n " << n;
    }
}

TEST_P(MemVariant, CopyStaysInsideGuardPages) {
    auto rng = lumtest::makeRng(21);
    for (size_t n = 0; n <= 520; n += 1 + n / 30) {
        const auto bytes = lumtest::randomBytes(rng, n);
        for (auto flush : {lumtest::GuardedBuffer::Flush::End, lumtest::GuardedBuffer::Flush::Start}) {
            lumtest::GuardedBuffer src(n, flush), dst(n, flush);
            std::copy(bytes.begin(), bytes.end(), src.data());
            k().copy(src.data(), dst.data(), n);
            ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(), dst.data())) << "n " << n;
        }
    }
}

TEST_P(MemVariant, FillsBytesAndWordPatternsInPhase) {
    auto rng = lumtest::makeRng(22);
    for (size_t n = 0; n <= 600; ++n) {
        const uint32_t pattern = uint32_t(rng());
        Dest dst(n, rng() % 64);
        k().fill(dst.p, pattern, n);
        for (size_t i = 0; i < n; ++i)
            ASSERT_EQ(dst.p[i], uint8_t(pattern >> (8 * (i % 4)))) << "n " << n << " i " << i;
        ASSERT_TRUE(dst.intact()) << "n " << n;
    }
}

TEST_P(MemVariant, ClampsOnlyElementsAboveTheLimit) {
    auto rng = lumtest::makeRng(23);
    for (size_t n = 0; n <= 100; ++n) {
        std::vector<int32_t> v(n + 2);
        for (auto& x : v) x = int32_t(rng());
        v[0] = v[n + 1] = 0x7EADBEEF;
        std::vector<int32_t> expect(v);
        const int32_t limit = int32_t(rng() % 2000000000) - 1000000000;
        for (size_t i = 1; i <= n; ++i) expect[i] = std::min(expect[i], limit);
        k().minC(v.data() + 1, n, limit);
        ASSERT_EQ(v, expect) << "n " << n;
    }
}

// Each route of the large copy, on this variant's kernels.
TEST_P(MemVariant, LargeCopyIsExactOnEveryRoute) {
    auto rng = lumtest::makeRng(24);
    struct Case {
        size_t n, srcOffset, dstOffset;
        int32_t cache;  // forced cache size; 0 keeps the processor's
    };
    const Case cases[] = {
        {32767, 5, 3, 0},           // small kernel
        {32768, 0, 0, 0},           // page distance 0: backward blocks
        {40000, 100, 101, 0},       // distance 1
        {40000, 64, 128, 0},        // distance 64
        {100001, 17, 176, 0},       // distance 159, the last aliasing one
        {100001, 17, 177, 0},       // distance 160: string move, odd relative alignment
        {70000, 3000, 100, 0},      // destination below source: wraps to a large distance
        {65536 + 5, 8, 4000, 0},    // 8-byte relative alignment
        {65536 + 6, 4, 4000, 0},    // 4-byte
        {65536 + 7, 2, 4000, 0},    // 2-byte
        {4194304, 1, 33, 8 << 20},  // one below the streaming threshold
        {4194305, 1, 33, 8 << 20},  // streams: half the cache fits in the copy
        {(17 << 20) + 3, 13, 50, 8 << 20},
        {(17 << 20) + 3, 13, 50, -1},          // cache unknown: no streaming
        {(17 << 20) + 3, 13, 50, 0x7FFFFFFF},  // cache far larger than the copy
    };
    for (const Case& c : cases) {
        lumtest::CacheSizeScope cache(c.cache);
        Source src(rng, c.n, c.srcOffset);
        Dest dst(c.n, c.dstOffset);
        lumdc::copyLarge(k(), src.p, dst.p, c.n);
        ASSERT_EQ(std::memcmp(src.p, dst.p, c.n), 0) << "n " << c.n << " src " << c.srcOffset << " dst " << c.dstOffset;
        ASSERT_TRUE(dst.intact()) << "n " << c.n;
    }
}

TEST_P(MemVariant, LargeFillsAndZeroesAreExactOnEveryRoute) {
    auto rng = lumtest::makeRng(25);
    for (size_t n : {size_t(32768), size_t(32769), size_t(2097152), size_t(2097153), size_t(17 << 20) + 5}) {
        for (int32_t cacheSize : {1 << 20, 0x7FFFFFFF, -1}) {
            lumtest::CacheSizeScope cache(cacheSize);
            Dest dst(n, rng() % 64);
            const uint8_t value = uint8_t(rng() | 1);
            lumdc::fillBytes(k(), value, dst.p, n);
            ASSERT_TRUE(std::all_of(dst.p, dst.p + n, [&](uint8_t b) { return b == value; })) << "fill n " << n;
            ASSERT_TRUE(dst.intact());
            lumdc::zeroBytes(k(), dst.p, n);
            ASSERT_TRUE(std::all_of(dst.p, dst.p + n, [](uint8_t b) { return b == 0; })) << "zero n " << n;
            ASSERT_TRUE(dst.intact());
        }
    }
    // Word fills stream only from 524289 words, and only to a 4-byte aligned start.
    for (size_t count : {size_t(524288), size_t(524289), size_t(3 << 20) + 1}) {
        for (size_t misalign : {0, 1, 2}) {
            lumtest::CacheSizeScope cache(1 << 20);
            Dest dst(count * 4, 4 * (rng() % 16) + misalign);
            const int32_t value = int32_t(rng());
            lumdc::fillWords(k(), value, reinterpret_cast<int32_t*>(dst.p), count);
            for (size_t i = 0; i < count; ++i) {
                int32_t w;
                std::memcpy(&w, dst.p + 4 * i, 4);
                ASSERT_EQ(w, value) << "count " << count << " word " << i;
            }
            ASSERT_TRUE(dst.intact());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, MemVariant,
                         ::testing::Values(&lumdc::kMemVariants[0], &lumdc::kMemVariants[1], &lumdc::kMemVariants[2]),
                         [](const auto& info) { return std::string(info.param->name); });

TEST(MemEntryPoints, CheckedCopyStatuses) {
    uint8_t src[4] = {1, 2, 3, 4}, dst[4] = {9, 9, 9, 9};
    EXPECT_EQ(lumdc::ownCopyChecked_8u(nullptr, dst, 4), lumStatusNullPtr);
    EXPECT_EQ(lumdc::ownCopyChecked_8u(src, nullptr, -1), lumStatusNullPtr);
    EXPECT_EQ(lumdc::ownCopyChecked_8u(src, dst, 0), lumStatusSizeErr);
    EXPECT_EQ(lumdc::ownCopyChecked_8u(src, dst, -4), lumStatusSizeErr);
    EXPECT_EQ(dst[0], 9);
    EXPECT_EQ(lumdc::ownCopyChecked_8u(src, dst, 4), lumStatusOk);
    EXPECT_EQ(std::memcmp(src, dst, 4), 0);
}

TEST(MemEntryPoints, TableKernelStatusesAndThresholds) {
    EXPECT_EQ(lumdc::ownZero_32u(nullptr, 0), lumStatusNullPtr);
    EXPECT_EQ(lumdc::ownZero_16u(nullptr, 5), lumStatusNullPtr);
    EXPECT_EQ(lumdc::ownMinC_32s(nullptr, 5, 0), lumStatusNullPtr);
    uint32_t w = 7;
    uint16_t h = 7;
    int32_t s = 7;
    EXPECT_EQ(lumdc::ownZero_32u(&w, 0), lumStatusSizeErr);
    EXPECT_EQ(lumdc::ownZero_16u(&h, -1), lumStatusSizeErr);
    EXPECT_EQ(lumdc::ownMinC_32s(&s, 0, 0), lumStatusSizeErr);
    EXPECT_EQ(w + h + s, 21u);

    // Both sides of the string-store thresholds, with a guard word after.
    for (int32_t count : {1, 524288, 524289}) {
        std::vector<uint32_t> t(size_t(count) + 1, 0xFFFFFFFFu);
        ASSERT_EQ(lumdc::ownZero_32u(t.data(), count), lumStatusOk);
        EXPECT_TRUE(std::all_of(t.begin(), t.end() - 1, [](uint32_t x) { return x == 0; })) << count;
        EXPECT_EQ(t.back(), 0xFFFFFFFFu);
    }
    for (int32_t count : {3, 1048576, 1048577}) {
        std::vector<uint16_t> t(size_t(count) + 1, 0xFFFF);
        ASSERT_EQ(lumdc::ownZero_16u(t.data(), count), lumStatusOk);
        EXPECT_TRUE(std::all_of(t.begin(), t.end() - 1, [](uint16_t x) { return x == 0; })) << count;
        EXPECT_EQ(t.back(), 0xFFFF);
    }
    std::vector<int32_t> m = {5, -5, 100, INT32_MAX, INT32_MIN};
    ASSERT_EQ(lumdc::ownMinC_32s(m.data(), 5, 5), lumStatusOk);
    EXPECT_EQ(m, (std::vector<int32_t>{5, -5, 5, 5, INT32_MIN}));
}

TEST(MemEntryPoints, NonPositiveLengthsDoNothing) {
    uint8_t b[4] = {1, 2, 3, 4};
    int32_t w[1] = {42};
    lumdc::ownCopy_8u(b, b + 2, 0);
    lumdc::ownCopyLarge_8u(b, b + 2, -1);
    lumdc::ownZero_8u(b, 0);
    lumdc::ownFill_8u(9, b, -3);
    lumdc::ownFill_32s(9, w, 0);
    EXPECT_EQ(b[2], 3);
    EXPECT_EQ(w[0], 42);
}

// The dispatching entry points must reach the same kernels under the switch.
TEST(MemEntryPoints, EntryPointsAgreeOnEveryFeatureLevel) {
    auto rng = lumtest::makeRng(26);
    const auto src = lumtest::randomBytes(rng, 100000);
    for (const auto& v : lumdc::kMemVariants) {
        lumtest::FeatureScope only(v.features);
        std::vector<uint8_t> dst(100000, 0);
        lumdc::ownCopy_8u(src.data(), dst.data(), 1000);
        lumdc::ownCopyLarge_8u(src.data() + 1000, dst.data() + 1000, 99000);
        EXPECT_EQ(dst, src) << v.name;
        lumdc::ownFill_8u(0xAB, dst.data(), 50000);
        lumdc::ownZero_8u(dst.data() + 50000, 50000);
        EXPECT_EQ(dst[49999], 0xAB);
        EXPECT_EQ(dst[50000], 0);
        std::vector<int32_t> words(1001, 0);
        lumdc::ownFill_32s(-2, words.data(), 1000);
        EXPECT_EQ(words[999], -2);
        EXPECT_EQ(words[1000], 0);
    }
}

}  // namespace
