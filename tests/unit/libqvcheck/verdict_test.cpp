#include "libqvcheck/verdict.h"
#include "tests/unit/libqvcheck/allowing.h"

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

} // namespace

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
