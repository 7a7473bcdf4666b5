#include "libqvutil/hex.h"

#include <string>

#include <gtest/gtest.h>

namespace {

std::string hex(std::uint64_t value, unsigned int digits) {
    std::string text = "<";
    appendHex(text, value, digits);
    return text;
}

} // namespace

TEST(AppendHex, AppendsTheLowDigitsInLowerCase) {
    EXPECT_EQ(hex(0xABCDEF, 6), "<abcdef");
    EXPECT_EQ(hex(0xABCDEF, 2), "<ef");
    EXPECT_EQ(hex(0xFEDCBA9876543210, 16), "<fedcba9876543210");
}

TEST(AppendHex, FillsWithZeros) {
    EXPECT_EQ(hex(0xA, 4), "<000a");
    EXPECT_EQ(hex(0, 1), "<0");
}

TEST(AppendHex, AppendsNothingForNoDigits) {
    EXPECT_EQ(hex(0xA, 0), "<");
}

TEST(AppendHex, WritesCapitalsWhenTold) {
    std::string text;
    appendHex(text, 0x1ABCDEF9, 8, true);
    EXPECT_EQ(text, "1ABCDEF9");
}
