// Options that are not in the table, or lack their argument: one line on standard error, and nothing is run.

#include "qvtools/candevice.h"
#include "tests/fakes/arguments.h"
#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/setupsystem.h"

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct unknown_t {
    const char* name;
    std::vector<std::string> options;
    const char* offender; ///< the last argument that the system's parser had consumed
    friend void PrintTo(const unknown_t& row, std::ostream* out) { *out << row.name; }
};

std::string lineAbout(const std::string& offender) {
    return "[ERROR] Unknown option '" + offender + "'\n";
}

} // namespace

class CommandLineUnknown : public testing::TestWithParam<unknown_t> {};

TEST_P(CommandLineUnknown, NamesTheLastArgumentConsumedInTheOnlyLine) {
    Arguments arguments(GetParam().options);
    bool empty = false;
    SetupSystem::calls_t calls;
    const Captured text = captured([&] {
        SetupSystem system;
        empty = CanDevice::parse(arguments.count(), arguments.vector(), "can0", true).empty();
        calls = system.calls;
    });

    EXPECT_EQ(text.err, lineAbout(GetParam().offender));
    EXPECT_EQ(text.out, "");
    EXPECT_TRUE(empty);
    EXPECT_EQ(calls.size(), 1U) << "only the locale is set";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandLineUnknown,
    testing::Values(unknown_t{"letter_without_a_row", {"-x"}, "-x"}, //
                    unknown_t{"letter_of_the_alphabet_without_a_row", {"-g"}, "-g"},
                    unknown_t{"capital_letter", {"-V"}, "-V"}, //
                    unknown_t{"digit", {"-1"}, "-1"},          //
                    unknown_t{"question_mark", {"-?"}, "-?"},  //
                    unknown_t{"colon", {"-:"}, "-:"},          //
                    // The parser's index still points at the cluster while it has letters left: the argument
                    // in front is named.
                    unknown_t{"first_of_a_cluster_names_the_program", {"-xv"}, "/usr/bin/qvcan"},
                    unknown_t{"inside_a_cluster_names_the_argument_before", {"-p", "-vxv"}, "-p"},
                    unknown_t{"last_of_a_cluster", {"-vx"}, "-vx"}, //
                    unknown_t{"behind_an_option_with_argument", {"-l", "5", "-x"}, "-x"},
                    unknown_t{"behind_an_operand", {"can1", "-x"}, "-x"},
                    unknown_t{"in_front_of_help", {"-x", "-h"}, "-x"}, //
                    unknown_t{"long_name", {"--nonsense"}, "--nonsense"},
                    unknown_t{"long_name_with_a_value", {"--nonsense=1"}, "--nonsense=1"},
                    unknown_t{"ambiguous_abbreviation", {"--s"}, "--s"}, // send, sync
                    unknown_t{"value_for_an_option_without", {"--fd=1"}, "--fd=1"},
                    unknown_t{"missing_device", {"-d"}, "-d"},     //
                    unknown_t{"missing_receive", {"-r"}, "-r"},    //
                    unknown_t{"missing_send", {"-s"}, "-s"},       //
                    unknown_t{"missing_loop", {"-l"}, "-l"},       //
                    unknown_t{"missing_channel", {"-c"}, "-c"},    //
                    unknown_t{"missing_identifier", {"-i"}, "-i"}, //
                    unknown_t{"missing_time", {"-t"}, "-t"},       //
                    unknown_t{"missing_jitter", {"-j"}, "-j"},     //
                    unknown_t{"missing_error", {"-e"}, "-e"},      //
                    unknown_t{"missing_at_the_end_of_a_cluster", {"-vl"}, "-vl"},
                    unknown_t{"missing_behind_a_long_name", {"-v", "--loop"}, "--loop"},
                    unknown_t{"missing_behind_an_abbreviation", {"--dev"}, "--dev"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CommandLineUnknown, BreaksTheErrorStreamWhenThereIsNoArgumentToName) {
    Arguments arguments({"-xv"});
    arguments.withoutName();
    bool empty = false;
    const Captured text = captured([&] {
        const SetupSystem system;
        empty = CanDevice::parse(arguments.count(), arguments.vector(), "can0", true).empty();
    });

    EXPECT_EQ(text.err, "[ERROR] Unknown option '");
    EXPECT_FALSE(text.errGood);
    EXPECT_TRUE(empty);
}

TEST(CommandLineUnknown, IsForgottenAtTheNextCall) {
    Arguments wrong({"-pxv", "-l", "3"});
    Arguments right({"-v"});
    std::vector<std::size_t> counts;
    const Captured text = captured([&] {
        const SetupSystem system;
        counts.push_back(CanDevice::parse(wrong.count(), wrong.vector(), "can0", true).size());
        counts.push_back(CanDevice::parse(right.count(), right.vector(), "can0", true).size());
    });

    EXPECT_EQ(text.err, lineAbout("/usr/bin/qvcan"));
    EXPECT_EQ(counts, std::vector<std::size_t>({0, 1}));
}
