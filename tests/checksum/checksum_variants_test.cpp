// Every checksum kernel variant against the portable one, and the portable ones
// against bit-at-a-time definitions: all lengths through the vector widths and
// fold strides, every alignment, unreduced and worst-case inputs, buffers flush
// against guard pages, and each variant reached through its export by the switch.

#include <gtest/gtest.h>

#include <span>
#include <string>

#include "checksum/adler32.h"
#include "checksum/crc.h"
#include "lumdc.h"
#include "test_support.h"

namespace {

using Kernel = uint32_t (*)(uint32_t, const uint8_t*, size_t);

// Definitions straight from the polynomials, one bit at a time, on the internal
// state (the kernels' input and output).
uint32_t bitwiseReflected(uint32_t poly, uint32_t c, const uint8_t* p, size_t n) {
    const uint32_t rpoly = lumdc::crc::reflect32(poly);
    for (size_t i = 0; i < n; ++i) {
        c ^= p[i];
        for (int b = 0; b < 8; ++b) c = (c >> 1) ^ ((c & 1u) ? rpoly : 0u);
    }
    return c;
}

uint32_t bitwiseMsbFirstSwapped(uint32_t c, const uint8_t* p, size_t n) {
    uint32_t r = lumdc::crc::byteSwap32(c);
    for (size_t i = 0; i < n; ++i) {
        r ^= uint32_t(p[i]) << 24;
        for (int b = 0; b < 8; ++b) r = (r << 1) ^ ((r & 0x80000000u) ? lumdc::crc::kPolyCrc32 : 0u);
    }
    return lumdc::crc::byteSwap32(r);
}

uint32_t adlerByDefinition(uint32_t v, const uint8_t* p, size_t n) {
    uint64_t a = v & 0xFFFF, b = v >> 16;
    for (size_t i = 0; i < n; ++i) {
        a = (a + p[i]) % 65521;
        b = (b + a) % 65521;
    }
    return uint32_t(b % 65521) << 16 | uint32_t(a % 65521);
}

// Each family's export in terms of the internal state, so that a variant can be
// reached through the dispatcher and compared with its kernel.
struct Family {
    const char* name;
    std::span<const lumdc::Variant<Kernel>> variants;
    Kernel definition;
    uint32_t (*viaExport)(uint32_t state, const uint8_t* p, size_t n);
};

const Family kFamilies[] = {
    {"crc32", lumdc::crc::kCrc32Variants,
     [](uint32_t c, const uint8_t* p, size_t n) { return bitwiseReflected(lumdc::crc::kPolyCrc32, c, p, n); },
     [](uint32_t c, const uint8_t* p, size_t n) {
         uint32_t v = ~c;
         EXPECT_EQ(lumsCRC32_8u(p, int32_t(n), &v), lumStatusOk);
         return ~v;
     }},
    {"bz2", lumdc::crc::kBz2Variants, bitwiseMsbFirstSwapped,
     [](uint32_t c, const uint8_t* p, size_t n) {
         uint32_t v = ~lumdc::crc::byteSwap32(c);
         EXPECT_EQ(lumsCRC32_BZ2_8u(p, int32_t(n), &v), lumStatusOk);
         return lumdc::crc::byteSwap32(~v);
     }},
    {"crc32c", lumdc::crc::kCrc32cVariants,
     [](uint32_t c, const uint8_t* p, size_t n) { return bitwiseReflected(lumdc::crc::kPolyCrc32c, c, p, n); },
     [](uint32_t c, const uint8_t* p, size_t n) {
         EXPECT_EQ(lumsCRC32C_8u(p, uint32_t(n), &c), lumStatusOk);
         return c;
     }},
    {"adler32", lumdc::adler::kAdler32Variants, adlerByDefinition,
     [](uint32_t v, const uint8_t* p, size_t n) {
         EXPECT_EQ(lumsAdler32_8u(p, int32_t(n), &v), lumStatusOk);
         return v;
     }},
};

struct Param {
    const Family* family;
    size_t index;
    const lumdc::Variant<Kernel>& variant() const { return family->variants[index]; }
    Kernel portable() const { return family->variants.back().fn; }
};

std::vector<Param> allVariants() {
    std::vector<Param> params;
    for (const Family& f : kFamilies)
        for (size_t i = 0; i < f.variants.size(); ++i) params.push_back({&f, i});
    return params;
}

class ChecksumVariant : public ::testing::TestWithParam<Param> {
protected:
    void SetUp() override {
        if (!lumtest::hasFeatures(GetParam().variant().features))
            GTEST_SKIP() << "processor lacks the features of " << GetParam().variant().name;
    }
    Kernel kernel() const { return GetParam().variant().fn; }
    Kernel portable() const { return GetParam().portable(); }
};

TEST_P(ChecksumVariant, PortableKernelMatchesTheDefinition) {
    auto rng = lumtest::makeRng(10);
    const auto data = lumtest::randomBytes(rng, 3000);
    for (size_t n = 0; n < 700; n += 1 + n / 64) {
        const uint32_t init = uint32_t(rng());
        ASSERT_EQ(portable()(init, data.data() + n % 13, n),
                  GetParam().family->definition(init, data.data() + n % 13, n))
            << "n " << n;
    }
}

// Every length up to past four 256-byte fold strides, each at a different
// alignment, with a random starting state.
TEST_P(ChecksumVariant, MatchesPortableForEveryShortLengthAndAlignment) {
    auto rng = lumtest::makeRng(11);
    const auto data = lumtest::randomBytes(rng, 4096);
    for (size_t n = 0; n <= 1200; ++n) {
        const size_t off = (n * 7) % 64;
        const uint32_t init = uint32_t(rng());
        ASSERT_EQ(kernel()(init, data.data() + off, n), portable()(init, data.data() + off, n))
            << "n " << n << " offset " << off << " init " << init;
    }
}

TEST_P(ChecksumVariant, MatchesPortableOnLongAndExtremeInputs) {
    auto rng = lumtest::makeRng(12);
    auto data = lumtest::randomBytes(rng, (3 << 20) + 64);
    const std::vector<uint8_t> ones((3 << 20) + 64, 0xFF);
    // Adler chunk boundaries (5536 bytes, 1 MiB of blocks) and fold strides.
    const size_t lengths[] = {5535,    5536,          5537,           11072,           65536,  (1 << 20) - 1,
                              1 << 20, (1 << 20) + 1, (1 << 20) + 63, (2 << 20) + 257, 3 << 20};
    for (size_t n : lengths) {
        const std::vector<uint8_t>* const buffers[] = {&data, &ones};
        for (const std::vector<uint8_t>* buf : buffers) {
            for (uint32_t init : {0u, 1u, 0xFFFFFFFFu, 0xFFF0FFF0u, uint32_t(rng())}) {
                const size_t off = rng() % 64;
                ASSERT_EQ(kernel()(init, buf->data() + off, n), portable()(init, buf->data() + off, n))
                    << "n " << n << " init " << init << (buf == &ones ? " all ones" : " random");
            }
        }
    }
}

// Inputs ending flush against an inaccessible page, and starting flush after
// one: a wide load past either end faults instead of passing silently.
TEST_P(ChecksumVariant, NeverReadsOutsideTheBuffer) {
    auto rng = lumtest::makeRng(13);
    for (size_t n = 0; n <= 600; n += 1 + n / 40) {
        for (auto flush : {lumtest::GuardedBuffer::Flush::End, lumtest::GuardedBuffer::Flush::Start}) {
            lumtest::GuardedBuffer buf(n, flush);
            const auto bytes = lumtest::randomBytes(rng, n);
            std::copy(bytes.begin(), bytes.end(), buf.data());
            ASSERT_EQ(kernel()(7, buf.data(), n), portable()(7, bytes.data(), n)) << "n " << n;
        }
    }
}

// The switch shows only this variant's features, so the export must take this
// variant (or one giving the same results) on the very next call.
TEST_P(ChecksumVariant, ExportReachesThisVariantThroughTheSwitch) {
    auto rng = lumtest::makeRng(14);
    const auto data = lumtest::randomBytes(rng, 1 << 16);
    lumtest::FeatureScope only(GetParam().variant().features);
    for (size_t n : {size_t(1), size_t(15), size_t(64), size_t(300), size_t(4096), size_t(1) << 16}) {
        const uint32_t init = uint32_t(rng());
        EXPECT_EQ(GetParam().family->viaExport(init, data.data(), n), portable()(init, data.data(), n)) << "n " << n;
    }
}

INSTANTIATE_TEST_SUITE_P(All, ChecksumVariant, ::testing::ValuesIn(allVariants()),
                         [](const ::testing::TestParamInfo<Param>& info) {
                             return std::string(info.param.family->name) + "_" + info.param.variant().name;
                         });

}  // namespace
