// The pause of the file sender.

#include "tests/unit/qvtools/scripteddevice.h"

#include <limits>
#include <vector>

namespace {

struct delay_t {
    const char* name;
    std::uint64_t timegap;
    std::uint64_t jitter;
    int dice;
    std::int64_t micros; ///< what is slept; 0: not at all
};

class Delay : public ScriptedDevice, public testing::WithParamInterface<delay_t> {};

constexpr std::uint64_t two32 = 1ULL << 32U;
constexpr int highestDraw = 0x7FFFFFFF;

} // namespace

TEST_P(Delay, SleepsTheGapSpreadByTheJitterOnceAndCutTo32Bits) {
    settings.timegap = GetParam().timegap;
    settings.jitter = GetParam().jitter;
    int draws = 0;
    system.rand = [&draws] {
        ++draws;
        return GetParam().dice;
    };
    std::vector<std::int64_t> slept;
    system.clock_nanosleep = [&](clockid_t clock, int flags, const timespec* time, timespec*) {
        EXPECT_EQ(clock, CLOCK_MONOTONIC);
        EXPECT_EQ(flags, 0) << "a relative time";
        EXPECT_TRUE(time->tv_nsec >= 0 && time->tv_nsec < 1000000000 && time->tv_nsec % 1000 == 0);
        slept.push_back(std::int64_t{time->tv_sec} * 1000000 + time->tv_nsec / 1000);
        return 0;
    };
    CanDeviceTestAccess::delay(*make());

    EXPECT_EQ(slept, GetParam().micros == 0 ? std::vector<std::int64_t>()
                                            : std::vector<std::int64_t>{GetParam().micros});
    EXPECT_EQ(draws, GetParam().jitter == 0 || GetParam().timegap == 0 ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Delay,
    testing::Values(delay_t{"none", 0, 0, 0, 0}, delay_t{"none_with_a_jitter", 0, 100, highestDraw, 0},
                    delay_t{"one", 1, 0, 0, 1}, delay_t{"default", 100000, 0, 0, 100000},
                    delay_t{"seconds", 2345678, 0, 0, 2345678}, delay_t{"lowest", 1000, 400, 0, 600},
                    delay_t{"middle", 1000, 400, 1 << 30, 1000},
                    delay_t{"highest", 1000, 400, highestDraw, 1400}, delay_t{"drawn_zero", 1000, 1000, 0, 0},
                    delay_t{"drawn_double", 1000, 1000, highestDraw, 2000},
                    delay_t{"highest_of_32_bits", two32 - 1, 0, 0, 4294967295},
                    // Whether there is a pause is asked of all 64 bits, its length is of 32: intended.
                    delay_t{"cut_to_none", two32, 0, 0, 0}, delay_t{"cut_to_5", two32 + 5, 0, 0, 5},
                    delay_t{"cut_from_64_bits", std::numeric_limits<std::uint64_t>::max(), 0, 0, 4294967295},
                    delay_t{"cut_behind_the_draw", two32 - 1, 10, highestDraw, 9}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(ScriptedDevice, PausesOnWithTheRestAfterASignal) {
    settings.timegap = 5000000;
    std::vector<std::time_t> slept;
    system.clock_nanosleep = [&](clockid_t, int, const timespec* time, timespec* rest) {
        slept.push_back(time->tv_sec);
        *rest = {3, 0};
        return slept.size() == 1 ? EINTR : 0;
    };
    CanDeviceTestAccess::delay(*make());

    EXPECT_EQ(slept, std::vector<std::time_t>({5, 3}));
}
