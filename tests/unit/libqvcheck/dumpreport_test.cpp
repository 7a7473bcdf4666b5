#include "libqvcheck/dumpreport.h"
#include "tests/fakes/allocations.h"
#include "tests/unit/libqvcheck/patternframe.h"

#include <algorithm>
#include <sstream>

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t ms = 1000000;
constexpr std::int64_t second = 1000 * ms;

/// A run with a frame of can0 each millisecond, whose identifiers count from 0.
class DumpReportTest : public testing::Test {
protected:
    DumpReportTest() {
        interfaces.indexOf("can0");
        interfaces.indexOf("can1");
    }

    receivedFrame_t next(std::uint8_t interface = 0) {
        receivedFrame_t frame{};
        frame.canId = number & CAN_SFF_MASK;
        frame.time = 1000 * second + number * ms;
        frame.interface = interface;
        return frame;
    }
    void see(const receivedFrame_t& frame) { dump.frame(frame, std::int64_t{number++} * ms); }
    void see(unsigned int n) {
        for (unsigned int i = 0; i < n; ++i) {
            see(next());
        }
    }
    void find(std::int64_t time, findingKind_t kind = FK_STRAY, std::int64_t span = 0) {
        finding_t finding{};
        finding.kind = kind;
        finding.stream = 1;
        finding.time = time;
        finding.span = span;
        finding.count = 1;
        finding.first = finding.last = 0x12;
        dump.finding(finding);
    }

    /// Each line behind the first: the identifier of a frame as a number, other lines as they are.
    std::vector<std::string> lines() const {
        std::vector<std::string> all;
        std::istringstream in(out.str());
        std::string line;
        std::getline(in, line);
        while (std::getline(in, line)) {
            const bool plain = line[0] == '(';
            all.push_back(plain ? std::to_string(std::stoul(line.substr(line.find("can") + 5), nullptr, 16))
                                : line);
        }
        return all;
    }
    std::vector<std::string> end() {
        dump.end({});
        return lines();
    }
    static void add(std::vector<std::string>& all, unsigned int from, unsigned int to) {
        for (; from < to; ++from) {
            all.push_back(std::to_string(from));
        }
    }
    static std::string leftOut(unsigned int n) {
        return "# left out " + std::to_string(n) + " CAN frames on 'can0'";
    }
    std::size_t framesWritten() {
        const auto all = end();
        return static_cast<std::size_t>(
            std::count_if(all.begin(), all.end(), [](const auto& line) { return line[0] != '#'; }));
    }

    std::ostringstream out;
    demands_t demands;
    Allowance allowance;
    InterfaceTable interfaces;
    runSettings_t settings{demands, allowance, interfaces, {"qvcancheck", "a\nb"}, {"can0"}, false};
    DumpReport dump{out, settings};
    std::uint32_t number = 0;
};

const char* const stray = " can0 s1 stray 12: fits no place of the stream";

} // namespace

TEST_F(DumpReportTest, BeginsWithTheCommandOnOneLine) {
    EXPECT_EQ(out.str(), "# qvcancheck a?b\n");
}

TEST_F(DumpReportTest, ShowsSixteenFramesBeforeAndBehindAFindingAndTheEndsOfTheRun) {
    see(500);
    find(500 * ms); // about the frame that is being judged
    see(500);
    std::vector<std::string> expected;
    add(expected, 0, 16);
    expected.push_back(leftOut(468));
    add(expected, 484, 500);
    expected.push_back(std::string("# 0.500000") + stray);
    add(expected, 500, 517);
    expected.push_back(leftOut(467));
    add(expected, 984, 1000);
    EXPECT_EQ(end(), expected);
}

TEST_F(DumpReportTest, WritesFramesThatSeveralFindingsWantOnceAndInOrder) {
    see(210);
    find(205 * ms);
    find(195 * ms);
    find(200 * ms);
    see(290);
    std::vector<std::string> expected;
    add(expected, 0, 16);
    expected.push_back(leftOut(163));
    add(expected, 179, 195);
    for (const unsigned int at : {195U, 200U, 205U}) {
        expected.push_back("# 0." + std::to_string(at) + "000" + stray);
        add(expected, at, at == 205 ? 222 : at + 5);
    }
    expected.push_back(leftOut(262));
    add(expected, 484, 500);
    EXPECT_EQ(end(), expected);
}

