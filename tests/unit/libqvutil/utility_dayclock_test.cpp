// The clock that starts as the local time of day and then follows the monotonic clock; all clocks scripted.

#include "libqvutil/utility.h"
#include "tests/fakes/fakesystem.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

namespace {

constexpr std::uint64_t second = 1000000; // in µs
constexpr std::uint64_t hour = 3600 * second;
constexpr std::time_t day = 86400;

/// Sets TZ for one test.
class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        const char* const old = std::getenv("TZ");
        had = old != nullptr;
        previous = had ? old : "";
        setenv("TZ", zone, 1);
        tzset();
    }
    ~TimeZone() {
        if (had) {
            setenv("TZ", previous.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    bool had;
    std::string previous;
};

/// Both clocks as the test sets them.
struct Clocks {
    Clocks(timespec _realtime, timespec _monotonic) : realtime(_realtime), monotonic(_monotonic) {
        fake.clock_gettime = [this](clockid_t clock, timespec* time) {
            EXPECT_TRUE(clock == CLOCK_REALTIME || clock == CLOCK_MONOTONIC) << clock;
            realtimeReads += clock == CLOCK_REALTIME ? 1 : 0;
            *time = clock == CLOCK_REALTIME ? realtime : monotonic;
            return 0;
        };
    }

    timespec realtime;
    timespec monotonic;
    int realtimeReads = 0;
    FakeSystem fake;
};

timespec at(std::time_t seconds, long nanos = 0) {
    timespec time{};
    time.tv_sec = seconds;
    time.tv_nsec = nanos;
    return time;
}

/// 12:34:56.789012345 UTC on some day of 2023.
const timespec noonish = at(19600 * day + 12 * 3600 + 34 * 60 + 56, 789012345);
constexpr std::uint64_t noonishOfDay = (12 * 3600 + 34 * 60 + 56) * second + 789012;

struct zone_t {
    const char* name;
    const char* zone;
    std::uint64_t timeOfDay;
};

const zone_t zones[] = {
    {"UTC", "UTC0", noonishOfDay},
    {"east", "EAST-2", noonishOfDay + 2 * hour},
    {"west", "WEST8", noonishOfDay - 8 * hour},
    {"half_an_hour", "INDIA-5:30", noonishOfDay + 5 * hour + hour / 2},
    {"already_tomorrow", "KIRIBATI-13", noonishOfDay + 13 * hour - 24 * hour},
    {"still_yesterday", "FARWEST12:45", noonishOfDay + 24 * hour - 12 * hour - hour * 3 / 4},
};

} // namespace

class DayClockZone : public testing::TestWithParam<zone_t> {};

TEST_P(DayClockZone, StartsAsTheLocalTimeOfDay) {
    const TimeZone zone(GetParam().zone);
    const Clocks clocks(noonish, at(1000, 5000));
    EXPECT_EQ(DayClock().now(), GetParam().timeOfDay);
}

INSTANTIATE_TEST_SUITE_P(Rows, DayClockZone, testing::ValuesIn(zones),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DayClock, StartsAsTheUtcTimeOfDayWhereTheLocalOneIsUnknown) {
    Clocks clocks(noonish, at(1000));
    clocks.fake.localtime_r = [](const std::time_t*, tm*) { return static_cast<tm*>(nullptr); };
    EXPECT_EQ(DayClock().now(), noonishOfDay);
}

TEST(DayClock, AsksForTheLocalTimeOfTheRealtimeClock) {
    Clocks clocks(noonish, at(1000));
    std::time_t asked = 0;
    clocks.fake.localtime_r = [&asked](const std::time_t* time, tm* local) {
        asked = *time;
        local->tm_hour = 1;
        local->tm_min = 2;
        local->tm_sec = 3;
        return local;
    };
    EXPECT_EQ(DayClock().now(), (3600 + 120 + 3) * second + 789012);
    EXPECT_EQ(asked, noonish.tv_sec);
}

TEST(DayClock, StartsRightAfterTheYear2038) {
    const TimeZone utc("UTC0");
    const Clocks clocks(at(50000 * day + 60), at(1000));
    EXPECT_EQ(DayClock().now(), 60 * second);
}

TEST(DayClock, FollowsTheMonotonicClock) {
    const TimeZone utc("UTC0");
    Clocks clocks(at(100 * day + 10), at(1000, 999999000));
    const DayClock clock;

    clocks.monotonic = at(1001, 0);
    EXPECT_EQ(clock.now(), 10 * second + 1);
    clocks.monotonic = at(1003, 250000999);
    EXPECT_EQ(clock.now(), 12 * second + 250001);
}

TEST(DayClock, DoesNotHeedARealtimeClockThatIsSet) {
    const TimeZone utc("UTC0");
    Clocks clocks(at(100 * day + 10), at(1000));
    const DayClock clock;

    clocks.monotonic = at(1001);
    clocks.realtime = at(50 * day);
    EXPECT_EQ(clock.now(), 11 * second);
    clocks.realtime = at(200 * day);
    EXPECT_EQ(clock.now(), 11 * second);
}

TEST(DayClock, DoesNotRestartAtMidnight) {
    const TimeZone utc("UTC0");
    Clocks clocks(at(101 * day - 1), at(1000));
    const DayClock clock;
    EXPECT_EQ(clock.now(), 86399 * second);

    clocks.monotonic = at(1002);
    clocks.realtime = at(101 * day + 1);
    EXPECT_EQ(clock.now(), 86401 * second);

    clocks.monotonic = at(1000 + 400 * day);
    EXPECT_EQ(clock.now(), 86399 * second + 400 * 24 * hour);
}

TEST(DayClock, StartsRightOnAMachineThatHasRunForYears) {
    const TimeZone utc("UTC0");
    Clocks clocks(at(20000 * day + 1), at(5000 * day));
    const DayClock clock;
    EXPECT_EQ(clock.now(), second);
    clocks.monotonic = at(5000 * day + 1);
    EXPECT_EQ(clock.now(), 2 * second);
}

TEST(GetMicroSecondsOfDay, IsOneClockForTheProcess) {
    const std::uint64_t started = getMicroSecondsOfDay();
    EXPECT_GT(started, 0U);

    Clocks clocks(at(100 * day), at(1000));
    const std::uint64_t before = getMicroSecondsOfDay();
    clocks.realtime = at(50 * day);
    clocks.monotonic = at(1001, 234567000);

    EXPECT_EQ(getMicroSecondsOfDay() - before, second + 234567);
    EXPECT_EQ(clocks.realtimeReads, 0);
}

TEST(GetMicroSecondsOfDay, NeverStepsBack) {
    std::uint64_t last = getMicroSecondsOfDay();
    for (int i = 0; i < 1000; ++i) {
        const std::uint64_t now = getMicroSecondsOfDay();
        EXPECT_GE(now, last);
        last = now;
    }
}
