#include "libqvcheck/causes.h"
#include "qvtools/runend.h"
#include "tests/unit/libqvcheck/nosink.h"

#include <utility>

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t second = 1000000000;

struct RunEndTest : ::testing::Test {
    /// `n` frames of the pattern that starts at 1, a second apart. `dropped`: frames lost here before them.
    void feed(std::uint32_t from, std::uint32_t n, std::uint32_t dropped = 0) {
        for (std::uint32_t k = from - 1; k < from - 1 + n; ++k) {
            receivedFrame_t frame{};
            frame.dropped = std::exchange(dropped, 0);
            frame.time = k * second;
            frame.canId = k + 1;
            frame.length = 8;
            frame.data[3] = static_cast<std::uint8_t>(k + 1);
            for (std::uint32_t i = 0; i < 4; ++i) {
                frame.data[4 + i] = static_cast<std::uint8_t>(i + k);
            }
            judge().judge(frame);
        }
    }
    void feedForeign() {
        receivedFrame_t frame{};
        frame.canId = 0x123;
        frame.length = 8;
        judge().judge(frame);
    }
    void read(std::vector<std::string> words) {
        words.insert(words.begin(), "qvcancheck");
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        Options table = CheckCommandLine::options();
        table.update();
        line.read(table, static_cast<int>(arguments.size()), arguments.data());
    }
    bool stops() {
        RunEnd end(line, false, 0);
        end.found(judge());
        return end.isOver() && end.why() == "--stop";
    }

    Judge& judge() {
        if (!theJudge) {
            causes = std::make_unique<Causes>(LC_INPUT);
            theJudge = std::make_unique<Judge>(line.demands, sink, causes.get());
        }
        return *theJudge;
    }

    CheckCommandLine line;
    std::unique_ptr<Causes> causes;
    NoSink sink;
    std::unique_ptr<Judge> theJudge;
};

} // namespace

TEST_F(RunEndTest, NeverComesByItselfWithoutAPlan) {
    RunEnd end(line, true, 100);
    end.look(judge(), INT64_MAX - 1);
    EXPECT_FALSE(end.isOver());
    EXPECT_EQ(end.due(), RunEnd::NEVER);
}

TEST_F(RunEndTest, ComesWithTheDuration) {
    line.duration = 5 * second;
    RunEnd end(line, true, 100);
    EXPECT_EQ(end.due(), 5 * second + 100);
    end.look(judge(), 5 * second + 99);
    EXPECT_FALSE(end.isOver());
    end.look(judge(), 5 * second + 100);
    EXPECT_EQ(end.why(), "-T");
    EXPECT_TRUE(end.planned());
    EXPECT_EQ(end.status(1), 1);
}

TEST_F(RunEndTest, ComesWithSilenceCountedFromTheLastFrameOfAPattern) {
    line.idle = 5 * second;
    line.demands.wait = 10 * second; // longer than the frames are apart
    RunEnd end(line, true, 0);
    EXPECT_EQ(end.due(), 5 * second);
    feed(1, 4);
    end.look(judge(), 3 * second);
    EXPECT_EQ(end.due(), 8 * second);
    end.look(judge(), 8 * second - 1);
    EXPECT_FALSE(end.isOver());
    end.look(judge(), 8 * second);
    EXPECT_EQ(end.why(), "--idle");
}

TEST_F(RunEndTest, CountsTheSilenceFromTheFirstFrameAsWell) {
    line.idle = 5 * second;
    line.demands.ids = {1};
    RunEnd end(line, true, 0);
    end.look(judge(), second);
    EXPECT_EQ(end.due(), 5 * second);
    feed(1, 1);
    end.look(judge(), 4 * second);
    EXPECT_EQ(end.due(), 9 * second);
}

TEST_F(RunEndTest, ComesWithTenSecondsOfSilenceWhereANumberIsDemanded) {
    read({"-l", "5"});
    RunEnd end(line, true, 0);
    EXPECT_EQ(end.due(), 10 * second);
    end.look(judge(), 10 * second - 1);
    EXPECT_FALSE(end.isOver());
    end.look(judge(), 10 * second);
    EXPECT_EQ(end.why(), "--idle");
}

TEST_F(RunEndTest, ComesTheWaitingTimeBehindTheLastDemandedFrame) {
    line.demands.ids = {1};
    line.demands.loop = 4;
    line.demands.wait = 2 * second;
    RunEnd end(line, true, 0);
    feed(1, 3);
    end.look(judge(), 10 * second);
    EXPECT_EQ(end.due(), RunEnd::NEVER);
    feed(4, 1);
    end.look(judge(), 11 * second);
    EXPECT_EQ(end.due(), 13 * second);
    end.look(judge(), 13 * second);
    EXPECT_EQ(end.why(), "-l");
}

