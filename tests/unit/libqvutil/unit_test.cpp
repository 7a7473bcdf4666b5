// Numbers with an SI prefix: what the scanner takes, what it refuses, and what it leaves behind.

#include "libqvutil/unit.h"

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using number_t = unsigned long long;

// Differ from everything a scan of the tables below may leave.
constexpr number_t oldVal = 42;
constexpr short oldExp = 77;
constexpr short defaultExp = -33;

struct taken_t {
    const char* name;
    const char* text;
    number_t val;
    short exp;
    bool prefix;
};

struct refused_t {
    const char* name;
    const char* text;
    number_t val;
    const char* word;
};

struct prefix_t {
    const char* name;
    const char* text;
    short exp;
};

template<typename Row>
std::string rowName(const testing::TestParamInfo<Row>& row) {
    return row.param.name;
}

constexpr number_t largestNumber = std::numeric_limits<number_t>::max();

const taken_t takenRows[] = {
    {"bare_number", "100", 100, defaultExp, false},
    {"zero", "0", 0, defaultExp, false},
    {"leading_zeros_are_decimal", "010", 10, defaultExp, false},
    {"prefix", "5m", 5, -3, true},
    {"blank_before_the_prefix", "5 m", 5, -3, true},
    {"tab_before_the_prefix", "5\tm", 5, -3, true},
    {"blank_before_the_number", " 8u", 8, -6, true},
    {"blank_after_the_prefix", "8u ", 8, -6, true},
    {"only_the_first_word_counts", "5 m s", 5, -3, true},
    {"plus_sign", "+7k", 7, 3, true},
    {"minus_sign_wraps", "-5", largestNumber - 4, defaultExp, false},
    {"minus_sign_with_a_prefix", "-5m", largestNumber - 4, -3, true},
    {"micro_sign", "5\xC2\xB5", 5, -6, true},
    {"highest", "18446744073709551615n", largestNumber, -9, true},
    {"beyond_64_bits_loses_the_prefix", "99999999999999999999m", largestNumber, defaultExp, false},
    {"empty", "", 0, defaultExp, false},
    {"blank", " ", 0, defaultExp, false},
    {"prefix_alone_is_no_number", "m", 0, defaultExp, false},
    {"word_is_no_number", "junk", 0, defaultExp, false},
    {"lone_minus_is_no_number", "-", 0, defaultExp, false},
    {"two_signs_are_no_number", "--5", 0, defaultExp, false},
    {"fraction_without_digit_is_no_number", ".5m", 0, defaultExp, false},
};

const refused_t refusedRows[] = {
    {"hexadecimal", "0x10", 0, "x10"},
    {"power_of_ten", "1e3", 1, "e3"},
    {"fraction", "5.5", 5, ".5"},
    {"decimal_comma", "5,5m", 5, ",5m"},
    {"unit_behind_the_prefix", "10ms", 10, "ms"},
    {"unit_alone", "10s", 10, "s"},
    {"deca_by_the_book", "2da", 2, "da"},
    {"two_prefixes", "3kk", 3, "kk"},
    {"blank_before_the_word", "3 ms 5", 3, "ms"},
    {"capital_kilo", "1K", 1, "K"},
    {"capital_micro", "1U", 1, "U"},
    {"greek_mu_is_another_character", "1\xCE\xBC", 1, "\xCE\xBC"},
    {"half_a_micro_sign", "1\xC2", 1, "\xC2"},
    {"minus_behind_the_number", "5-", 5, "-"},
};

// In the order in which they are tried.
const prefix_t prefixRows[] = {
    {"yocto", "y", -24}, {"zepto", "z", -21}, {"atto", "a", -18},        {"femto", "f", -15},
    {"pico", "p", -12},  {"nano", "n", -9},   {"micro", "\xC2\xB5", -6}, {"micro_in_ASCII", "u", -6},
    {"milli", "m", -3},  {"centi", "c", -2},  {"deci", "d", -1},         {"deca", "de", 1},
    {"hecto", "h", 2},   {"kilo", "k", 3},    {"mega", "M", 6},          {"giga", "G", 9},
    {"tera", "T", 12},   {"peta", "P", 15},   {"exa", "E", 18},          {"zetta", "Z", 21},
    {"yotta", "Y", 24},
};

} // namespace

