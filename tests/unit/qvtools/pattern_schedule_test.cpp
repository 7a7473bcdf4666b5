// When the frames are sent: an absolute schedule on a scripted clock, with scripted dice.

#include "tests/unit/qvtools/patternsender.h"

#include <limits>

namespace {

constexpr std::uint64_t day = 86400000000; // µs

class PatternSchedule : public PatternSender {
protected:
    PatternSchedule() {
        onWrite = [this](std::size_t n) {
            sentAt.push_back(clock);
            return static_cast<ssize_t>(n);
        };
        system.rand = [this] {
            ++draws;
            return dice;
        };
    }

    std::vector<std::uint64_t> gaps() const {
        std::vector<std::uint64_t> list;
        for (std::size_t i = 1; i < sentAt.size(); ++i) {
            list.push_back(sentAt[i] - sentAt[i - 1]);
        }
        return list;
    }

    std::vector<std::uint64_t> sentAt;
    int dice = 0;
    int draws = 0;
};

} // namespace

TEST_F(PatternSchedule, SendsTheFirstFrameAtOnceAndTheOthersExactlyAGapApart) {
    settings.loop = 4;
    settings.timegap = 100000;
    run();

    EXPECT_EQ(sentAt, std::vector<std::uint64_t>({1000, 101000, 201000, 301000}));
    EXPECT_EQ(draws, 0) << "without a jitter nothing is drawn";
}

TEST_F(PatternSchedule, WaitsForTheTimeFirstAndForTheSocketWhenTheFrameIsDue) {
    settings.loop = 3;
    settings.timegap = 2345678;
    run();

    const wait_t pause = early(2, 345678000);
    EXPECT_EQ(waits, std::vector<wait_t>({due, pause, due, pause, due}))
        << "read set only, until the time-out; then both without a time-out";
}

TEST_F(PatternSchedule, NeverWaitsForTheTimeWithAGapOfZero) {
    settings.loop = 5;
    run();

    EXPECT_EQ(waits, std::vector<wait_t>(5, due));
    EXPECT_EQ(gaps(), std::vector<std::uint64_t>(4, 0));
}

TEST_F(PatternSchedule, WaitsForTheRestWhenAFrameArrivesEarly) {
    settings.loop = 2;
    settings.timegap = 1000000;
    onWait = [this](const wait_t& asked) {
        if (!asked.limited || waits.size() >= 4) {
            return passTime(asked);
        }
        clock += 300000;
        return outcome_t{true, false, 0};
    };
    run();

    EXPECT_EQ(waits, std::vector<wait_t>({due, early(1, 0), early(0, 700000000), early(0, 400000000), due}));
    EXPECT_EQ(reads, 2);
    EXPECT_EQ(gaps(), std::vector<std::uint64_t>({1000000}));
}

TEST_F(PatternSchedule, SendsABacklogOfHoursBackToBackAndIsThenOnItsOldScheduleAgain) {
    settings.loop = 7205;
    settings.timegap = 1000000;
    onWait = [this](const wait_t& asked) {
        if (waits.size() == 1) {
            clock += 7200500000; // the first frame had to wait for two hours: a stopped process, a full queue
        }
        return passTime(asked);
    };
    run();

    ASSERT_EQ(sentAt.size(), 7205U);
    for (std::size_t k = 0; k <= 7200; ++k) {
        ASSERT_EQ(sentAt[k], 7200501000U) << "frame " << k;
    }
    for (std::size_t k = 7201; k < sentAt.size(); ++k) {
        EXPECT_EQ(sentAt[k], 1000U + k * std::uint64_t{1000000}) << "frame " << k;
    }
    expectPattern();
}

TEST_F(PatternSchedule, DoesNotMoveTheLaterFramesWhenOneIsLate) {
    settings.loop = 4;
    settings.timegap = 1000;
    onWait = [this](const wait_t& asked) {
        clock += frames.size() == 1 && !asked.limited ? 400U : 0U;
        return passTime(asked);
    };
    run();

    EXPECT_EQ(sentAt, std::vector<std::uint64_t>({1000, 2400, 3000, 4000}));
}

TEST_F(PatternSchedule, OnlyWaitsAndDiscardsForADayWhenTheClockRestartsAtMidnight) {
    settings.loop = 3;
    settings.timegap = 100000;
    clock = day - 150000;
    onWait = [this](const wait_t& asked) {
        if (!asked.limited) {
            return passTime(asked);
        }
        if (frames.size() == 1) {
            return passTime(asked);
        }
        clock += 3600000000; // an hour from one incoming frame to the next
        clock -= reads == 0 ? day : 0;
        return outcome_t{true, false, 0};
    };
    run();

    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(sentAt[1], day - 50000);
    EXPECT_GE(sentAt[2], day + 50000) << "the clock has to catch up with the schedule first";
    EXPECT_EQ(reads, 25) << "all that comes within the day is discarded";
    EXPECT_EQ(waits[4], early(82800, 100000000)) << "23 hours and a gap are left after the first of them";
}

