#include "libqvcheck/summarytext.h"
#include "tests/unit/libqvcheck/finishedrun.h"

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t ms = 1000000;

/// A run of two streams to fill in.
class SummaryTextTest : public testing::Test, protected FinishedRun {
protected:
    SummaryTextTest() {
        interfaces.indexOf("can1");
        run.summary.duration = 60003112000;
        run.summary.streams.push_back(stream(1));
    }

    static streamSummary_t stream(std::uint16_t number) {
        streamSummary_t made{};
        made.number = number;
        made.width = 11;
        made.length = 64;
        made.fd = true;
        made.startKnown = true;
        made.start = made.first = 1;
        made.last = 0x7530;
        made.totals.expected = made.totals.intact = 30000;
        return made;
    }

    streamSummary_t& first() { return run.summary.streams.front(); }
    std::string summary() { return summaryText(run, settings); }
};

const std::string tableHead =
    "\nstream  kind                 start       first        last    expected    intact  corrupted  lost  "
    "repeated  reordered\n";

} // namespace

TEST_F(SummaryTextTest, OfACleanRunIsItsHeadAndItsTable) {
    EXPECT_EQ(summary(), "run.log, 60.003 s, 60,800 frames, end of input\n" + tableHead +
                             "s1      FD 64, standard      001             1        7530      30,000    "
                             "30,000          0     0         "
                             "0          0\n\n");
}

TEST_F(SummaryTextTest, HasARowForEachThingThereIsToSay) {
    Histogram gaps;
    gaps.add(1981000);
    gaps.add(2019000);
    first().gaps = &gaps;
    first().rated = true;
    first().ratePpm = 2.6;
    first().jitter = 11000;
    first().injection = {100, true, 299, 0, 1, 0};
    first().totals.corrupted = 300;
    first().totals.lost = 5;
    first().causes[LC_QUEUE] = 3;
    first().causes[LC_BEFORE] = 2;
    first().totals.reordered = 4115;
    first().totals.overtaken = 805;
    first().maxExtent = 5;
    first().maxLateTime = 20 * ms;
    first().orderedByIdentifier = true;
    first().totals.repeated = 1;
    first().totals.corruptedRepeats = 2;
    first().restarts = 1;
    first().totals.stray = 2;
    first().ambiguous = true;
    run.summary.foreign = 812;
    run.summary.foreignIdentifiers = 37;
    run.summary.errorFrames = 1;
    run.summary.furtherStreams = 9;
    run.summary.streamsLeft = true;
    run.summary.clockSteps = 2;
    run.ended = "SIGINT";
    input.broken = 1;
    input.firstBroken = "run.log:12";
    demands.gap = 2 * ms;
    EXPECT_EQ(
        summary(),
        "run.log, 60.003 s, 60,800 frames, ended by SIGINT\n" + tableHead +
            "s1*     FD 64, standard      001             1        7530      30,000    30,000        300     "
            "5         1      4,115\n\n"
            "corrupted   s1: 299 injected as told by -e 100, none missing, 1 lost, 1 besides\n"
            "lost        s1: 3 this host, queue; 2 before this host\n"
            "            on the sender: grep -c \"write error\", ip -s link (tx_dropped), txqueuelen 1000\n"
            "reordered   s1: 4,115 frames, overtaken by 805, at most 5 frames and 20.000 ms late; all at the "
            "identifier's wrap: a "
            "controller that sends by identifier\n"
            "besides     s1: 1 restart, 2 corrupted repeats, 2 stray\n"
            "gap         s1: min 1.981  mean 2.000  p50 1.999  p90 2.019  p99 2.019  p99.9 2.019  max 2.019 "
            "ms; told 2.000 ms, rate "
            "+3 ppm, jitter 0.011 ms (RFC 3550)\n"
            "input       1 line that cannot be read, the first is run.log:12\n"
            "others      812 frames of others (37 identifiers), 1 error frame\n"
            "            pattern frames of further streams: 9\n"
            "            frames that look like a pattern, no stream\n"
            "clock       2 steps\n"
            "*           start identifiers that differ in the low byte keep streams apart\n");
}

TEST_F(SummaryTextTest, NamesTheInterfacesWhereThereAreSeveralAndTheStreamThatIsAnswered) {
    interfaces.indexOf("can0");
    run.summary.streams.push_back(stream(2));
    run.summary.streams[1].interface = 1;
    run.summary.streams[1].role = SR_ANSWER;
    pairSummary_t pair{};
    pair.direct = 1;
    pair.answers = 2;
    pair.unanswered = 928;
    pair.queueHint = true;
    run.summary.pairs.push_back(pair);
    const std::string text = summary();
    EXPECT_NE(text.find("s1      can1       FD 64, standard "), std::string::npos) << text;
    EXPECT_NE(text.find("s2      can0       answers to s1 "), std::string::npos) << text;
    EXPECT_NE(text.find("round trip  s1: 928 unanswered; the answering node's receive queue was full: "
                        "net.core.rmem_default there\n"),
              std::string::npos)
        << text;
}

TEST_F(SummaryTextTest, SaysWhenThisHostSentTheFrames) {
    EXPECT_EQ(summary().find("besides"), std::string::npos);
    first().own = true;
    EXPECT_NE(summary().find("besides     s1: sent by this host\n"), std::string::npos);
    first().restarts = 1;
    EXPECT_NE(summary().find("besides     s1: 1 restart, sent by this host\n"), std::string::npos);
}

TEST_F(SummaryTextTest, SaysWhenCorruptionsLookInjected) {
    first().injection = {7, false, 374, 0, 0, 0};
    first().totals.corrupted = 374;
    EXPECT_NE(summary().find("corrupted   s1: looks like -e 7: 374 of 374 corrupted frames fit\n"),
              std::string::npos);
}

TEST_F(SummaryTextTest, SumsUpTheStreamsBehindTheTwentieth) {
    for (std::uint16_t number = 2; number <= 23; ++number) {
        run.summary.streams.push_back(stream(number));
    }
    const std::string text = summary();
    EXPECT_NE(text.find("\ns20 "), std::string::npos);
    EXPECT_EQ(text.find("\ns21 "), std::string::npos);
    EXPECT_NE(
        text.find(
            "\n3 more                                                          90,000    90,000          0"),
        std::string::npos)
        << text;
}

TEST_F(SummaryTextTest, OfAnEmptyRunIsItsHead) {
    run.summary = {};
    settings.inputs = {"-", "a\nb"};
    EXPECT_EQ(summary(), "standard input, a?b, 0.000 s, 0 frames, end of input\n");
}
