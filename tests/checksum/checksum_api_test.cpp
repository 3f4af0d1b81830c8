// The four checksum exports as a caller sees them: exact statuses in check order,
// untouched values on error, the published check values, piecewise equals whole,
// and agreement with zlib and isa-l.

#include <gtest/gtest.h>
#include <isa-l/crc.h>
#include <sys/mman.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>

#include "lumdc.h"
#include "test_support.h"

namespace {

const uint8_t kCheck[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
constexpr uint32_t kUntouched = 0xA5A5A5A5u;

TEST(ChecksumStatus, NullValuePointerWinsOverEverythingElse) {
    EXPECT_EQ(lumsAdler32_8u(kCheck, 9, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsAdler32_8u(nullptr, -1, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsCRC32_8u(kCheck, -1, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsCRC32_BZ2_8u(kCheck, 0, nullptr), lumStatusNullPtr);
    EXPECT_EQ(lumsCRC32C_8u(kCheck, 0, nullptr), lumStatusNullPtr);
}

TEST(ChecksumStatus, NullSourceIsAnErrorForCrcsButAFreshStreamForAdler) {
    uint32_t v = kUntouched;
    EXPECT_EQ(lumsCRC32_8u(nullptr, 0, &v), lumStatusNullPtr);
    EXPECT_EQ(lumsCRC32_BZ2_8u(nullptr, -5, &v), lumStatusNullPtr);
    EXPECT_EQ(lumsCRC32C_8u(nullptr, 0, &v), lumStatusNullPtr);
    EXPECT_EQ(v, kUntouched);
    for (int32_t len : {-7, 0, 9}) {
        v = kUntouched;
        EXPECT_EQ(lumsAdler32_8u(nullptr, len, &v), lumStatusOk);
        EXPECT_EQ(v, 1u);
    }
}

TEST(ChecksumStatus, LengthRulesDifferByExport) {
    uint32_t v = kUntouched;
    EXPECT_EQ(lumsCRC32_8u(kCheck, 0, &v), lumStatusSizeErr);
    EXPECT_EQ(lumsCRC32_8u(kCheck, -1, &v), lumStatusSizeErr);
    EXPECT_EQ(lumsCRC32_BZ2_8u(kCheck, 0, &v), lumStatusSizeErr);
    EXPECT_EQ(lumsCRC32_BZ2_8u(kCheck, INT32_MIN, &v), lumStatusSizeErr);
    EXPECT_EQ(lumsCRC32C_8u(kCheck, 0, &v), lumStatusSizeErr);
    EXPECT_EQ(v, kUntouched);

    // Adler-32 never reports a size error: it reduces the value and succeeds.
    v = 0xFFFFFFFFu;
    EXPECT_EQ(lumsAdler32_8u(kCheck, 0, &v), lumStatusOk);
    EXPECT_EQ(v, 0x000E000Eu);
    v = 0xFFFFFFFFu;
    EXPECT_EQ(lumsAdler32_8u(kCheck, -3, &v), lumStatusOk);
    EXPECT_EQ(v, 0x000E000Eu);
}

TEST(ChecksumValues, PublishedCheckValues) {
    uint32_t v = 1;
    ASSERT_EQ(lumsAdler32_8u(kCheck, 9, &v), lumStatusOk);
    EXPECT_EQ(v, 0x091E01DEu);
    v = 0;
    ASSERT_EQ(lumsCRC32_8u(kCheck, 9, &v), lumStatusOk);
    EXPECT_EQ(v, 0xCBF43926u);
    v = 0;
    ASSERT_EQ(lumsCRC32_BZ2_8u(kCheck, 9, &v), lumStatusOk);
    EXPECT_EQ(v, 0xFC891918u);
    v = 0xFFFFFFFFu;
    ASSERT_EQ(lumsCRC32C_8u(kCheck, 9, &v), lumStatusOk);
    EXPECT_EQ(v, 0x1CF96D7Cu);
    EXPECT_EQ(~v, 0xE3069283u);
}

// Our four exports beside the peer computing the same checksum, with the
// peer's own convention for the running value.
struct Pair {
    const char* name;
    uint32_t fresh;
    LumStatus (*ours)(const uint8_t*, size_t, uint32_t*);
    uint32_t (*peer)(uint32_t, const uint8_t*, size_t);
};

const Pair kPairs[] = {
    {"adler32/zlib", 1, [](const uint8_t* p, size_t n, uint32_t* v) { return lumsAdler32_8u(p, int32_t(n), v); },
     [](uint32_t v, const uint8_t* p, size_t n) { return uint32_t(adler32(v, p, uInt(n))); }},
    {"crc32/zlib", 0, [](const uint8_t* p, size_t n, uint32_t* v) { return lumsCRC32_8u(p, int32_t(n), v); },
     [](uint32_t v, const uint8_t* p, size_t n) { return uint32_t(crc32(v, p, uInt(n))); }},
    {"crc32_bz2/isal", 0, [](const uint8_t* p, size_t n, uint32_t* v) { return lumsCRC32_BZ2_8u(p, int32_t(n), v); },
     [](uint32_t v, const uint8_t* p, size_t n) { return crc32_ieee(v, p, n); }},
    {"crc32c/isal", 0xFFFFFFFFu,
     [](const uint8_t* p, size_t n, uint32_t* v) { return lumsCRC32C_8u(p, uint32_t(n), v); },
     [](uint32_t v, const uint8_t* p, size_t n) { return crc32_iscsi(const_cast<uint8_t*>(p), int(n), v); }},
};

TEST(ChecksumInterop, AgreesWithPeersOverLengthsAlignmentsAndSplits) {
    auto rng = lumtest::makeRng(1);
    const auto data = lumtest::randomBytes(rng, (1 << 20) + 4096);
    for (const Pair& pair : kPairs) {
        SCOPED_TRACE(pair.name);
        for (int round = 0; round < 300; ++round) {
            const size_t len = round < 200 ? 1 + size_t(round) * 7 : 1 + rng() % (1 << 20);
            const size_t off = rng() % 4096;
            const uint8_t* p = data.data() + off;
            const uint32_t expect = pair.peer(pair.fresh, p, len);

            uint32_t whole = pair.fresh;
            ASSERT_EQ(pair.ours(p, len, &whole), lumStatusOk);
            ASSERT_EQ(whole, expect) << "len " << len << " offset " << off;

            uint32_t pieces = pair.fresh;
            size_t at = 0;
            for (size_t piece : lumtest::randomSplit(rng, len, 6)) {
                if (piece == 0) continue;  // the CRC exports reject empty pieces
                ASSERT_EQ(pair.ours(p + at, piece, &pieces), lumStatusOk);
                at += piece;
            }
            ASSERT_EQ(pieces, expect) << "len " << len << " split";
        }
    }
}

TEST(ChecksumInterop, AgreesWithPeersOnTheCorpus) {
    const auto files = lumtest::corpusFiles();
    if (files.empty()) GTEST_SKIP() << "corpus not found at " << lumtest::corpusDir();
    for (const auto& file : files) {
        const auto data = lumtest::readFile(file);
        for (const Pair& pair : kPairs) {
            uint32_t v = pair.fresh;
            ASSERT_EQ(pair.ours(data.data(), data.size(), &v), lumStatusOk);
            EXPECT_EQ(v, pair.peer(pair.fresh, data.data(), data.size())) << pair.name << " " << file;
        }
    }
}

// The CRC-32C length is unsigned: a count above 2^31 must be taken whole. Zero
// pages, with a few bytes set, keep this cheap.
TEST(ChecksumLarge, Crc32cTakesLengthsAboveTwoGiB) {
    const size_t len = (size_t(1) << 31) + 4097;
    void* m = mmap(nullptr, len, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(m, MAP_FAILED);
    auto* p = static_cast<uint8_t*>(m);
    for (size_t at : {size_t(0), size_t(12345), size_t(1) << 30, (size_t(1) << 31) - 1, len - 1})
        p[at] = uint8_t(at | 1);

    uint32_t whole = 0xFFFFFFFFu;
    ASSERT_EQ(lumsCRC32C_8u(p, uint32_t(len), &whole), lumStatusOk);
    uint32_t expect = 0xFFFFFFFFu;  // isa-l takes an int length: feed it in pieces
    for (size_t at = 0; at < len; at += size_t(1) << 30)
        expect = crc32_iscsi(p + at, int(std::min(len - at, size_t(1) << 30)), expect);
    EXPECT_EQ(whole, expect);
    munmap(m, len);
}

}  // namespace
