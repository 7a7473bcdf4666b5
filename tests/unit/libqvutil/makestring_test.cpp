#include "libqvutil/makestring.h"

#include <gtest/gtest.h>

TEST(MakeString, WritesDecimalWithFixedAlone) {
    EXPECT_EQ(makeString(1024UL, std::ios::fixed), "1024");
}

TEST(MakeString, WritesLowerCaseHexadecimalWithTheBasePrefix) {
    EXPECT_EQ(makeString(1U, std::ios::hex | std::ios::showbase | std::ios::fixed), "0x1");
    EXPECT_EQ(makeString(0xABCU, std::ios::hex | std::ios::showbase | std::ios::fixed), "0xabc");
}

TEST(MakeString, ReplacesAllFlagsOfTheStream) {
    EXPECT_EQ(makeString(255U, std::ios::hex), "ff");
}