TEST_F(DumpReportTest, BeginsAtTheFrameBeforeWhatIsMissing) {
    see(2000);
    find(1500 * ms, FK_LOST, 100 * ms);
    EXPECT_EQ(framesWritten(), 16U + (16 + 100 + 17) + 16);
}

TEST_F(DumpReportTest, ShowsASilenceOfAThousandFramesWhole) {
    see(4000);
    find(3000 * ms, FK_GAP, 1024 * ms);
    EXPECT_EQ(framesWritten(), 16U + (16 + 1024 + 17) + 16);
}

TEST_F(DumpReportTest, TellsFindingsAboutOneFrameInTheirOrder) {
    see(1);
    find(0, FK_STRAY);
    find(0, FK_UNINJECTED);
    see(1);
    const auto all = end();
    EXPECT_EQ(all[0], std::string("# 0.000000") + stray);
    EXPECT_NE(all[1].find("intact"), std::string::npos);
}

TEST_F(DumpReportTest, LeavesOutTheMiddleOfALongSilence) {
    see(4000);
    find(3000 * ms, FK_GAP, 1025 * ms);
    EXPECT_EQ(framesWritten(), 16U + 33 + 33 + 16);
}

TEST_F(DumpReportTest, CountsTheFramesAroundAFindingOnItsInterface) {
    see(100);
    find(99 * ms);
    for (unsigned int i = 0; i < 100; ++i) {
        see(next(1));
    }
    see(100);
    EXPECT_EQ(framesWritten(), 16U + 17 + 16 + 16 + 16 + 16); // two of can1: its ends
}

TEST_F(DumpReportTest, TellsDropsInFrontOfTheFrameThatToldOfThem) {
    see(100);
    receivedFrame_t frame = next();
    frame.dropped = 1;
    see(frame);
    see(20);
    const auto all = end();
    const auto drop =
        std::find(all.begin(), all.end(), "DROPCOUNT: dropped 1 CAN frame on 'can0' socket (total drops 1)");
    ASSERT_NE(drop, all.end());
    EXPECT_EQ(drop[-1], "99");
    EXPECT_EQ(drop[1], "100");
    dump.droppedBehind("any", 4);
    EXPECT_EQ(lines().back(), "DROPCOUNT: dropped 4 CAN frames on 'any' socket (total drops 5)");
}

TEST_F(DumpReportTest, CountsDropsAmongTheFramesLeftOutOnceItHasShownAHundred) {
    for (unsigned int i = 0; i < DumpReport::MOST + 50; ++i) {
        see(99);
        receivedFrame_t frame = next();
        frame.dropped = 3;
        see(frame);
    }
    const auto all = end();
    const auto drops =
        std::count_if(all.begin(), all.end(), [](const auto& line) { return line.substr(0, 4) == "DROP"; });
    EXPECT_EQ(drops, DumpReport::MOST + 1); // the last one is among the last frames
    EXPECT_EQ(all[all.size() - 18], leftOut(5000 - 32 + 49 * 3));
}

TEST_F(DumpReportTest, CountsTheDropsBeforeAFrameAmongThoseLeftOutBeforeIt) {
    for (unsigned int i = 0; i <= DumpReport::MOST; ++i) {
        see(99);
        receivedFrame_t frame = next();
        frame.dropped = 3;
        see(frame);
    }
    see(15); // the last 16 begin with that frame
    const auto all = end();
    EXPECT_EQ(all[all.size() - 17], leftOut(99 - 16 + 3));
}

TEST_F(DumpReportTest, PassesOnWhatItsInputLeftOut) {
    see(5);
    receivedFrame_t frame = next();
    frame.leftOut = true;
    frame.dropped = 7;
    see(frame);
    const std::vector<std::string> expected = {"0", "1", "2", "3", "4", leftOut(7), "5"};
    EXPECT_EQ(end(), expected);
}

