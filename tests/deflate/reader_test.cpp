// The Deflate reader of tools/: zlib's and the system gzip's files read back
// (gzip members concatenated are one file), and every fault reported with the
// offset where it was found.

#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "deflate_reader.h"
#include "test_support.h"
#include "zlib_peer.h"

namespace {

using Bytes = std::vector<uint8_t>;
using lumcodec::DeflateFraming;

using lumtest::zlibCompress;

uint64_t faultOffset(const Bytes& stream, DeflateFraming framing) {
    try {
        lumcodec::deflateDecompress(stream.data(), stream.size(), framing);
    } catch (const lumcodec::FormatError& e) {
        return e.offset;
    }
    ADD_FAILURE() << "no fault found";
    return ~uint64_t(0);
}

TEST(DeflateReader, ZlibStreamsOfEveryFraming) {
    auto rng = lumtest::makeRng(1);
    for (size_t n : {size_t(0), size_t(1), size_t(65537), size_t(3) << 20}) {
        const Bytes data = lumtest::textLike(rng, n);
        for (auto [bits, framing] :
             {std::pair{-15, DeflateFraming::Raw}, {15, DeflateFraming::Zlib}, {31, DeflateFraming::Gzip}}) {
            const Bytes s = zlibCompress(data, bits);
            if (framing != DeflateFraming::Raw) {  // raw data has no signature to tell
                EXPECT_EQ(lumcodec::detectFraming(s.data(), s.size()), framing);
            }
            EXPECT_TRUE(lumcodec::deflateDecompress(s.data(), s.size(), framing) == data) << n;
        }
    }
}

TEST(DeflateReader, FaultsAndTheirOffsets) {
    auto rng = lumtest::makeRng(2);
    const Bytes data = lumtest::textLike(rng, 50000);
    Bytes gz = zlibCompress(data, 31);
    Bytes bad = gz;
    bad[bad.size() - 8] ^= 1;  // the CRC
    EXPECT_EQ(faultOffset(bad, DeflateFraming::Gzip), gz.size() - 8);
    bad = gz;
    bad[bad.size() - 1] ^= 1;  // the size
    EXPECT_EQ(faultOffset(bad, DeflateFraming::Gzip), gz.size() - 4);
    bad.assign(gz.begin(), gz.end() - 20);  // truncated inside the Deflate data
    EXPECT_EQ(faultOffset(bad, DeflateFraming::Gzip), bad.size());
    bad = gz;
    bad.push_back(0x1F);  // a second member that is one byte long
    EXPECT_EQ(faultOffset(bad, DeflateFraming::Gzip), bad.size());
    Bytes z = zlibCompress(data, 15);
    z[z.size() - 1] ^= 0x80;
    EXPECT_EQ(faultOffset(z, DeflateFraming::Zlib), z.size() - 4);
    Bytes raw = zlibCompress(data, -15);
    raw.push_back(0);
    EXPECT_EQ(faultOffset(raw, DeflateFraming::Raw), raw.size() - 1);
}

TEST(DeflateReader, SystemGzipFilesWithSeveralMembers) {
    if (std::system("gzip --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no gzip program";
    auto rng = lumtest::makeRng(3);
    const Bytes a = lumtest::textLike(rng, 200000), b = lumtest::randomBytes(rng, 3000);
    const auto dir = std::filesystem::temp_directory_path() / ("lumdc_rd_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    const std::string d = dir.string();
    std::ofstream(d + "/a.txt", std::ios::binary)
        .write(reinterpret_cast<const char*>(a.data()), std::streamsize(a.size()));
    std::ofstream(d + "/b", std::ios::binary).write(reinterpret_cast<const char*>(b.data()), std::streamsize(b.size()));
    ASSERT_EQ(std::system(
                  ("cd '" + d + "' && gzip -9 -c a.txt > ab.gz && gzip -1 -c b >> ab.gz && : > e && gzip -c e >> ab.gz")
                      .c_str()),
              0);
    const Bytes gz = lumtest::readFile(d + "/ab.gz");
    lumcodec::GzipInfo info;
    Bytes expect = a;
    expect.insert(expect.end(), b.begin(), b.end());
    EXPECT_TRUE(lumcodec::deflateDecompress(gz.data(), gz.size(), DeflateFraming::Gzip, &info) == expect);
    EXPECT_EQ(info.name, "a.txt");
    std::filesystem::remove_all(dir);
}

}  // namespace
