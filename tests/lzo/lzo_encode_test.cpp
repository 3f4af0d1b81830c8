// LZO1X encoding: exact statuses, the fixed small outputs, round trips through
// liblzo2 and our decoders for both methods, identical streams from every variant,
// the checked writer at every capacity (guard page behind the destination), the
// worst-case bound, and a table full of arbitrary bytes.

#include "lzo/lzo_encode.h"

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

constexpr uint32_t kMethods[] = {lumLzoMethodHash, lumLzoMethodVector};

size_t roomy(size_t n) { return n + n / 16 + 67; }

Bytes makeData(std::mt19937_64& rng, int kind, size_t n) {
    return kind == 0   ? lumtest::randomBytes(rng, n)
           : kind == 1 ? lumtest::textLike(rng, n)
                       : lumtest::repetitive(rng, n);
}

// A state for `method` whose table holds the given byte everywhere.
struct State {
    Bytes memory;
    explicit State(uint32_t method, uint8_t fill = 0) : memory(lumdc::lzo::kStateBytes + 64, fill) {
        EXPECT_EQ(lumsEncodeLZOInit_8u(method, 0, get()), lumStatusOk);
    }
    LumLzoEncodeState* get() {
        // 64-byte aligned inside the vector, as a caller's allocation would be.
        const auto at = (reinterpret_cast<uintptr_t>(memory.data()) + 63) & ~uintptr_t(63);
        return reinterpret_cast<LumLzoEncodeState*>(at);
    }
};

struct Encoded {
    LumStatus status;
    Bytes stream;
};

Encoded encode(const Bytes& data, LumLzoEncodeState* state, size_t capacity) {
    lumtest::GuardedBuffer out(capacity);
    uint32_t len = uint32_t(capacity);
    const LumStatus st = lumsEncodeLZO_8u(data.data(), uint32_t(data.size()), out.data(), &len, state);
    return {st, Bytes(out.data(), out.data() + std::min<size_t>(len, capacity))};
}

::testing::AssertionResult decodesTo(const Bytes& stream, const Bytes& expect) {
    static const bool ready = lzo_init() == LZO_E_OK;
    if (!ready) return ::testing::AssertionFailure() << "lzo_init failed";
    Bytes out(expect.size() + 1);
    lzo_uint len = out.size();
    const int r = lzo1x_decompress_safe(stream.data(), stream.size(), out.data(), &len, nullptr);
    if (r != LZO_E_OK || len != expect.size()) return ::testing::AssertionFailure() << "liblzo2: " << r;
    if (!std::equal(expect.begin(), expect.end(), out.begin())) return ::testing::AssertionFailure() << "liblzo2 bytes";
    for (auto* decode : {lumsDecodeLZOSafe_8u, lumsDecodeLZO_8u}) {
        uint32_t ours = uint32_t(out.size());
        if (decode(stream.data(), uint32_t(stream.size()), out.data(), &ours) != lumStatusOk || ours != expect.size() ||
            !std::equal(expect.begin(), expect.end(), out.begin()))
            return ::testing::AssertionFailure() << "our decoder";
    }
    return ::testing::AssertionSuccess();
}

// ---- Statuses and fixed outputs ---------------------------------------------------------

