#include "libqvcheck/allowance.h"
#include "tests/unit/libqvcheck/allowing.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::string wrongIn(std::string_view list) {
    std::string wrong;
    EXPECT_FALSE(Allowance().add(list, wrong));
    return wrong;
}

} // namespace

TEST(Allowance, AllowsForeignFramesAndNothingElse) {
    for (std::uint8_t i = 0; i < FK_NUM; ++i) {
        EXPECT_EQ(Allowance().allows(static_cast<findingKind_t>(i)), i == FK_FOREIGN);
    }
}

TEST(Allowance, TakesKindsWithAndWithoutAMost) {
    const Allowance allowance = allowing("lost=10,reordered,foreign=0,gap=18446744073709551606");
    EXPECT_EQ(allowance.limit(FK_LOST), 10U);
    EXPECT_EQ(allowance.limit(FK_REORDERED), Allowance::unlimited);
    EXPECT_EQ(allowance.limit(FK_GAP), 18446744073709551606U);
    EXPECT_FALSE(allowance.allows(FK_FOREIGN));
    EXPECT_FALSE(allowance.allows(FK_REPEATED));
}

TEST(Allowance, TakesAllForEveryKind) {
    const Allowance allowance = allowing("all=2,lost=3");
    EXPECT_EQ(allowance.limit(FK_OVERRUN), 2U);
    EXPECT_EQ(allowance.limit(FK_LOST), 3U);
}

TEST(Allowance, NamesTheEntryThatItCannotRead) {
    for (const auto& [list, wrong] : std::vector<std::pair<const char*, const char*>>{
             {"", ""},
             {"lots", "lots"},
             {"lost,", ""},
             {",lost", ""},
             {"lost,x=1,y", "x=1"},
             {"lost=", "lost="},
             {"lost=1x", "lost=1x"},
             {"lost=-1", "lost=-1"},
             {"lost=18446744073709551616", "lost=18446744073709551616"},
             {"lost =1", "lost =1"}}) {
        EXPECT_EQ(wrongIn(list), wrong) << list;
    }
}
