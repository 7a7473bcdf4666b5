// One process reads many vectors: nothing of the system parser's own state survives. And tables that grow.

#include "libqvutil/options.h"
#include "tests/fakes/allocations.h"
#include "tests/unit/libqvutil/optionsreading.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using texts_t = std::vector<std::string>;

Options shortTable() {
    return Options({optionHelp, optionVerbose, {'d', "device", "device", true, "device"}}, 0);
}

/// Reads the h of -hv and leaves the v unread, within the system's parser.
void leaveAClusterHalfRead(Options& options) {
    Arguments arguments({"-hv", "-d", "can0"});
    Options::restart();
    EXPECT_EQ(options.get(arguments.count(), arguments.vector()), 'h');
}

} // namespace

TEST(OptionsAgain, ReadTheSameVectorTwice) {
    Options options = shortTable();
    const texts_t arguments = {"-v", "-d", "can0"};
    const texts_t expected = {"v", "d=can0", "-1"};
    EXPECT_EQ(readAll(options, arguments), expected);
    EXPECT_EQ(readAll(options, arguments), expected);
}

TEST(OptionsAgain, ForgetAClusterHalfRead) {
    Options options = shortTable();
    leaveAClusterHalfRead(options);
    EXPECT_EQ(readAll(options, {"-d", "can1"}), (texts_t{"d=can1", "-1"}));
}

TEST(OptionsAgain, ForgetTheClusterThatAnotherTableLeftHalfRead) {
    Options first = shortTable();
    leaveAClusterHalfRead(first);

    Options second = shortTable();
    EXPECT_EQ(readAll(second, {"-d", "can1"}), (texts_t{"d=can1", "-1"}));
}

TEST(OptionsAgain, ForgetAReadingThatEndedAtAnError) {
    Options options = shortTable();
    EXPECT_EQ(readAll(options, {"operand", "-vx", "-v"}), (texts_t{"v", "?"}));
    EXPECT_EQ(readAll(options, {"-v"}), (texts_t{"v", "-1"}));
    EXPECT_EQ(readAll(options, {"operand", "-v", "-d"}), (texts_t{"v", ":"}));
    EXPECT_EQ(readAll(options, {"-v"}), (texts_t{"v", "-1"}));
}

TEST(OptionsAgain, ForgetTheEndOfTheOptions) {
    Options options = shortTable();
    EXPECT_EQ(readAll(options, {"-v", "--", "-h"}), (texts_t{"v", "-1"}));
    EXPECT_EQ(readAll(options, {"operand", "-h", "-v"}), (texts_t{"h", "v", "-1"}));
}

TEST(OptionsAgain, GoOnReadingAfterTheHelpWasPrintedAndTheTableUpdated) {
    Options options = shortTable();
    Arguments arguments({"-vv", "-h"});
    Options::restart();
    EXPECT_EQ(options.get(arguments.count(), arguments.vector()), 'v');
    EXPECT_FALSE(options.toString().empty());
    options.update();
    EXPECT_FALSE(shortTable().toString().empty()) << "a table that was not updated yet";
    EXPECT_EQ(readOn(options, arguments), (texts_t{"v", "h", "-1"}));
}

TEST(OptionsAdd, AppendsRowsThatAreReadAndPrinted) {
    Options options = shortTable();
    options.add()({'x', "extra", "first of the added"})({'y', "yes", "word", true, "second"});

    EXPECT_EQ(readAll(options, {"-x", "--yes=1", "-v"}), (texts_t{"x", "y=1", "v", "-1"}));
    EXPECT_EQ(options.toString().substr(options.toString().find("  -x")),
              "  -x, --extra          first of the added\n"
              "  -y, --yes=word       second\n");
}

TEST(OptionsAdd, TakesRowsAfterAReading) {
    Options options = shortTable();
    EXPECT_EQ(readAll(options, {"-x"}), texts_t{"?"});

    options.add()({'x', "extra", "added"});
    EXPECT_EQ(readAll(options, {"-x"}), (texts_t{"x", "-1"}));
}

TEST(OptionsReserve, MakesRoomForRowsToCome) {
    Options options({}, 0);
    const Options::option_t row('x', "extra", "short");
    options.reserve(16);
    auto adder = options.add();

    EXPECT_EQ(allocations::during([&] {
                  for (int i = 0; i < 16; ++i) {
                      adder(row);
                  }
              }),
              0U);
}

TEST(OptionsReserve, ChangesNoRow) {
    Options options = shortTable();
    const std::string text = options.toString();
    options.reserve(100);
    EXPECT_EQ(options.toString(), text);
}