TEST(LzoEncodeStatus, GetSizeInitAndEncodeChecks) {
    uint32_t size = 7;
    EXPECT_EQ(lumsEncodeLZOGetSize(0, 0, nullptr), lumStatusNullPtr);
    for (uint32_t method : {0u, 1u, 2u}) {
        ASSERT_EQ(lumsEncodeLZOGetSize(method, 12345, &size), lumStatusOk);
        EXPECT_EQ(size, 131104u);
    }
    for (uint32_t method : {3u, 0xFFFFFFFFu}) {
        size = 7;
        EXPECT_EQ(lumsEncodeLZOGetSize(method, 0, &size), lumStatusBadArg);
        EXPECT_EQ(size, 0u);
    }

    State state(0);
    EXPECT_EQ(lumsEncodeLZOInit_8u(0, 0, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZOInit_8u(3, 0, state.get()), lumStatusBadArg);
    for (auto [method, stored] : {std::pair{0u, 0u}, {1u, 0u}, {2u, 2u}}) {
        ASSERT_EQ(lumsEncodeLZOInit_8u(method, 0, state.get()), lumStatusOk);
        EXPECT_EQ(state.get()->method, stored);
    }

    const uint8_t src[4] = {1, 2, 3, 4};
    uint8_t dst[64];
    uint32_t len = sizeof dst;
    EXPECT_EQ(lumsEncodeLZO_8u(nullptr, 4, dst, &len, state.get()), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZO_8u(src, 4, nullptr, &len, state.get()), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZO_8u(src, 4, dst, nullptr, state.get()), lumStatusNullPtr);
    EXPECT_EQ(lumsEncodeLZO_8u(src, 4, dst, &len, nullptr), lumStatusNullPtr);
    state.get()->method = 1;
    EXPECT_EQ(lumsEncodeLZO_8u(src, 4, dst, &len, state.get()), lumStatusBadArg);
    EXPECT_EQ(len, sizeof dst);
}

TEST(LzoEncodeEdge, EmptyOneByteAndARunOfEqualBytes) {
    for (uint32_t method : kMethods) {
        State state(method);
        uint8_t dst[64];
        std::fill(std::begin(dst), std::end(dst), 0xEE);
        uint32_t len = sizeof dst;
        const uint8_t one[1] = {0xA7};
        ASSERT_EQ(lumsEncodeLZO_8u(one, 0, dst, &len, state.get()), lumStatusOk);
        EXPECT_EQ(len, 0u);
        EXPECT_EQ(dst[0], 0xEE);
        len = sizeof dst;
        ASSERT_EQ(lumsEncodeLZO_8u(one, 1, dst, &len, state.get()), lumStatusOk);
        EXPECT_EQ(Bytes(dst, dst + len), (Bytes{0x12, 0xA7, 0x11, 0x00, 0x00}));

        // 1000 equal bytes: a few literals and one long match at distance 1.
        const Bytes run(1000, 'q');
        const Encoded e = encode(run, State(method).get(), roomy(run.size()));
        ASSERT_EQ(e.status, lumStatusOk);
        EXPECT_LE(e.stream.size(), 16u);
        EXPECT_TRUE(decodesTo(e.stream, run));
    }
}

// The hash matcher reads an entry of 0 as empty: with a cleared table, the 4 bytes
// at position 0 are never a candidate, so a source whose only repeat is of them
// is stored as literals.
TEST(LzoEncodeEdge, PositionZeroIsNeverACandidateOfTheHashMatcher) {
    auto rng = lumtest::makeRng(50);
    Bytes data = lumtest::randomBytes(rng, 40);
    std::copy(data.begin(), data.begin() + 4, data.begin() + 20);
    const Encoded e = encode(data, State(lumLzoMethodHash).get(), roomy(data.size()));
    ASSERT_EQ(e.status, lumStatusOk);
    EXPECT_EQ(e.stream.size(), 1 + data.size() + 3);  // one run, the marker
    EXPECT_TRUE(decodesTo(e.stream, data));
}

// Runs of 19 literals each followed by a 4-byte match farther than 2048 back grow
// by one byte in 23: past srcLen + srcLen / 128 + 16, never past the documented
// srcLen + srcLen / 16 + 67, and a capacity between the two gives 33, not an
// overflow.
TEST(LzoEncodeEdge, TheWorstCaseBoundHoldsOnContrivedInput) {
    auto rng = lumtest::makeRng(51);
    const Bytes pool = lumtest::randomBytes(rng, 4096);  // the far 4-byte pieces come from here
    Bytes data = pool;
    while (data.size() < 300000) {
        const Bytes fresh = lumtest::randomBytes(rng, 19);
        data.insert(data.end(), fresh.begin(), fresh.end());
        const size_t from = rng() % 1000;  // more than 2048 back from the end of the data
        data.insert(data.end(), pool.begin() + ptrdiff_t(from), pool.begin() + ptrdiff_t(from) + 4);
    }
    // The hash matcher takes every one of those matches.
    const Encoded e = encode(data, State(lumLzoMethodHash).get(), roomy(data.size()));
    ASSERT_EQ(e.status, lumStatusOk);
    EXPECT_GT(e.stream.size(), data.size() + data.size() / 128 + 16);
    EXPECT_TRUE(decodesTo(e.stream, data));
    const Encoded tight = encode(data, State(lumLzoMethodHash).get(), data.size() + data.size() / 128 + 16);
    EXPECT_EQ(tight.status, lumStatusDstFull);
    // The vector matcher passes over most of them (weak blocks), within the bound.
    const Encoded v = encode(data, State(lumLzoMethodVector).get(), roomy(data.size()));
    ASSERT_EQ(v.status, lumStatusOk);
    EXPECT_TRUE(decodesTo(v.stream, data));
}

// ---- Every variant ------------------------------------------------------------------

class LzoEncodeVariant : public ::testing::TestWithParam<size_t> {
protected:
    void SetUp() override {
        if (!lumtest::hasFeatures(variant().features)) GTEST_SKIP() << "processor lacks " << variant().name;
    }
    const lumdc::Variant<const lumdc::lzo::EncodeKernels*>& variant() const {
        return lumdc::lzo::kEncodeVariants[GetParam()];
    }
    // Encodes under this variant, then under the portable one from an identical
    // state, and requires the same bytes.
    Encoded encodeBoth(const Bytes& data, uint32_t method, uint8_t fill, size_t capacity) {
        State mine(method, fill), portable(method, fill);
        Encoded a;
        {
            lumtest::FeatureScope scope(variant().features);
            a = encode(data, mine.get(), capacity);
        }
        lumtest::FeatureScope scope(0);
        const Encoded b = encode(data, portable.get(), capacity);
        EXPECT_EQ(a.status, b.status);
        EXPECT_TRUE(a.stream == b.stream) << variant().name << " differs from the portable kernel";
        return a;
    }
};

TEST_P(LzoEncodeVariant, RoundTripsEverySizeAndKindLikeThePortableKernel) {
    auto rng = lumtest::makeRng(52);
    std::vector<size_t> sizes;
    for (size_t n = 1; n <= 300; ++n) sizes.push_back(n);
    for (size_t n : {1000u, 4095u, 49151u, 49152u, 65536u, 300000u, 1u << 20}) sizes.push_back(n);
    for (size_t n : sizes)
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            for (uint32_t method : kMethods) {
                const Encoded e = encodeBoth(data, method, 0, roomy(n));
                ASSERT_EQ(e.status, lumStatusOk);
                ASSERT_TRUE(decodesTo(e.stream, data)) << "n " << n << " kind " << kind << " method " << method;
            }
        }
}

