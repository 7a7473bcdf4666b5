#include "libqvcheck/verdictline.h"
#include "tests/unit/libqvcheck/finishedrun.h"

#include <gtest/gtest.h>

namespace {

/// A run of one stream to fill in.
class VerdictLineTest : public testing::Test, protected FinishedRun {
protected:
    VerdictLineTest() { run.summary.streams.resize(1); }

    streamSummary_t& stream() { return run.summary.streams.front(); }
    std::string verdict() { return verdictLine(run, settings); }
};

} // namespace

TEST_F(VerdictLineTest, SaysWhatWasFoundAndWhatWasAllowed) {
    auto& findings = run.summary.findings;
    stream().totals.injected = 300;
    EXPECT_EQ(verdict(), "PASS: 30,000 frames, none lost, repeated or reordered; 300 corrupted as told");
    stream().totals.injected = 0;
    findings[FK_FOREIGN] = 3;
    EXPECT_EQ(verdict(), "PASS: 30,000 frames, none lost, repeated, reordered or corrupted");
    findings[FK_REORDERED] = 4;
    findings[FK_OVERRUN] = 2;
    EXPECT_EQ(verdict(), "PASS: 30,000 frames; allowed: 4 reordered, 2 dropped by the logger");

    run.verdict = V_FAIL;
    EXPECT_EQ(verdict(), "FAIL: 4 frames reordered; and 2 frames dropped by the logger");
    settings.recorded = false;
    findings.fill(1);
    EXPECT_EQ(verdict(),
              "FAIL: 1 frame lost, 1 frame repeated, 1 frame reordered, 1 frame late, 1 frame corrupted, 1 "
              "frame not corrupted as told, "
              "1 frame of another format, 1 restart, 1 jump, 1 stray frame, 1 gap too long, 1 stream absent, "
              "1 frame too many, 1 answer "
              "missing, 1 answer slow, 1 answer early, 1 gap out of pace; and 1 frame dropped by this host");

    run.verdict = V_NO_PATTERN;
    EXPECT_EQ(verdict(), "NO PATTERN: 60,800 frames, none of a pattern");
}

TEST_F(VerdictLineTest, SaysAllThatKeptTheCheckFromBeingWhole) {
    run.verdict = V_INCOMPLETE;
    run.summary.findings[FK_OVERRUN] = 1722;
    EXPECT_EQ(verdict(), "INCOMPLETE: 1,722 frames dropped by the logger, nothing else wrong");
    run.summary.furtherStreams = 12;
    const std::string dropped =
        "1,722 frames dropped by the logger; and no room for further streams, 12 frames not judged";
    EXPECT_EQ(verdict(), "INCOMPLETE: " + dropped);
    input.frames = 98;
    input.broken = 2;
    input.firstBroken = "run.log:3";
    const std::string broken = "2 lines of 100 cannot be read, the first is run.log:3; and " + dropped;
    EXPECT_EQ(verdict(), "INCOMPLETE: " + broken);
    run.failures = {"other.log: No such file or directory"};
    const std::string all = "other.log: No such file or directory; and " + broken;
    EXPECT_EQ(verdict(), "INCOMPLETE: " + all);

    run.verdict = V_FAIL;
    run.summary.findings[FK_LOST] = 2;
    EXPECT_EQ(verdict(), "FAIL: 2 frames lost; and " + all);
}

TEST_F(VerdictLineTest, SaysThatThereWasNoRoomAndNothingElse) {
    run.verdict = V_INCOMPLETE;
    run.summary.furtherStreams = 12;
    EXPECT_EQ(verdict(), "INCOMPLETE: no room for further streams, 12 frames not judged");
}
