// zlib's compressor as the Deflate tests' peer: raw (windowBits -15), zlib (15)
// or gzip (31) streams of a buffer at a level and strategy.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <vector>

namespace lumtest {

inline std::vector<uint8_t> zlibCompress(const std::vector<uint8_t>& src, int windowBits, int level = 6,
                                         int strategy = Z_DEFAULT_STRATEGY) {
    z_stream z{};
    EXPECT_EQ(deflateInit2(&z, level, Z_DEFLATED, windowBits, 8, strategy), Z_OK);
    std::vector<uint8_t> out(deflateBound(&z, uLong(src.size())) + 32);
    z.next_in = const_cast<Bytef*>(src.data());
    z.avail_in = uInt(src.size());
    z.next_out = out.data();
    z.avail_out = uInt(out.size());
    EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

}  // namespace lumtest
