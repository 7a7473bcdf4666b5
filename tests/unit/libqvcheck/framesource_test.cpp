#include "libqvcheck/framesource.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

TEST(InterfaceTable, GivesAnInterfaceTheSameIndexEachTime) {
    InterfaceTable table;
    EXPECT_EQ(table.indexOf("can0"), 0);
    EXPECT_EQ(table.indexOf("can1"), 1);
    EXPECT_EQ(table.indexOf("can0"), 0);
    EXPECT_EQ(table.name(1), "can1");
    EXPECT_EQ(table.size(), 2U);
}

TEST(InterfaceTable, LetsNamesBeyondTheLastIndexShareIt) {
    InterfaceTable table;
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(table.indexOf("can" + std::to_string(i)), std::min(i, 254));
    }
    EXPECT_EQ(table.size(), 255U);
    EXPECT_EQ(table.indexOf("can7"), 7);
}
