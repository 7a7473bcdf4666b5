// The help table as it is printed: columns by display width, help texts under themselves, wrapping.

#include "libqvutil/options.h"
#include "tests/fakes/pieces.h"

#include <clocale>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// What `print` writes after an update.
std::string printed(Options options) {
    options.update();
    std::ostringstream out;
    options.print(out);
    return out.str();
}

Options wide(std::size_t cols) {
    return Options({{'d', "device", "name", true, "the quick brown fox jumps over the lazy dog"}}, cols);
}

} // namespace

TEST(OptionsPrint, AlignsTheColumnsInTableOrder) {
    EXPECT_EQ(printed(Options({{'z', "zeta", "last letter first"},
                               {'d', "device", "name", true, "needs a name"},
                               {'o', "opt", "word", false, "may have a word"},
                               {'a', "a", "short"}},
                              0)),
              "  -z, --zeta         last letter first\n"
              "  -d, --device=name  needs a name\n"
              "  -o, --opt[=word]   may have a word\n"
              "  -a, --a            short\n");
}

TEST(OptionsPrint, IndentsFurtherLinesOfAHelpTextUnderTheFirst) {
    EXPECT_EQ(printed(Options(
                  {{'l', "loop", "n", true, "first line,\nsecond line\nthird"}, {'v', "verb", "say"}}, 0)),
              "  -l, --loop=n  first line,\n"
              "                second line\n"
              "                third\n"
              "  -v, --verb    say\n");
}

TEST(OptionsPrint, KeepsATrailingLineBreakAsAnEmptyLine) {
    EXPECT_EQ(printed(Options({{'e', "error", "num", true, "default is off\n"}, {'y', "sync", "sync"}}, 0)),
              "  -e, --error=num  default is off\n"
              "\n"
              "  -y, --sync       sync\n");
}

TEST(OptionsPrint, KeepsAnEmptyLineWithinAHelpText) {
    EXPECT_EQ(printed(Options({{'e', "error", "above\n\nbelow"}}, 0)), "  -e, --error  above\n"
                                                                       "\n"
                                                                       "               below\n");
}

TEST(OptionsPrint, LeavesNoBlanksBehindARowWithoutHelp) {
    EXPECT_EQ(printed(Options({{'e', "error", ""}}, 0)), "  -e, --error\n");
}

TEST(OptionsPrint, AlignsByDisplayWidthInTheCLocale) {
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
    const std::string text = printed(Options({{'t', "time", "\xC2\xB5s", true, "\xC2\xB5s are assumed"},
                                              {'u', "t\xC2\xB5me", "ab", true, "same width"}},
                                             0));
    std::setlocale(LC_ALL, previous.c_str());

    EXPECT_EQ(text, "  -t, --time=\xC2\xB5s  \xC2\xB5s are assumed\n"
                    "  -u, --t\xC2\xB5me=ab  same width\n");
}

TEST(OptionsPrint, ShowsARowWithoutLetterUnderTheLongNames) {
    EXPECT_EQ(printed(Options({{'v', "verbose", "both"}, {0, "long", "word", true, "long only"}}, 0)),
              "  -v, --verbose    both\n"
              "      --long=word  long only\n");
}

TEST(OptionsPrint, ShowsARowNumberedAboveTheLettersUnderTheLongNames) {
    EXPECT_EQ(printed(Options({{'v', "verbose", "both"}, {256 + 'x', "long", "word", true, "long only"}}, 0)),
              "  -v, --verbose    both\n"
              "      --long=word  long only\n");
}

TEST(OptionsPrint, GivesARowNumberedAboveTheLettersNoWidthInTheShortColumn) {
    EXPECT_EQ(printed(Options({{256, "long", "long only"}}, 0)), "    --long  long only\n");
}

TEST(OptionsPrint, ShowsARowWithoutLongNameByItsLetterAlone) {
    EXPECT_EQ(printed(Options({{'v', "verbose", "both"}, {'x', nullptr, "letter only"}}, 0)),
              "  -v, --verbose  both\n"
              "  -x             letter only\n");
}

