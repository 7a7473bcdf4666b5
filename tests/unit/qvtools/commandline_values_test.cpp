// What options are worth: numbers and times as the 32-bit target reads them, and the defaults that depend on
// others.

#include "tests/fakes/arguments.h"
#include "tests/fakes/candevicetestaccess.h"
#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/setupsystem.h"

#include <cstdint>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// The settings of the only device that the options make.
CanDeviceTestAccess::settings_t settingsOf(const std::vector<std::string>& options) {
    Arguments arguments(options);
    CanDeviceTestAccess::settings_t settings;
    captured([&] {
        const SetupSystem system;
        const auto devices = CanDevice::parse(arguments.count(), arguments.vector(), "can0", true);
        EXPECT_EQ(devices.size(), 1U);
        settings = CanDeviceTestAccess::settingsOf(*devices.at(0));
    });
    return settings;
}

constexpr std::uint32_t allBits = 0xFFFFFFFF;

struct number_t {
    const char* name;
    const char* text;
    std::uint32_t value;
    friend void PrintTo(const number_t& row, std::ostream* out) { *out << row.name; }
};

} // namespace

class CommandLineNumber : public testing::TestWithParam<number_t> {};

TEST_P(CommandLineNumber, IsReadWithBaseZeroIn32Bits) {
    const number_t& row = GetParam();

    EXPECT_EQ(settingsOf({"-e", row.text}).errnum, row.value);
    EXPECT_EQ(settingsOf({"-i", row.text}).canId, row.value);
    EXPECT_EQ(settingsOf({"-c", row.text}).channel, row.value % 256);
    // All bits set count as not given.
    EXPECT_EQ(settingsOf({"-l", row.text}).loop, row.value == allBits ? 1 : row.value);
    EXPECT_EQ(settingsOf({"-p", "-l", row.text}).loop, row.value == allBits ? 1024 : row.value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandLineNumber,
    testing::Values(number_t{"decimal", "300", 300}, number_t{"hexadecimal", "0x1aB", 0x1AB},
                    number_t{"hexadecimal_with_a_capital_X", "0XFF", 255}, number_t{"octal", "017", 15},
                    number_t{"octal_up_to_the_wrong_digit", "0179", 15}, number_t{"zero", "0", 0},
                    number_t{"empty", "", 0}, number_t{"word", "abc", 0},
                    number_t{"trailing_text", "12abc", 12}, number_t{"lone_base_prefix", "0x", 0},
                    number_t{"leading_blanks", " \t7", 7}, number_t{"plus_sign", "+7", 7},
                    number_t{"fraction", "5.9", 5}, number_t{"exponent", "1e3", 1},
                    number_t{"minus_one", "-1", allBits}, number_t{"minus_five", "-5", 0xFFFFFFFB},
                    number_t{"minus_all_bits", "-4294967295", 1}, number_t{"highest", "4294967295", allBits},
                    number_t{"next_to_highest", "4294967294", 0xFFFFFFFE},
                    number_t{"first_beyond_32_bits", "4294967296", allBits},
                    number_t{"beyond_32_bits", "99999999999", allBits},
                    number_t{"negative_beyond_32_bits", "-99999999999", allBits},
                    number_t{"beyond_64_bits", "99999999999999999999999", allBits}),
    [](const auto& row) { return std::string(row.param.name); });

namespace {

struct time_row_t {
    const char* name;
    std::vector<std::string> options;
    std::uint64_t timegap;
    std::uint64_t jitter;
    friend void PrintTo(const time_row_t& row, std::ostream* out) { *out << row.name; }
};

} // namespace

class CommandLineTime : public testing::TestWithParam<time_row_t> {};

TEST_P(CommandLineTime, BecomesMicrosecondsWithTheJitterBelowTheGap) {
    EXPECT_EQ(settingsOf(GetParam().options).timegap, GetParam().timegap);
    EXPECT_EQ(settingsOf(GetParam().options).jitter, GetParam().jitter);
}

constexpr std::uint64_t highest = 0xFFFFFFFFFFFFFFFF;

INSTANTIATE_TEST_SUITE_P(
    Gap, CommandLineTime,
    testing::Values(time_row_t{"default", {}, 100000, 99999}, //
                    time_row_t{"bare_number", {"-t", "2"}, 2, 1},
                    time_row_t{"one_leaves_no_room_for_jitter", {"-t", "1"}, 1, 0},
                    time_row_t{"zero", {"-t", "0"}, 0, 0}, //
                    time_row_t{"zero_whatever_the_jitter", {"-t", "0", "-j", "5"}, 0, 0},
                    time_row_t{"empty", {"-t", ""}, 0, 0}, time_row_t{"blank", {"-t", " "}, 0, 0},
                    time_row_t{"no_number", {"-t", "soon"}, 0, 0},
                    time_row_t{"leading_base_prefix_is_no_base", {"-t", "010"}, 10, 9},
                    time_row_t{"blank_before_the_prefix", {"-t", "5 m"}, 5000, 4999},
                    time_row_t{"word_behind_the_prefix_is_not_looked_at", {"-t", "5 m s"}, 5000, 4999},
                    time_row_t{"later_one_counts", {"-t", "5m", "-t", "7"}, 7, 6},
                    time_row_t{"long_form", {"--time=5m", "--jitter", "2m"}, 5000, 2000},
                    time_row_t{"number_beyond_64_bits_loses_its_prefix",
                               {"-t", "99999999999999999999m"},
                               highest,
                               100000},
                    time_row_t{"at_the_jitters_default", {"-t", "100000"}, 100000, 99999},
                    time_row_t{"above_the_jitters_default", {"-t", "100001"}, 100001, 100000}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Prefix, CommandLineTime,
    testing::Values(
        time_row_t{"yocto", {"-t", "500y"}, 0, 0}, time_row_t{"zepto", {"-t", "500z"}, 0, 0},
        time_row_t{"atto", {"-t", "500a"}, 0, 0}, time_row_t{"femto", {"-t", "500f"}, 0, 0},
        time_row_t{"pico", {"-t", "500p"}, 0, 0}, time_row_t{"nano", {"-t", "500n"}, 0, 0},
        time_row_t{"micro", {"-t", "3\xC2\xB5"}, 3, 2}, time_row_t{"micro_in_ascii", {"-t", "3u"}, 3, 2},
        time_row_t{"milli", {"-t", "3m"}, 3000, 2999}, time_row_t{"centi", {"-t", "3c"}, 30000, 29999},
        time_row_t{"deci", {"-t", "3d"}, 300000, 100000}, time_row_t{"deca", {"-t", "3de"}, 30000000, 100000},
        time_row_t{"hecto", {"-t", "3h"}, 300000000, 100000},
        time_row_t{"kilo", {"-t", "1k"}, 1000000000, 100000},
        time_row_t{"mega", {"-t", "3M"}, 3000000000000, 100000},
        time_row_t{"giga", {"-t", "3G"}, 3000000000000000, 100000},
        time_row_t{"tera", {"-t", "18T"}, 18000000000000000000U, 100000},
        // 19 * 10^18 - 2^64
        time_row_t{"product_beyond_64_bits", {"-t", "19T"}, 553255926290448384, 100000},
        // From 10^21 on the factor itself does not fit: it is 2^64 - 1, and n times that is -n.
        time_row_t{"peta", {"-t", "1P"}, highest, 100000},
        time_row_t{"exa", {"-t", "3E"}, highest - 2, 100000},
        time_row_t{"zetta", {"-t", "2Z"}, highest - 1, 100000},
        time_row_t{"yotta", {"-t", "1Y"}, highest, 100000}, time_row_t{"zero_yotta", {"-t", "0Y"}, 0, 0}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(Jitter, CommandLineTime,
                         testing::Values(time_row_t{"below_the_gap", {"-t", "100", "-j", "98"}, 100, 98},
                                         time_row_t{"one_below_the_gap", {"-t", "100", "-j", "99"}, 100, 99},
                                         time_row_t{"equal_to_the_gap", {"-t", "100", "-j", "100"}, 100, 99},
                                         time_row_t{"above_the_gap", {"-t", "10m", "-j", "20m"}, 10000, 9999},
                                         time_row_t{"far_above_the_gap", {"-t", "10", "-j", "1Y"}, 10, 9},
                                         time_row_t{"zero", {"-j", "0"}, 100000, 0},
                                         time_row_t{"prefix_below_micro", {"-j", "900n"}, 100000, 0},
                                         time_row_t{"later_one_counts", {"-j", "5m", "-j", "7"}, 100000, 7},
                                         time_row_t{
                                             "in_front_of_the_gap", {"-j", "20m", "-t", "10m"}, 10000, 9999}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(CommandLineLoop, DependsOnThePatternAloneWhenNotGiven) {
    EXPECT_EQ(settingsOf({}).loop, 1U);
    EXPECT_EQ(settingsOf({"-p"}).loop, 1024U);
    EXPECT_EQ(settingsOf({"-p", "-s", "file", "-a"}).loop, 1024U);
    EXPECT_EQ(settingsOf({"-s", "file", "-a"}).loop, 1U);
}

TEST(CommandLineLoop, TheLaterOneCounts) {
    EXPECT_EQ(settingsOf({"-l", "5", "-l", "6"}).loop, 6U);
    EXPECT_EQ(settingsOf({"-l", "5", "-l", "99999999999"}).loop, 1U);
}

TEST(CommandLineVerbosity, CountsItsLettersIn16Bits) {
    EXPECT_EQ(settingsOf({}).verbose, 0);
    EXPECT_EQ(settingsOf({"-v", "-vv", "--verbose"}).verbose, 4);
    EXPECT_EQ(settingsOf({"-" + std::string(65535, 'v')}).verbose, 65535);
    EXPECT_EQ(settingsOf({"-" + std::string(65537, 'v')}).verbose, 1);
}

class CommandLineBadPrefix : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(CommandLineBadPrefix, LeavesAsAnExceptionBeforeAnythingIsOpened) {
    Arguments arguments({GetParam().at(0), GetParam().at(1)});
    std::string what;
    std::size_t calls = 0;
    std::size_t devicesAfter = 0;
    const Captured text = captured([&] {
        const SetupSystem system;
        try {
            CanDevice::parse(arguments.count(), arguments.vector(), "can0", true);
        } catch (const std::invalid_argument& exception) {
            what = exception.what();
        }
        calls = system.calls.size();
        Arguments plain({});
        devicesAfter = CanDevice::parse(plain.count(), plain.vector(), "can0", true).size();
    });

    EXPECT_EQ(what, "invalid unit \"" + GetParam().at(2) + "\" specified");
    EXPECT_EQ(calls, 1U) << "only the locale is set";
    EXPECT_EQ(text.out + text.err, "");
    EXPECT_EQ(devicesAfter, 1U) << "the next call is not disturbed";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandLineBadPrefix,
    testing::Values(std::vector<std::string>{"-t", "10ms", "ms"}, std::vector<std::string>{"-t", "2da", "da"},
                    std::vector<std::string>{"-j", "1s", "s"}, std::vector<std::string>{"-j", "5.5", ".5"},
                    std::vector<std::string>{"-t", "1K", "K"}, std::vector<std::string>{"-t", "0x10", "x10"},
                    std::vector<std::string>{"-t", "7-a-very-long-word-that-is-no-prefix",
                                             "-a-very-long-word-that-is-no-prefix"}));
