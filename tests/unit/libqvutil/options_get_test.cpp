// Options read from an argument vector in every form that the system's long-option parser takes.

#include "libqvutil/options.h"
#include "tests/fakes/captured.h"
#include "tests/unit/libqvutil/optionsreading.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using texts_t = std::vector<std::string>;

/// Rows without, with a required and with an optional argument, and one without long name.
Options table() {
    return Options({optionHelp,
                    optionVerbose,
                    {'d', "device", "device", true, "CAN device to be used."},
                    {'p', "pattern", "send a pattern"},
                    {'c', "channel", "channel", true, "channel"},
                    {'o', "optional", "word", false, "may have an argument"},
                    {'s', nullptr, "letter only"}},
                   0);
}

struct reading_t {
    const char* name;
    texts_t arguments;
    texts_t read;
};

const reading_t readings[] = {
    {"nothing", {}, {"-1"}},
    {"short_option", {"-v"}, {"v", "-1"}},
    {"letter_without_long_name", {"-s"}, {"s", "-1"}},
    {"repeated_option", {"-v", "-v"}, {"v", "v", "-1"}},
    {"cluster", {"-vpv"}, {"v", "p", "v", "-1"}},
    {"argument_behind_a_blank", {"-d", "can0"}, {"d=can0", "-1"}},
    {"argument_attached", {"-dcan0"}, {"d=can0", "-1"}},
    {"equals_sign_belongs_to_a_short_argument", {"-d=can0"}, {"d==can0", "-1"}},
    {"cluster_with_an_argument", {"-vpdcan0"}, {"v", "p", "d=can0", "-1"}},
    {"cluster_with_the_argument_behind_it", {"-vd", "can0"}, {"v", "d=can0", "-1"}},
    {"argument_that_looks_like_an_option", {"-d", "-v"}, {"d=-v", "-1"}},
    {"empty_argument", {"-d", ""}, {"d=", "-1"}},
    {"long_option", {"--verbose"}, {"v", "-1"}},
    {"long_argument_behind_a_blank", {"--device", "can0"}, {"d=can0", "-1"}},
    {"long_argument_behind_an_equals_sign", {"--device=can0"}, {"d=can0", "-1"}},
    {"empty_long_argument", {"--device="}, {"d=", "-1"}},
    {"second_equals_sign_is_part_of_the_argument", {"--device=a=b"}, {"d=a=b", "-1"}},
    {"abbreviation", {"--verb", "--dev=can0"}, {"v", "d=can0", "-1"}},
    {"shortest_abbreviation", {"--h", "--c", "5"}, {"h", "c=5", "-1"}},
    {"optional_argument_left_out", {"-o"}, {"o", "-1"}},
    {"optional_argument_attached", {"-oword"}, {"o=word", "-1"}},
    {"optional_argument_must_be_attached", {"-o", "word"}, {"o", "-1"}},
    {"optional_long_argument_left_out", {"--optional", "word"}, {"o", "-1"}},
    {"optional_long_argument", {"--optional=word"}, {"o=word", "-1"}},
    {"operands_are_passed_by", {"one", "-v", "two", "-p"}, {"v", "p", "-1"}},
    {"lone_dash_is_an_operand", {"-", "-v"}, {"v", "-1"}},
    {"two_dashes_end_the_options", {"-v", "--", "-p"}, {"v", "-1"}},
    {"unknown_letter", {"-v", "-x", "-p"}, {"v", "?"}},
    {"unknown_letter_in_a_cluster", {"-vxp"}, {"v", "?"}},
    {"unknown_long_option", {"--unknown"}, {"?"}},
    {"long_name_of_another_spelling", {"--Verbose"}, {"?"}},
    {"argument_for_an_option_without_one", {"--verbose=3"}, {"?"}},
    {"colon_is_no_option", {"-:"}, {"?"}},
    {"question_mark_is_no_option", {"-?"}, {"?"}},
    {"missing_argument", {"-v", "-d"}, {"v", ":"}},
    {"missing_argument_in_a_cluster", {"-vd"}, {"v", ":"}},
    {"missing_long_argument", {"--device"}, {":"}},
};

} // namespace

class OptionsReading : public testing::TestWithParam<reading_t> {};

TEST_P(OptionsReading, YieldsLettersAndArgumentsInSilence) {
    Options options = table();
    texts_t read;
    const Captured output = captured([&] { read = readAll(options, GetParam().arguments); });

    EXPECT_EQ(read, GetParam().read);
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
}

INSTANTIATE_TEST_SUITE_P(Rows, OptionsReading, testing::ValuesIn(readings),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Options, RefuseAnAbbreviationOfTwoNames) {
    Options options({{'t', "time", "no argument"}, {'e', "timer", "no argument"}}, 0);
    texts_t ambiguous;
    texts_t whole;
    const Captured output = captured([&] {
        ambiguous = readAll(options, {"--tim"});
        whole = readAll(options, {"--time"});
    });
    EXPECT_EQ(ambiguous, texts_t{"?"});
    EXPECT_EQ(whole, (texts_t{"t", "-1"}));
    EXPECT_EQ(output.err, "");
}

TEST(Options, ReadARowNumberedAboveTheLettersByItsLongNameOnly) {
    Options options({{'v', "verbose", "letter"}, {256 + 'x', "json", "file", true, "no letter"}}, 0);
    EXPECT_EQ(readAll(options, {"--json=a", "-v"}), (texts_t{std::to_string(256 + 'x') + "=a", "v", "-1"}));
    EXPECT_EQ(readAll(options, {"-x", "a"}), texts_t{"?"});
}

TEST(Options, LeaveTheNextArgumentsIndexInTheSystemsOptind) {
    Options options = table();
    Arguments arguments({"-v", "-d", "can0", "-x"});
    Options::restart();

    EXPECT_EQ(options.get(arguments.count(), arguments.vector()), 'v');
    EXPECT_EQ(optind, 2);
    EXPECT_EQ(options.get(arguments.count(), arguments.vector()), 'd');
    EXPECT_EQ(optind, 4);
    EXPECT_EQ(options.get(arguments.count(), arguments.vector()), '?');
    EXPECT_STREQ(arguments.vector()[optind - 1], "-x");
}

TEST(Options, ReadAnEmptyVector) {
    Options options = table();
    char* none[] = {nullptr};
    Options::restart();
    EXPECT_EQ(options.get(0, none), -1);
}

TEST(Options, UpdateThemselvesBeforeTheFirstReading) {
    Options options = table();
    Arguments arguments({"-v", "--pattern"});
    EXPECT_EQ(readOn(options, arguments), (texts_t{"v", "p", "-1"}));
}
