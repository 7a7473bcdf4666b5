#include "libqvcheck/intervaltext.h"

#include <gtest/gtest.h>

TEST(IntervalText, IsOneLine) {
    intervalSummary_t piece{};
    piece.stream = 1;
    piece.begin = 60000000000;
    piece.end = 120000000000;
    piece.frames = 30000;
    piece.totals.corrupted = piece.totals.injected = 300;
    piece.gapCount = 29000;
    piece.gapP99 = 2034000;
    piece.gapMax = 9772000;
    EXPECT_EQ(intervalText(piece), "[   60.0 -     120.0] s1  30000 frames  500.0/s  lost 0 repeated 0 "
                                   "reordered 0 corrupted 300 (injected 300) "
                                   "open 0  gap p99 2.034 max 9.772 ms");
    piece.totals.corruptedRepeats = 2;
    EXPECT_NE(intervalText(piece).find("corrupted 300 (injected 300) corrupted repeats 2 open 0"),
              std::string::npos);
}
