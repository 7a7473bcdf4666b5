#include "libqvcheck/numbertext.h"

#include <cstdint>

#include <gtest/gtest.h>

TEST(NumberText, GroupsDigitsByThrees) {
    for (const auto& [n, text] : {std::pair<std::uint64_t, const char*>(0, "0"),
                                  {999, "999"},
                                  {1000, "1,000"},
                                  {30000, "30,000"},
                                  {1234567, "1,234,567"},
                                  {UINT64_MAX, "18,446,744,073,709,551,615"}}) {
        EXPECT_EQ(grouped(n), text);
    }
}

TEST(NumberText, RoundsSecondsToTheDigitsThatAreAsked) {
    EXPECT_EQ(secondsText(0, 3), "0.000");
    EXPECT_EQ(secondsText(9546123456, 3), "9.546");
    EXPECT_EQ(secondsText(9546500000, 3), "9.547");
    EXPECT_EQ(secondsText(999999, 3), "0.001");
    EXPECT_EQ(secondsText(1, 9), "0.000000001");
    EXPECT_EQ(secondsText(-1500000000, 1), "-1.5");
    EXPECT_EQ(secondsText(INT64_MIN, 9), "-9223372036.854775808");
}

TEST(NumberText, GivesATimeInTheUnitThatFits) {
    EXPECT_EQ(spanText(113000), "0.113 ms");
    EXPECT_EQ(spanText(64120499), "64.120 ms");
    EXPECT_EQ(spanText(999999499), "999.999 ms");
    EXPECT_EQ(spanText(999999500), "1.000 s");
    EXPECT_EQ(spanText(3284000000), "3.284 s");
    EXPECT_EQ(spanText(-20000), "-0.020 ms");
}

TEST(NumberText, GivesCountersWithoutLeadingZeros) {
    EXPECT_EQ(counterText(0), "0");
    EXPECT_EQ(counterText(0x12A4), "12A4");
    EXPECT_EQ(counterText(0xFFFFFFFF), "FFFFFFFF");
}

TEST(NumberText, GivesIdentifiersAsCandumpDoes) {
    EXPECT_EQ(identifierText(0x1), "001");
    EXPECT_EQ(identifierText(0x80000001), "00000001");
    EXPECT_EQ(identifierText(0x40000123), "123 remote");
}

TEST(NumberText, TakesTheSingularForOne) {
    EXPECT_EQ(countedText(1, "frame"), "1 frame");
    EXPECT_EQ(countedText(2000, "frame"), "2,000 frames");
    EXPECT_EQ(countedText(0, "frame"), "0 frames");
}

TEST(NumberText, ReplacesControlCharactersAndLeavesAllElse) {
    EXPECT_EQ(printable("a\x1b[2J\x7f\xc2\xb5"), "a?[2J?\xc2\xb5");
}