class SiScan : public testing::TestWithParam<taken_t> {};

TEST_P(SiScan, ReadsNumberAndPrefix) {
    const taken_t& row = GetParam();
    unit_t<number_t> unit(oldVal, oldExp, !row.prefix);

    EXPECT_EQ(&unit.scan(row.text, defaultExp), &unit);

    EXPECT_EQ(unit.val, row.val);
    EXPECT_EQ(unit.exp, row.exp);
    EXPECT_EQ(unit.prefix, row.prefix);
}

INSTANTIATE_TEST_SUITE_P(Rows, SiScan, testing::ValuesIn(takenRows), rowName<taken_t>);

class SiRefusal : public testing::TestWithParam<refused_t> {};

TEST_P(SiRefusal, NamesTheWordAndKeepsTheExponentAlone) {
    const refused_t& row = GetParam();
    unit_t<number_t> unit(oldVal, oldExp, false);

    std::string text = "nothing thrown";
    try {
        unit.scan(row.text, defaultExp);
    } catch (const std::invalid_argument& exception) {
        text = exception.what();
    }

    EXPECT_EQ(text, std::string("invalid unit \"") + row.word + "\" specified");
    EXPECT_EQ(unit.val, row.val);
    EXPECT_EQ(unit.exp, oldExp);
    EXPECT_TRUE(unit.prefix);
}

INSTANTIATE_TEST_SUITE_P(Rows, SiRefusal, testing::ValuesIn(refusedRows), rowName<refused_t>);

class SiPrefix : public testing::TestWithParam<prefix_t> {};

TEST_P(SiPrefix, StandsForItsExponent) {
    const prefix_t& row = GetParam();
    unit_t<number_t> unit(oldVal, oldExp, false);

    unit.scan((std::string("2") + row.text).c_str(), defaultExp);

    EXPECT_EQ(unit.val, 2U);
    EXPECT_EQ(unit.exp, row.exp);
    EXPECT_TRUE(unit.prefix);
}

INSTANTIATE_TEST_SUITE_P(Rows, SiPrefix, testing::ValuesIn(prefixRows), rowName<prefix_t>);

TEST(SiPrefixes, AreTriedInTheOrderOfTheTable) {
    std::vector<std::string> expected;
    std::vector<std::string> actual;
    for (const prefix_t& row : prefixRows) {
        expected.emplace_back(row.text);
    }
    for (const siPrefix_t& prefix : siPrefixes) {
        actual.emplace_back(prefix.text);
    }
    EXPECT_EQ(actual, expected);
}

TEST(Unit, HoldsWhatItWasMadeOf) {
    const unit_t<number_t> unit(5, -3, true);
    const unit_t<number_t> copy = unit;

    EXPECT_EQ(copy.val, 5U);
    EXPECT_EQ(copy.exp, -3);
    EXPECT_TRUE(copy.prefix);
}

TEST(Unit, ScansAgainAfterARefusal) {
    unit_t<std::uint64_t> unit(0, 0, false);
    EXPECT_THROW(unit.scan("10ms", 0), std::invalid_argument);

    unit.scan("20k", 0);

    EXPECT_EQ(unit.val, 20U);
    EXPECT_EQ(unit.exp, 3);
}

TEST(Unit, GivesTheValueMeantAsAFloatingPointNumber) {
    EXPECT_DOUBLE_EQ(unit_t<number_t>(5, -3, true).get(), 0.005);
    EXPECT_DOUBLE_EQ(unit_t<number_t>(7, 3, true).get(), 7000.0);
    EXPECT_DOUBLE_EQ(unit_t<number_t>(9, 0, false).get(), 9.0);
    EXPECT_DOUBLE_EQ(unit_t<number_t>(largestNumber, 24, true).get(), 1.8446744073709552e43);
}