// Whatever the table holds (it is never cleared), the stream is valid.
TEST_P(LzoEncodeVariant, AStateFullOfArbitraryBytesStillGivesAValidStream) {
    auto rng = lumtest::makeRng(53);
    for (uint8_t fill : {0x00, 0x01, 0x7F, 0xFF, 0x3C}) {
        for (size_t n : {10u, 777u, 70000u}) {
            const Bytes data = makeData(rng, int(fill % 3), n);
            for (uint32_t method : kMethods) {
                const Encoded e = encodeBoth(data, method, fill, roomy(n));
                ASSERT_EQ(e.status, lumStatusOk);
                ASSERT_TRUE(decodesTo(e.stream, data)) << "fill " << int(fill) << " n " << n;
            }
        }
        // A table of random words, and one left warm by other data.
        State garbage(lumLzoMethodHash);
        for (auto& b : garbage.memory) b = uint8_t(rng());
        for (uint32_t method : kMethods) {
            ASSERT_EQ(lumsEncodeLZOInit_8u(method, 0, garbage.get()), lumStatusOk);
            const Bytes data = lumtest::textLike(rng, 5000);
            const Encoded e = encode(data, garbage.get(), roomy(data.size()));
            ASSERT_EQ(e.status, lumStatusOk);
            ASSERT_TRUE(decodesTo(e.stream, data));
            const Encoded again = encode(data, garbage.get(), roomy(data.size()));
            ASSERT_TRUE(decodesTo(again.stream, data));
        }
    }
}

// Entries just below 2^32 are p - 1 - c away from position p modulo 2^32, a
// short distance: they must be rejected as later positions, not read as bytes
// before the source. Here each entry is its position's place in a copy of the
// source lying 4096 bytes before it, so any such read would find equal bytes and
// turn into a match (and the stream would differ from the portable kernel's).
TEST_P(LzoEncodeVariant, StaleEntriesJustBelowTwoToThe32AreNotReadBeforeTheSource) {
    auto rng = lumtest::makeRng(57);
    for (int kind = 0; kind < 2; ++kind) {
        const Bytes data = makeData(rng, kind, 4096);
        Bytes twice(data);
        twice.insert(twice.end(), data.begin(), data.end());
        const uint8_t* src = twice.data() + data.size();
        for (uint32_t method : kMethods) {
            State warm(method);
            ASSERT_EQ(encode(data, warm.get(), roomy(data.size())).status, lumStatusOk);
            for (auto& entry : warm.get()->hashTable) entry -= uint32_t(data.size());
            Bytes streams[2];
            for (int pass = 0; pass < 2; ++pass) {
                Bytes state(warm.memory);
                auto* st = reinterpret_cast<LumLzoEncodeState*>(
                    state.data() + (reinterpret_cast<uint8_t*>(warm.get()) - warm.memory.data()));
                lumtest::FeatureScope scope(pass == 0 ? variant().features : 0);
                Bytes out(roomy(data.size()));
                uint32_t len = uint32_t(out.size());
                ASSERT_EQ(lumsEncodeLZO_8u(src, uint32_t(data.size()), out.data(), &len, st), lumStatusOk);
                streams[pass].assign(out.begin(), out.begin() + len);
            }
            EXPECT_TRUE(streams[0] == streams[1]) << variant().name << " kind " << kind << " method " << method;
            EXPECT_TRUE(decodesTo(streams[0], data));
        }
    }
}

