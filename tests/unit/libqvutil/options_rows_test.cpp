// The rows of an option table as the caller builds them.

#include "libqvutil/options.h"

#include <string>

#include <gtest/gtest.h>

namespace {

argument_t argumentOf(const Options::option_t& row) {
    return Options::intOption_t(row).arg;
}

} // namespace

TEST(OptionRow, WithoutArgumentHoldsLetterNameAndHelp) {
    const Options::option_t row('f', "fd", "CAN-FD mode");
    EXPECT_EQ(row.optchar, 'f');
    EXPECT_STREQ(row.optstring, "fd");
    EXPECT_EQ(row.argHelp, nullptr);
    EXPECT_FALSE(row.required);
    EXPECT_EQ(row.help, "CAN-FD mode");
}

TEST(OptionRow, WithArgumentHoldsItsWordToo) {
    const Options::option_t row('d', "device", "word", true, std::string("composed ") + "help");
    EXPECT_EQ(row.optchar, 'd');
    EXPECT_STREQ(row.optstring, "device");
    EXPECT_STREQ(row.argHelp, "word");
    EXPECT_TRUE(row.required);
    EXPECT_EQ(row.help, "composed help");
    EXPECT_FALSE(Options::option_t('d', "device", "word", false, "help").required);
}

TEST(OptionRow, GetsTheDefaultWordWhereItNeedsOneAndHasNone) {
    const Options::option_t row('d', "device", nullptr, true, "help");
    EXPECT_STREQ(row.argHelp, "arg");
    EXPECT_EQ(argumentOf(row), A_REQUIRED);
}

TEST(OptionRow, TellsWhetherAnArgumentIsTaken) {
    EXPECT_EQ(argumentOf({'f', "fd", "help"}), A_NONE);
    EXPECT_EQ(argumentOf({'d', "device", "word", true, "help"}), A_REQUIRED);
    EXPECT_EQ(argumentOf({'o', "optional", "word", false, "help"}), A_OPTIONAL);
    EXPECT_EQ(A_NONE, 0);
    EXPECT_EQ(A_REQUIRED, 1);
    EXPECT_EQ(A_OPTIONAL, 2);
}

TEST(OptionRow, HasNoWidthsBeforeAnUpdate) {
    const Options::intOption_t row(Options::option_t('d', "device", "word", true, "help"));
    EXPECT_EQ(row.optchar, 'd');
    EXPECT_EQ(row.help, "help");
    EXPECT_EQ(row.argWidth, 0U);
    EXPECT_EQ(row.shortOptWidth, 0U);
    EXPECT_EQ(row.longOptWidth, 0U);
}

TEST(OptionRow, OfHelpAndVerboseComeReadyMade) {
    EXPECT_EQ(optionHelp.optchar, 'h');
    EXPECT_STREQ(optionHelp.optstring, "help");
    EXPECT_EQ(argumentOf(optionHelp), A_NONE);
    EXPECT_EQ(optionVerbose.optchar, 'v');
    EXPECT_STREQ(optionVerbose.optstring, "verbose");
    EXPECT_EQ(argumentOf(optionVerbose), A_NONE);
}