TEST_F(DumpReportTest, TellsDropsOfAQueueOfAllInterfacesAsThoseOfAny) {
    for (const bool recorded : {false, true}) {
        settings.inputs = {"any"}; // may be a file's name
        settings.recorded = recorded;
        std::ostringstream text;
        DumpReport report(text, settings);
        receivedFrame_t frame = next();
        frame.dropped = 2;
        report.frame(frame, 0);
        report.end({});
        EXPECT_EQ(text.str().find("on 'any' socket") != std::string::npos, !recorded);
    }
}

TEST_F(DumpReportTest, TellsAFindingInFrontOfAFrameOfItsInterface) {
    see(3);
    see(next(1));
    find(3 * ms);
    const auto all = end();
    EXPECT_EQ(all[2], std::string("# 0.003000") + stray);
    EXPECT_EQ(all[3], "2");
}

TEST_F(DumpReportTest, TellsAFindingOfARunWithoutFrames) {
    find(0);
    const auto all = end();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0], std::string("# 0.000000") + stray);
}

TEST_F(DumpReportTest, ShowsNoFramesBeforeThoseOfAPaceThatIsOff) {
    see(4000);
    find(3000 * ms, FK_PACE, 1000 * ms); // the span is a mean
    EXPECT_EQ(framesWritten(), 16U + 33 + 16);
}

TEST_F(DumpReportTest, CountsNoFindingsThatItShows) {
    see(1);
    for (unsigned int i = 0; i < DumpReport::MOST; ++i) {
        find(0);
    }
    EXPECT_EQ(end().size(), 1U + DumpReport::MOST);
}

TEST_F(DumpReportTest, ShowsAHundredFindingsAndCountsTheOthers) {
    see(1);
    for (unsigned int i = 0; i < DumpReport::MOST + 12; ++i) {
        find(0);
    }
    const auto all = end();
    EXPECT_EQ(all.size(), 1U + DumpReport::MOST + 1);
    EXPECT_EQ(all.back(), "# and 12 more findings");
}

TEST_F(DumpReportTest, TellsAFindingWhoseFramesAreGoneWithoutThem) {
    see(10000);
    find(100 * ms);
    EXPECT_EQ(framesWritten(), 16U + 16); // the ends
}

TEST_F(DumpReportTest, WritesWhenNoFindingCanWantAFrameAnyMore) {
    see(17);
    const std::int64_t last = 15 * ms;
    dump.settle(last + 2 * demands.wait + 2 * second);
    EXPECT_EQ(lines().size(), 15U);
    dump.settle(last + 2 * demands.wait + 2 * second + 1);
    EXPECT_EQ(lines().size(), 16U);
}

TEST_F(DumpReportTest, HoldsNoMoreFramesThanItSaysAndAsksForNoMemory) {
    see(20);
    const auto frame = next();
    const std::size_t allocations = allocations::during([this, &frame] {
        for (unsigned int i = 0; i < 2 * DumpReport::HELD; ++i) {
            dump.frame(frame, 20 * ms);
        }
    });
    find(20 * ms);
    dump.finding({});
    EXPECT_EQ(lines().size(), 16U);
    EXPECT_LE(allocations, 16U * 12); // of the lines written
}

TEST_F(DumpReportTest, WritesWhatALogCannotSayAsAComment) {
    receivedFrame_t frame = next();
    frame.xl = true;
    see(frame);
    dump.end({});
    EXPECT_EQ(out.str().substr(out.str().find('\n')), "\n# (1000.000000) can0 00000#00:00:00000000#\n");
}

TEST_F(DumpReportTest, WritesNamesStampsAndDirectionsThatAReaderOfLogsTakes) {
    receivedFrame_t frame = next(interfaces.indexOf("/tmp/a b'c"));
    frame.own = true;
    frame.time = 1234567890123456789;
    see(frame);
    frame.time = receivedFrame_t::noTime;
    number = 1500;
    see(frame);
    dump.end({});
    EXPECT_EQ(out.str().substr(out.str().find('\n')),
              "\n(1234567890.123456) /tmp/a_b_c 000# T\n(1.500000) /tmp/a_b_c 000# T\n");
}
