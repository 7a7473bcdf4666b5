// What a stream hands on to the one that it turns out to be.

#include "tests/unit/libqvcheck/judged.h"

#include <gtest/gtest.h>

namespace {

const patternSender_t tenthSender = {0x123};
constexpr std::uint32_t tenth = 10;

/// The sender's frames from one up to another, each tenth of them corrupted on purpose.
void seeWithTenths(Judged& judged, std::uint32_t from, std::uint32_t to) {
    for (std::uint32_t k = from; k < to; ++k) {
        receivedFrame_t f = tenthSender.frame(k);
        if ((k + 1) % tenth == 0) {
            f.data[((k + 1) / tenth - 1) % tenthSender.walked()] ^= 0xFF;
        }
        judged.see(f);
    }
}

demands_t demandingTenths() {
    demands_t demands;
    demands.errorPeriod = tenth;
    return demands;
}

streamSummary_t theStream(const summary_t& s) {
    EXPECT_EQ(s.streams.size(), 1U);
    return s.streams.empty() ? streamSummary_t{} : s.streams[0];
}

} // namespace

TEST(RepeatedBlock, RepeatsItsInjectedErrors) {
    Judged judged(demandingTenths());
    seeWithTenths(judged, 0, 100);
    seeWithTenths(judged, 41, 63);
    seeWithTenths(judged, 100, 200);
    const streamSummary_t s = theStream(judged.end());
    EXPECT_EQ(s.totals.corrupted, 20U);
    EXPECT_EQ(s.totals.injected, 20U);
    EXPECT_EQ(s.injection.missing, 0U);
    EXPECT_EQ(s.injection.damagedOtherwise, 0U);
    EXPECT_EQ(s.totals.corruptedRepeats, 2U);
    EXPECT_EQ(s.totals.repeated, 20U);
}

TEST(RepeatedBlock, GoesOnWithItsInjectedErrors) {
    Judged judged(demandingTenths());
    seeWithTenths(judged, 0, 100);
    seeWithTenths(judged, 81, 125); // with the frames behind it that did not come before
    judged.see(tenthSender, 125, 126);
    seeWithTenths(judged, 100, 101);
    seeWithTenths(judged, 126, 200);
    const streamSummary_t s = theStream(judged.end());
    EXPECT_EQ(s.totals.intact, 180U);
    EXPECT_EQ(s.totals.corrupted, 20U);
    EXPECT_EQ(s.totals.injected, 20U);
    EXPECT_EQ(judged.found(FK_UNINJECTED), 0U);
}

TEST(RecognisedInjection, IsRecognisedAgainAfterARestart) {
    Judged judged;
    seeWithTenths(judged, 0, 100);
    judged.pause(2000 * Judged::millisecond);
    seeWithTenths(judged, 0, 100);
    const streamSummary_t s = theStream(judged.end());
    EXPECT_EQ(s.restarts, 1U);
    EXPECT_EQ(s.injection.period, tenth);
    EXPECT_EQ(s.injection.found, 20U);
}