// The bytes of a stream cut short by a full destination are those of the whole
// stream, except the trailing-literal field of the last match, which stays 0
// when the run that would fill it did not fit.
bool isPrefix(const Bytes& part, const Bytes& whole) {
    for (size_t i = 0; i < part.size(); ++i)
        if (part[i] != whole[i] && !(i + 2 == part.size() && part[i] == (whole[i] & ~3))) return false;
    return true;
}

// Below the worst case the checked writer runs: at every capacity either the whole
// stream (the unchecked writer's bytes) or 33 with a prefix of it.
TEST_P(LzoEncodeVariant, EveryCapacityGivesTheStreamOrAPrefixOfIt) {
    auto rng = lumtest::makeRng(54);
    for (size_t n : {1u, 17u, 300u, 2000u}) {
        for (int kind = 0; kind < 3; ++kind) {
            const Bytes data = makeData(rng, kind, n);
            for (uint32_t method : kMethods) {
                const Encoded whole = encodeBoth(data, method, 0, roomy(n));
                ASSERT_EQ(whole.status, lumStatusOk);
                for (size_t cap = 1; cap < whole.stream.size() + 8; ++cap) {
                    const Encoded part = encodeBoth(data, method, 0, cap);
                    if (cap >= whole.stream.size()) {
                        ASSERT_EQ(part.status, lumStatusOk) << "capacity " << cap;
                        ASSERT_EQ(part.stream, whole.stream);
                    } else {
                        ASSERT_EQ(part.status, lumStatusDstFull) << "capacity " << cap;
                        ASSERT_TRUE(isPrefix(part.stream, whole.stream))
                            << "n " << n << " kind " << kind << " method " << method << " capacity " << cap;
                        // Whole instructions: what they decode to is a prefix of the source.
                        const auto ref =
                            lumtest::lzoReferenceDecode(part.stream.data(), part.stream.size(), data.size());
                        ASSERT_TRUE(std::equal(data.begin(), data.begin() + ptrdiff_t(ref.produced), ref.out.begin()));
                    }
                }
            }
        }
    }
}

// Sizes against liblzo2's fast compressor on the corpus: the hash matcher within
// 3% of it and the vector one within 6% (they are better on most files).
TEST_P(LzoEncodeVariant, TheCorpusRoundTripsAndStaysCloseToLiblzo) {
    const auto files = lumtest::corpusFiles();
    if (files.empty()) GTEST_SKIP() << "corpus not found";
    static const bool ready = lzo_init() == LZO_E_OK;
    ASSERT_TRUE(ready);
    for (const auto& file : files) {
        const Bytes data = lumtest::readFile(file, 2 << 20);
        Bytes ref(roomy(data.size())), work(LZO1X_1_MEM_COMPRESS);
        lzo_uint refLen = ref.size();
        ASSERT_EQ(lzo1x_1_compress(data.data(), data.size(), ref.data(), &refLen, work.data()), LZO_E_OK);
        for (uint32_t method : kMethods) {
            lumtest::FeatureScope scope(variant().features);
            const Encoded e = encode(data, State(method).get(), roomy(data.size()));
            ASSERT_EQ(e.status, lumStatusOk);
            ASSERT_TRUE(decodesTo(e.stream, data)) << file;
            const double limit = method == lumLzoMethodHash ? 1.03 : 1.06;
            EXPECT_LE(double(e.stream.size()), limit * double(refLen)) << file << " method " << method;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, LzoEncodeVariant, ::testing::Range<size_t>(0, std::size(lumdc::lzo::kEncodeVariants)),
                         [](const auto& info) { return std::string(lumdc::lzo::kEncodeVariants[info.param].name); });

}  // namespace