TEST_F(RunEndTest, OfARecordingIsItsOwn) {
    line.demands.ids = {1};
    line.demands.loop = 4;
    line.idle = second;
    RunEnd end(line, false, 0);
    feed(1, 4);
    end.look(judge(), 100 * second);
    end.look(judge(), 200 * second);
    EXPECT_FALSE(end.isOver());
    end.inputEnded();
    EXPECT_EQ(end.why(), "end of input");
}

TEST_F(RunEndTest, BySignalIsPlannedWhereNothingElseIs) {
    RunEnd end(line, true, 0);
    end.signal(SIGINT);
    EXPECT_EQ(end.why(), "SIGINT");
    EXPECT_TRUE(end.planned());
    EXPECT_EQ(end.status(3), 3);
}

TEST_F(RunEndTest, BySignalBeforeThePlannedOneIsTheStatus) {
    line.demands.loop = 100;
    RunEnd number(line, true, 0);
    number.signal(SIGTERM);
    EXPECT_FALSE(number.planned());
    EXPECT_EQ(number.status(0), 128 + SIGTERM);
    line.demands.loop = 0;
    line.duration = second;
    RunEnd duration(line, true, 0);
    duration.signal(SIGHUP);
    EXPECT_EQ(duration.status(0), 128 + SIGHUP);
}

TEST_F(RunEndTest, IsTheFirstThatCame) {
    line.duration = second;
    RunEnd end(line, true, 0);
    end.look(judge(), second);
    end.signal(SIGINT);
    end.inputEnded();
    EXPECT_EQ(end.why(), "-T");
    EXPECT_EQ(end.status(0), 0);
}

TEST_F(RunEndTest, OfALongDurationDoesNotOverflow) {
    line.duration = INT64_MAX;
    RunEnd end(line, true, 100);
    EXPECT_EQ(end.due(), RunEnd::NEVER);
}

namespace {

struct stop_row_t {
    std::vector<std::string> options;
    bool atTenLost;
    bool atElevenLost;
    bool atDropped;
    bool atForeign;
};

class StopTest : public RunEndTest, public ::testing::WithParamInterface<stop_row_t> {};

} // namespace

TEST_P(StopTest, ComesWithTheFindingsThatWereNamedOrExceedTheAllowance) {
    const auto stopsWith = [this](auto feedThem) {
        theJudge.reset();
        feed(1, 20);
        feedThem();
        return stops();
    };
    read(GetParam().options);
    EXPECT_FALSE(stopsWith([] {}));
    EXPECT_EQ(stopsWith([this] { feed(31, 5); }), GetParam().atTenLost);
    EXPECT_EQ(stopsWith([this] { feed(32, 5); }), GetParam().atElevenLost);
    EXPECT_EQ(stopsWith([this] { feed(22, 5, 1); }), GetParam().atDropped);
    EXPECT_EQ(stopsWith([this] { feed(21, 5, 1); }), GetParam().atDropped) << "a frame of others, perhaps";
    EXPECT_EQ(stopsWith([this] { feedForeign(); }), GetParam().atForeign);
}

INSTANTIATE_TEST_SUITE_P(
    OfACheck, StopTest,
    ::testing::Values(stop_row_t{{}, false, false, false, false},
                      stop_row_t{{"--allow=foreign=0"}, false, false, false, false},
                      stop_row_t{{"--stop"}, true, true, true, false},
                      stop_row_t{{"--stop", "--allow=lost"}, false, false, true, false},
                      stop_row_t{{"--stop", "--allow=lost=10"}, false, true, true, false},
                      stop_row_t{{"--allow=overrun", "--stop"}, true, true, false, false},
                      stop_row_t{{"--stop", "--allow=foreign=0"}, true, true, true, true},
                      stop_row_t{{"--stop", "--allow=foreign=1"}, true, true, true, false},
                      stop_row_t{{"--stop=lost"}, true, true, false, false},
                      stop_row_t{{"--stop=lost", "--allow=lost=10"}, true, true, false, false},
                      stop_row_t{{"--stop=overrun"}, false, false, true, false},
                      stop_row_t{{"--stop=overrun", "--allow=all"}, false, false, true, false},
                      stop_row_t{{"--stop=foreign"}, false, false, false, true},
                      stop_row_t{{"--stop=reordered,gap"}, false, false, false, false},
                      stop_row_t{{"--stop=all"}, true, true, true, true}));
