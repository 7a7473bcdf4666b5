#include "libqvcheck/softnetdrops.h"

#include <gtest/gtest.h>

TEST(SoftnetDrops, AreTheSumOfTheSecondColumn) {
    EXPECT_EQ(softnetDrops("0000a1b2 0000000a 00000003 00000000\n"
                           "ffffffff 00000100 00000000 00000000 00000001\n"),
              0x10AU);
}

TEST(SoftnetDrops, PassOverLinesThatSayNothing) {
    EXPECT_EQ(softnetDrops(""), 0U);
    EXPECT_EQ(softnetDrops("0000a1b2\nnonsense here\n00000001 00000002\n"), 2U);
}
