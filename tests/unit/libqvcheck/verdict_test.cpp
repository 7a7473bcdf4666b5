#include "libqvcheck/verdict.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// A run that saw a pattern, with so many findings of each kind.
summary_t found(const std::vector<std::pair<findingKind_t, std::uint64_t>>& findings) {
    summary_t summary{};
    summary.streams.resize(1);
    for (const auto& [kind, n] : findings) {
        summary.findings[kind] = n;
    }
    return summary;
}

Allowance allowing(std::string_view list) {
    Allowance allowance;
    std::string wrong;
    EXPECT_TRUE(allowance.add(list, wrong)) << wrong;
    return allowance;
}

std::string wrongIn(std::string_view list) {
    std::string wrong;
    EXPECT_FALSE(Allowance().add(list, wrong));
    return wrong;
}

} // namespace

TEST(FindingNames, AreReadBackAsTheirKinds) {
    for (std::uint8_t i = 0; i < FK_NUM; ++i) {
        const auto kind = static_cast<findingKind_t>(i);
        EXPECT_EQ(findingKind(findingName(kind)), kind);
    }
    EXPECT_EQ(findingName(FK_FOREIGN), "foreign");
    EXPECT_EQ(findingKind("los"), std::nullopt);
    EXPECT_EQ(findingKind(""), std::nullopt);
}

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

TEST(Verdict, IsPassWhenAPatternWasSeenAndNothingFoundThatIsNotAllowed) {
    EXPECT_EQ(verdictOf(found({}), Allowance(), true), V_PASS);
    EXPECT_EQ(verdictOf(found({{FK_FOREIGN, 99}}), Allowance(), true), V_PASS);
    EXPECT_EQ(verdictOf(found({{FK_LOST, 10}}), allowing("lost=10"), true), V_PASS);
}

TEST(Verdict, IsFailForEveryKindBeyondItsMostButOverrun) {
    for (std::uint8_t i = 0; i < FK_NUM; ++i) {
        const auto kind = static_cast<findingKind_t>(i);
        const verdict_t verdict = verdictOf(found({{kind, 11}}), allowing("foreign=10"), true);
        EXPECT_EQ(verdict, kind == FK_OVERRUN ? V_INCOMPLETE : V_FAIL) << findingName(kind);
    }
    EXPECT_EQ(verdictOf(found({{FK_LOST, 11}}), allowing("lost=10"), true), V_FAIL);
}

TEST(Verdict, IsIncompleteWhenTheInputWasNotWholeOrHadMoreStreamsThanThereIsRoomFor) {
    EXPECT_EQ(verdictOf(found({}), Allowance(), false), V_INCOMPLETE);
    EXPECT_EQ(verdictOf(found({{FK_OVERRUN, 1}}), allowing("overrun"), true), V_PASS);
    summary_t crowded = found({});
    crowded.furtherStreams = 1;
    EXPECT_EQ(verdictOf(crowded, Allowance(), true), V_INCOMPLETE);
}

TEST(Verdict, PutsFailBeforeIncompleteBeforeNoPattern) {
    summary_t nothing{};
    EXPECT_EQ(verdictOf(nothing, Allowance(), true), V_NO_PATTERN);
    EXPECT_EQ(verdictOf(nothing, Allowance(), false), V_INCOMPLETE);
    nothing.findings[FK_ABSENT] = 1;
    EXPECT_EQ(verdictOf(nothing, Allowance(), false), V_FAIL);
}
