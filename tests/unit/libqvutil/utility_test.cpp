// Error texts, the program's name, display widths and durations.

#include "libqvutil/utility.h"

#include <cerrno>
#include <chrono>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>

TEST(ErrorText, IsTheSystemsText) {
    EXPECT_STREQ(errorText(ENOENT), "No such file or directory");
    EXPECT_STREQ(errorText(ENETDOWN), std::strerror(ENETDOWN));
    EXPECT_STREQ(errorText(4711), "Unknown error 4711");
}

TEST(ProgName, IsTheLastPathComponent) {
    EXPECT_STREQ(progname("qvcan"), "qvcan");
    EXPECT_STREQ(progname("./qvcan"), "qvcan");
    EXPECT_STREQ(progname("/usr/local/bin/qvcan"), "qvcan");
    EXPECT_STREQ(progname("//qvcan"), "qvcan");
}

TEST(ProgName, IsEmptyWhereThePathEndsInASlash) {
    EXPECT_STREQ(progname("/usr/bin/"), "");
    EXPECT_STREQ(progname("/"), "");
    EXPECT_STREQ(progname(""), "");
}

TEST(ProgName, StaysNullWhereThereIsNone) {
    EXPECT_EQ(progname(nullptr), nullptr);
}

TEST(ProgName, PointsIntoTheArgument) {
    const char path[] = "/bin/qvcan";
    EXPECT_EQ(progname(path), path + 5);
}

TEST(DisplayWidth, CountsCharactersInTheCLocale) {
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
    const std::size_t width = displayWidth("\xC2\xB5s");
    std::setlocale(LC_ALL, previous.c_str());
    EXPECT_EQ(width, 2U);
}

TEST(DisplayWidth, CountsCharactersOfEveryLength) {
    EXPECT_EQ(displayWidth(""), 0U);
    EXPECT_EQ(displayWidth("--time=time"), 11U);
    EXPECT_EQ(displayWidth("\xC2\xB5\xC2\xB5"), 2U); // two bytes each
    EXPECT_EQ(displayWidth("\xE2\x82\xAC"), 1U);     // three
    EXPECT_EQ(displayWidth("a\xF0\x9D\x84\x9E"
                           "b"),
              3U); // four
}

TEST(DisplayWidth, IsZeroForNoText) {
    EXPECT_EQ(displayWidth(nullptr), 0U);
}

namespace {

struct duration_t {
    const char* name;
    std::int64_t micros;
    std::int64_t seconds;
    long nanos;
};

const duration_t durations[] = {
    {"zero", 0, 0, 0},
    {"one", 1, 0, 1000},
    {"last_below_a_second", 999999, 0, 999999000},
    {"second", 1000000, 1, 0},
    {"two_and_a_half_seconds", 2500000, 2, 500000000},
    {"highest_of_32_bits", 0xFFFFFFFF, 4294, 967295000},
    {"beyond_32_bits_of_seconds", 5000000000000001, 5000000000, 1000},
    {"highest", std::numeric_limits<std::int64_t>::max(), 9223372036854, 775807000},
    {"minus_one", -1, 0, -1000},
    {"minus_two_and_a_half_seconds", -2500000, -2, -500000000},
    {"lowest", std::numeric_limits<std::int64_t>::min(), -9223372036854, -775808000},
};

} // namespace

class ToTimespec : public testing::TestWithParam<duration_t> {};

TEST_P(ToTimespec, SplitsIntoSecondsAndNanoseconds) {
    const timespec time = toTimespec(std::chrono::microseconds(GetParam().micros));
    EXPECT_EQ(time.tv_sec, GetParam().seconds);
    EXPECT_EQ(time.tv_nsec, GetParam().nanos);
}

INSTANTIATE_TEST_SUITE_P(Rows, ToTimespec, testing::ValuesIn(durations),
                         [](const auto& row) { return std::string(row.param.name); });
