// Numbers as the 32-bit target reads them, on every width.

#include "libqvutil/number.h"
#include "tests/fakes/fakesystem.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t allBits = 0xFFFFFFFF;

struct number_t {
    const char* name;
    const char* text;
    std::uint32_t value;
};

const number_t numberRows[] = {
    {"decimal", "300", 300},
    {"zero", "0", 0},
    {"hexadecimal", "0x1aB", 0x1AB},
    {"hexadecimal_with_a_capital_X", "0XFF", 255},
    {"hexadecimal_of_all_bits", "0xFFFFFFFF", allBits},
    {"hexadecimal_of_33_bits", "0x100000000", allBits},
    {"octal", "017", 15},
    {"octal_up_to_the_wrong_digit", "0179", 15},
    {"octal_without_a_right_digit", "08", 0},
    {"binary", "0b11", 0},
    {"binary_with_a_capital_B", "0B11", 0},
    {"minus_binary", "-0b1", 0},
    {"lone_base", "0x", 0},
    {"base_with_a_wrong_digit", "0xg", 0},
    {"empty", "", 0},
    {"blank", " ", 0},
    {"junk", "junk", 0},
    {"junk_behind_the_number", "12abc", 12},
    {"blank_behind_the_number", "12 34", 12},
    {"fraction", "5.9", 5},
    {"exponent", "1e3", 1},
    {"white_space_in_front", " \t\n\v\f\r7", 7},
    {"white_space_before_a_minus", " \t\n\v\f\r-7", 0xFFFFFFF9},
    {"plus", "+5", 5},
    {"minus", "-5", 0xFFFFFFFB},
    {"minus_zero", "-0", 0},
    {"minus_one", "-1", allBits},
    {"minus_hexadecimal", "-0x10", 0xFFFFFFF0},
    {"minus_octal", "-010", 0xFFFFFFF8},
    {"two_minus", "--5", 0},
    {"plus_and_minus", "+-5", 0},
    {"minus_and_plus", "-+5", 0},
    {"blank_behind_the_sign", "- 5", 0},
    {"minus_and_junk", "-junk", 0},
    {"highest", "4294967295", allBits},
    {"next_to_highest", "4294967294", 0xFFFFFFFE},
    {"first_beyond_32_bits", "4294967296", allBits},
    {"beyond_32_bits", "99999999999", allBits},
    {"beyond_32_bits_with_small_low_half", "4294967301", allBits},
    {"highest_of_64_bits", "18446744073709551615", allBits},
    {"beyond_64_bits", "99999999999999999999999", allBits},
    {"minus_highest", "-4294967295", 1},
    {"minus_the_first_beyond_32_bits", "-4294967296", allBits},
    {"minus_beyond_32_bits", "-99999999999", allBits},
    {"minus_highest_of_64_bits", "-18446744073709551615", allBits},
    {"minus_beyond_64_bits", "-99999999999999999999999", allBits},
};

std::string rowName(const testing::TestParamInfo<number_t>& row) {
    return row.param.name;
}

} // namespace

class TargetStrtoul : public testing::TestWithParam<number_t> {};

TEST_P(TargetStrtoul, ReadsWithBaseZeroIn32Bits) {
    EXPECT_EQ(targetStrtoul(GetParam().text), GetParam().value);
}

TEST_P(TargetStrtoul, LeavesErrnoAlone) {
    errno = EXDEV;
    targetStrtoul(GetParam().text);
    EXPECT_EQ(errno, EXDEV);
}

#if ULONG_MAX == 0xFFFFFFFF
// Where unsigned long has the target's width, the system's own function must confirm the table.
TEST_P(TargetStrtoul, IsWhatTheSystemReadsOnThisWidth) {
    EXPECT_EQ(std::strtoul(GetParam().text, nullptr, 0), GetParam().value);
}
#endif

INSTANTIATE_TEST_SUITE_P(Rows, TargetStrtoul, testing::ValuesIn(numberRows), rowName);

TEST(TargetStrtoul, ReadsNoBinaryNumberWhereTheCLibraryDoes) {
    FakeSystem system;
    system.strtoull = [](const char*, char**, int base) { return base == 0 || base == 2 ? 3ULL : 0ULL; };
    EXPECT_EQ(targetStrtoul("0b11"), 0U);
    EXPECT_EQ(targetStrtoul(" -0B11"), 0U);
}

TEST(ToTargetLong, KeepsTheLow32Bits) {
    EXPECT_EQ(toTargetLong(0), 0U);
    EXPECT_EQ(toTargetLong(0xFFFFFFFF), 0xFFFFFFFFU);
    EXPECT_EQ(toTargetLong(0x100000000), 0U);
    EXPECT_EQ(toTargetLong(0x123456789AU), 0x3456789AU);
    EXPECT_EQ(toTargetLong(std::numeric_limits<std::uint64_t>::max()), 0xFFFFFFFFU);
}

namespace {

constexpr std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();

struct saturated_t {
    const char* name;
    double from;
    std::uint64_t to;
};

const saturated_t saturatedRows[] = {
    {"zero", 0.0, 0},
    {"fraction", 0.999, 0},
    {"truncates", 1.999, 1},
    {"exact", 100000.0, 100000},
    {"last_exact_odd_number", 9007199254740991.0, 9007199254740991},
    {"half_of_the_range", 9223372036854775808.0, 0x8000000000000000},
    {"next_below_the_limit", 18446744073709549568.0, 0xFFFFFFFFFFFFF800},
    {"limit", 18446744073709551616.0, highest},
    {"beyond_the_limit", 1e30, highest},
    {"largest", std::numeric_limits<double>::max(), highest},
    {"infinity", std::numeric_limits<double>::infinity(), highest},
    {"minus_zero", -0.0, 0},
    {"minus_fraction", -0.5, 0},
    {"minus_one", -1.0, 0},
    {"minus_infinity", -std::numeric_limits<double>::infinity(), 0},
    {"not_a_number", std::numeric_limits<double>::quiet_NaN(), 0},
};

} // namespace

class SaturateToUint64 : public testing::TestWithParam<saturated_t> {};

TEST_P(SaturateToUint64, ConvertsAsTheTargetDoes) {
    EXPECT_EQ(saturateToUint64(GetParam().from), GetParam().to);
}

INSTANTIATE_TEST_SUITE_P(Rows, SaturateToUint64, testing::ValuesIn(saturatedRows),
                         [](const auto& row) { return std::string(row.param.name); });
