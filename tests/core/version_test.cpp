#include <gtest/gtest.h>

#include <cstring>

#include "lumdc.h"

TEST(Version, IsOneConstantRecordWithTheReleaseFields) {
    const LumLibraryVersion* v = lumdcGetLibVersion();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v, lumdcGetLibVersion());
    EXPECT_EQ(v->major, 2022);
    EXPECT_EQ(v->minor, 0);
    EXPECT_EQ(v->majorBuild, 0);
    EXPECT_EQ(v->build, 0x131e93b0);
    EXPECT_EQ(std::memcmp(v->targetCpu, "q2\0\0", 4), 0);
    EXPECT_STREQ(v->name, "lumDC AVX-512F/CD/BW/DQ/VL (q2)");
    EXPECT_STREQ(v->version, "2022.0.0 (r0x131e93b0)");
    EXPECT_STREQ(v->buildDate, "Sep  4 2024");
}