TEST(OptionsPrint, PutsNoCommaBeforeTheArgumentOfALetterAlone) {
    EXPECT_EQ(
        printed(
            Options({{'x', nullptr, "word", true, "required"}, {'y', nullptr, "word", false, "optional"}}, 0))
            .find(','),
        std::string::npos);
}

TEST(OptionsPrint, PrintsNothingForNoRows) {
    EXPECT_EQ(printed(Options({}, 0)), "");
}

TEST(OptionsPrint, AlignsBeforeTheFirstUpdateToo) {
    const Options options({{'z', "zeta", "help"}, {'d', "device", "name", true, "help"}}, 0);
    EXPECT_EQ(options.toString(), printed(options));
}

TEST(OptionsPrint, ReturnsTheStream) {
    std::ostringstream out;
    EXPECT_EQ(&wide(0).print(out), &out);
}

TEST(OptionsPrint, IsWhatToStringGives) {
    EXPECT_EQ(wide(0).toString(), "  -d, --device=name  the quick brown fox jumps over the lazy dog\n");
    EXPECT_EQ(wide(50).toString(), printed(wide(50)));
}

TEST(OptionsPrint, IsOneInsertionThatDoesNotHeedTheFlagsOfTheStream) {
    std::ostream out(nullptr);
    Pieces pieces(out);
    out.clear();
    out << std::hex << std::right << std::setfill('*');
    wide(0).print(out);
    EXPECT_EQ(pieces.all, std::vector<std::string>{wide(0).toString()});
}

TEST(OptionsWrap, DoesNotWrapAtZeroColumns) {
    const std::string longHelp(500, 'x');
    EXPECT_EQ(printed(Options({{'d', "device", longHelp + ' ' + longHelp}}, 0)),
              "  -d, --device  " + longHelp + ' ' + longHelp + '\n');
}

TEST(OptionsWrap, BreaksAtBlanksWithinTheWidth) {
    EXPECT_EQ(printed(wide(46)), "  -d, --device=name  the quick brown fox jumps\n"
                                 "                     over the lazy dog\n");
    EXPECT_EQ(printed(wide(45)), "  -d, --device=name  the quick brown fox\n"
                                 "                     jumps over the lazy dog\n");
}

TEST(OptionsWrap, NeverMakesTheHelpColumnNarrowerThanItCanBeRead) {
    const std::string narrow = "  -d, --device=name  the quick brown fox\n"
                               "                     jumps over the lazy\n"
                               "                     dog\n";
    EXPECT_EQ(printed(wide(41)), narrow);
    EXPECT_EQ(printed(wide(1)), narrow);
}

TEST(OptionsWrap, KeepsTheLineBreaksOfTheHelpText) {
    EXPECT_EQ(printed(Options({{'l', "loop", "one two three four\nfive six\n"}}, 34)),
              "  -l, --loop  one two three four\n"
              "              five six\n"
              "\n");
    EXPECT_EQ(printed(Options({{'l', "loop", "one two three four five\nsix"}}, 34)),
              "  -l, --loop  one two three four\n"
              "              five\n"
              "              six\n");
}

TEST(OptionsWrap, KeepsALongerWordWhole) {
    EXPECT_EQ(printed(Options({{'l', "loop", "a word-of-more-than-twenty-columns b"}}, 34)),
              "  -l, --loop  a\n"
              "              word-of-more-than-twenty-columns\n"
              "              b\n");
}

TEST(OptionsWrap, CountsDisplayWidth) {
    std::string word; // nine columns in eighteen bytes: all fits on the first line
    for (int i = 0; i < 9; ++i) {
        word += "\xC2\xB5";
    }
    EXPECT_EQ(printed(Options({{'l', "loop", word + " 1234567890"}}, 34)),
              "  -l, --loop  " + word + " 1234567890\n");
}
