#include "libqvcheck/finding.h"

#include <gtest/gtest.h>

TEST(FindingNames, AreReadBackAsTheirKinds) {
    for (std::uint8_t i = 0; i < FK_NUM; ++i) {
        const auto kind = static_cast<findingKind_t>(i);
        EXPECT_EQ(findingKind(findingName(kind)), kind);
    }
    EXPECT_EQ(findingName(FK_FOREIGN), "foreign");
    EXPECT_EQ(findingKind("los"), std::nullopt);
    EXPECT_EQ(findingKind(""), std::nullopt);
}