namespace {

struct gap_t {
    const char* name;
    std::uint64_t timegap;
    std::int64_t seconds;
    std::int64_t nanos;
};

class PatternScheduleGap : public PatternSchedule, public testing::WithParamInterface<gap_t> {};

} // namespace

TEST_P(PatternScheduleGap, IsWaitedForWithAll64Bits) {
    settings.loop = 2;
    settings.timegap = GetParam().timegap;
    run();

    EXPECT_EQ(waits, std::vector<wait_t>({due, early(GetParam().seconds, GetParam().nanos), due}));
    EXPECT_EQ(gaps(), std::vector<std::uint64_t>({GetParam().timegap}));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PatternScheduleGap,
    testing::Values(gap_t{"one", 1, 0, 1000}, gap_t{"below_a_second", 999999, 0, 999999000},
                    gap_t{"a_second", 1000000, 1, 0}, gap_t{"2_to_the_31", 1ULL << 31U, 2147, 483648000},
                    gap_t{"2_to_the_32_less_1", (1ULL << 32U) - 1, 4294, 967295000},
                    gap_t{"2_to_the_32", 1ULL << 32U, 4294, 967296000},
                    gap_t{"2_to_the_32_and_5", (1ULL << 32U) + 5, 4294, 967301000},
                    gap_t{"a_day", day, 86400, 0}, gap_t{"2_to_the_52", 1ULL << 52U, 4503599627, 370496000}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(PatternSchedule, WaitsWithoutATimeOutForTheOneDistanceThatMeansNone) {
    settings.loop = 2;
    settings.timegap = std::numeric_limits<std::uint64_t>::max();
    clock = 0;
    onWait = [this](const wait_t& asked) {
        if (waits.size() == 2) {
            EXPECT_EQ(asked, (wait_t{descriptor + 1, true, false, false, 0, 0}));
            throw leave_t();
        }
        return passTime(asked);
    };

    EXPECT_THROW(run(), leave_t);
    EXPECT_EQ(frames.size(), 1U);
}

TEST_F(PatternSchedule, WrapsAt64BitsWhichMakesTheNextFrameOverdue) {
    settings.loop = 3;
    settings.timegap = std::numeric_limits<std::uint64_t>::max();
    run();

    EXPECT_EQ(waits, std::vector<wait_t>(3, due));
}

namespace {

struct jitter_t {
    const char* name;
    std::uint64_t timegap;
    std::uint64_t jitter;
    int dice;
    std::uint64_t gap;
};

class PatternScheduleJitter : public PatternSchedule, public testing::WithParamInterface<jitter_t> {};

constexpr int highest = 0x7FFFFFFF;

} // namespace

TEST_P(PatternScheduleJitter, SpreadsTheGapAsTheDiceSay) {
    settings.loop = 3;
    settings.timegap = GetParam().timegap;
    settings.jitter = GetParam().jitter;
    dice = GetParam().dice;
    run();

    EXPECT_EQ(gaps(), std::vector<std::uint64_t>(2, GetParam().gap));
    EXPECT_EQ(draws, GetParam().timegap == 0 ? 0 : 3) << "one draw for each frame";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PatternScheduleJitter,
    testing::Values(jitter_t{"lowest", 1000, 100, 0, 900}, jitter_t{"middle", 1000, 100, 1 << 30, 1000},
                    jitter_t{"highest", 1000, 100, highest, 1100},
                    jitter_t{"just_below_a_step", 1000, 100, highest / 201, 900},
                    jitter_t{"just_above_a_step", 1000, 100, highest / 201 + 1, 901},
                    jitter_t{"as_large_as_the_gap_lowest", 1000, 1000, 0, 0},
                    jitter_t{"as_large_as_the_gap_highest", 1000, 1000, highest, 2000},
                    jitter_t{"cut_to_the_gap", 1000, 5000, highest, 2000},
                    jitter_t{"without_a_gap", 0, 5000, highest, 0},
                    jitter_t{"beyond_32_bits", 1ULL << 33U, 1ULL << 32U, 0, 1ULL << 32U},
                    jitter_t{"highest_beyond_32_bits", 1ULL << 33U, 1ULL << 32U, highest, 12884901885}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(PatternSchedule, DrawsAnewForEveryFrame) {
    settings.loop = 4;
    settings.timegap = 1000;
    settings.jitter = 1000;
    system.rand = [this] { return draws++ % 2 == 0 ? 0 : 1 << 30; };
    run();

    EXPECT_EQ(gaps(), std::vector<std::uint64_t>({0, 1000, 0}));
}
