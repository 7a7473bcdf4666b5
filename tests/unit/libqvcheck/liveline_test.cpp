#include "libqvcheck/liveline.h"

#include <gtest/gtest.h>

namespace {

summary_t oneStream() {
    summary_t summary{};
    summary.streams.resize(1);
    summary.streams[0].last = 0x7A31;
    totals_t& totals = summary.streams[0].totals;
    totals.lost = 5;
    totals.overrun = 2;
    totals.corrupted = totals.injected = 12;
    totals.open = 1;
    summary.findings[FK_OVERRUN] = 2;
    return summary;
}

} // namespace

TEST(LiveLine, TellsHowTheCheckStands) {
    EXPECT_EQ(
        liveLine(oneStream(), 83200000000, 500, 0, false),
        "  83.2 s  s1 7A31  500/s  lost 3  repeated 0  reordered 0  corrupted 12 = injected 12  open 1  "
        "this host 2");
}

TEST(LiveLine, TellsRepeatsThatAreCorruptedApart) {
    summary_t summary = oneStream();
    summary.streams[0].totals.repeated = 3;
    summary.streams[0].totals.corruptedRepeats = 4;
    EXPECT_EQ(
        liveLine(summary, 83200000000, 500, 0, false),
        "  83.2 s  s1 7A31  500/s  lost 3  repeated 3  reordered 0  corrupted 12 = injected 12  corrupted "
        "repeats 4  open 1  this host 2");
}

TEST(LiveLine, OfSeveralStreamsHasTheirNumberAndTheirSums) {
    summary_t summary = oneStream();
    summary.streams.push_back(summary.streams[0]);
    EXPECT_EQ(
        liveLine(summary, 1234567890000, 1000, 0, false),
        "1234.6 s  2 streams  1000/s  lost 6  repeated 0  reordered 0  corrupted 24 = injected 24  open 2  "
        "this host 2");
}

TEST(LiveLine, IsCutToTheWidthOfTheTerminal) {
    EXPECT_EQ(liveLine(oneStream(), 83200000000, 500, 32, false), "  83.2 s  s1 7A31  500/s  lost 3");
    EXPECT_EQ(liveLine(oneStream(), 83200000000, 500, 5, false), "  83.");
}

TEST(LiveLine, ColoursOnlyCountsThatAreNotZeroAndNotAsTold) {
    const std::string line = liveLine(oneStream(), 83200000000, 500, 0, true);
    EXPECT_NE(line.find("lost \033[1;31m3\033[0m"), std::string::npos) << line;
    EXPECT_NE(line.find("repeated 0"), std::string::npos) << line;
    EXPECT_NE(line.find("corrupted 12 ="), std::string::npos) << line;
}

TEST(LiveLine, ColoursTakeNoColumns) {
    EXPECT_EQ(liveLine(oneStream(), 83200000000, 500, 32, true),
              "  83.2 s  s1 7A31  500/s  lost \033[1;31m3\033[0m");
}

TEST(FrameRate, IsThatOfTheLastLooks) {
    FrameRate rate;
    EXPECT_EQ(rate.at(0, 0), 0U);
    EXPECT_EQ(rate.at(250000000, 100), 400U);
    EXPECT_EQ(rate.at(500000000, 200), 400U);
    EXPECT_EQ(rate.at(750000000, 300), 400U);
    EXPECT_EQ(rate.at(1000000000, 400), 400U);
    EXPECT_EQ(rate.at(2000000000, 400), 171U) << "300 frames in the 1.75 s since the fourth look before";
    EXPECT_EQ(rate.at(2000000000, 400), 133U);
}

TEST(FrameRate, OfTwoLooksAtOnceIsNone) {
    FrameRate rate;
    rate.at(5, 10);
    EXPECT_EQ(rate.at(5, 20), 0U);
}
