// The option table as users see it: the usage text, and where -h leads.

#include "qvtools/candevice.h"
#include "tests/fakes/arguments.h"
#include "tests/fakes/captured.h"
#include "tests/fakes/pieces.h"
#include "tests/unit/qvtools/setupsystem.h"

#include <algorithm>
#include <clocale>
#include <iostream>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

const char* const table =
    "  -h, --help             show this help text and exit\n"
    "  -v, --verbose          say more: -vv every frame and step, -vvv other records, too\n"
    "  -d, --device=device    CAN device to be used.\n"
    "  -r, --receive=file     receive CAN data and store binary to <file>\n"
    "  -a, --answer           answer every incoming packet using a modified version of the incoming packet\n"
    "  -s, --send=file        send <file> to CAN bus\n"
    "  -f, --fd               CAN-FD mode\n"
    "  -b, --brs              CAN-FD BRS (bit rate switch), automatically selects CAN-FD mode (-f/--fd))\n"
    "  -p, --pattern          send a pattern with an incrementing counter to CAN bus\n"
    "  -l, --loop=n           send the file or pattern <n> times, forever=0,\n"
    "                         defaults are 1 (file) or 1024 (pattern)\n"
    "  -c, --channel=channel  Channel to use, default=0\n"
    "                         Only used for non network version.\n"
    "  -i, --id=canID         set CAN ID to <id>, default=0x1\n"
    "  -t, --time=time        time gap between CAN messages, default=100000\xC2\xB5s.\n"
    "                         If no unit prefix is specified \xC2\xB5s are assumed.\n"
    "                         For allowed prefixes see the SI.\n"
    "                         Note: do not add the 's' for the seconds themselves.\n"
    "  -j, --jitter=time      jitter time, default=0.\n"
    "                         If no unit prefix is specified \xC2\xB5s are assumed.\n"
    "                         For allowed prefixes see the SI.\n"
    "                         Note, do not add the 's' for the seconds themselves.\n"
    "  -e, --error=num        error injection every num messages, default is off\n"
    "\n"
    "  -y, --sync             Open output device in synced mode.\n";

std::string usageOf(const std::string& program) {
    return "usage: " + program + " <options>\n\nwhere options are\n\n" + table + "\n";
}

} // namespace

TEST(CommandLineUsage, KeepsEveryRowTextAndOddityInTheTablesOrder) {
    EXPECT_EQ(CanDevice::canAppOptions().toString(), table);
}

TEST(CommandLineUsage, IsTheSameTextEachTimeTheTableIsMade) {
    const std::string first = CanDevice::canAppOptions().toString();

    EXPECT_EQ(CanDevice::canAppOptions().toString(), first);
}

TEST(CommandLineUsage, NamesTheProgramByTheLastComponentOfItsPath) {
    Arguments arguments({"-h"}, "/opt/tools/qvcan-test");
    const Captured text = captured([&] {
        const SetupSystem system;
        CanDevice::parse(arguments.count(), arguments.vector(), "can0", true);
    });

    EXPECT_EQ(text.out, usageOf("qvcan-test"));
    EXPECT_EQ(text.err, "");
    EXPECT_STREQ(CanDevice::prog, "qvcan-test");
}

TEST(CommandLineUsage, StopsAtItsFirstWordWhenTheProgramHasNoName) {
    Arguments arguments({"-h"});
    arguments.withoutName();
    const Captured text = captured([&] {
        const SetupSystem system;
        CanDevice::parse(arguments.count(), arguments.vector(), "can0", true);
    });

    EXPECT_EQ(text.out, "usage: ");
    EXPECT_FALSE(text.outGood);
    EXPECT_EQ(CanDevice::prog, nullptr);
}

TEST(CommandLineUsage, FollowsTheLocaleWhichIsSetOnceAndWhoseAbsenceDoesNotMatter) {
    Arguments arguments({"-h"});
    SetupSystem::calls_t calls;
    captured([&] {
        SetupSystem system; // its setlocale returns null
        CanDevice::parse(arguments.count(), arguments.vector(), "can0", true);
        calls = system.calls;
    });

    EXPECT_EQ(calls, SetupSystem::calls_t({"setlocale(" + std::to_string(LC_ALL) + ", en_US.UTF-8)"}));
}

TEST(CommandLineUsage, ComesAfterTheLocale) {
    Arguments arguments({"-h"});
    std::string before = "unset";
    const Captured text = captured([&] {
        SetupSystem system;
        system.setlocale = [&](int, const char*) -> char* {
            before = testing::internal::GetCapturedStdout();
            testing::internal::CaptureStdout();
            return nullptr;
        };
        system.close = nullptr; // the capture closes its file
        CanDevice::parse(arguments.count(), arguments.vector(), "can0", true);
    });

    EXPECT_EQ(before, "");
    EXPECT_EQ(text.out, usageOf("qvcan"));
}

TEST(CommandLineUsage, IsWrittenInOneInsertionAndFlushed) {
    Arguments arguments({"-h"});
    const SetupSystem system;
    const Pieces out(std::cout);
    CanDevice::parse(arguments.count(), arguments.vector(), "can0", true);

    EXPECT_EQ(out.all, std::vector<std::string>{usageOf("qvcan")});
    EXPECT_EQ(out.flushes, 1U);
}

TEST(CommandLine, SetsTheLocaleThenUpdatesTheOptionTableOnceAndBothBeforeTheFirstSystemCall) {
    Arguments arguments({"-d", "can1"});
    SetupSystem::calls_t calls;
    captured([&] {
        SetupSystem system;
        system.onOptionsUpdate = [&system] { system.calls.emplace_back("update"); };
        CanDevice::parse(arguments.count(), arguments.vector(), "can0", true);
        calls = system.calls;
    });
    ASSERT_GT(calls.size(), 2U);
    EXPECT_EQ(calls[0], setLocale);
    EXPECT_EQ(calls[1], "update");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "update"), 1);
}

TEST(CommandLine, SetsTheProgramsNameWhateverFollows) {
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{}, {"-x"}, {"-d", "sixteen_letters_"}, {"-vv"}}) {
        Arguments arguments(options);
        CanDevice::prog = nullptr;
        captured([&] {
            const SetupSystem system;
            CanDevice::parse(arguments.count(), arguments.vector(), "can0", true);
        });
        EXPECT_STREQ(CanDevice::prog, "qvcan");
    }
}

struct help_t {
    const char* name;
    std::vector<std::string> options;
    friend void PrintTo(const help_t& row, std::ostream* out) { *out << row.name; }
};

class CommandLineHelp : public testing::TestWithParam<help_t> {};

TEST_P(CommandLineHelp, ShowsTheUsageAndYieldsNoDeviceWithoutOpeningAnything) {
    Arguments arguments(GetParam().options);
    bool empty = false;
    std::size_t opened = 1;
    const Captured text = captured([&] {
        const SetupSystem system;
        empty = CanDevice::parse(arguments.count(), arguments.vector(), "can0", true).empty();
        opened = system.count("socket");
    });

    EXPECT_EQ(text.out, usageOf("qvcan"));
    EXPECT_EQ(text.err, "");
    EXPECT_TRUE(empty);
    EXPECT_EQ(opened, 0U);
}

INSTANTIATE_TEST_SUITE_P(Forms, CommandLineHelp,
                         testing::Values(help_t{"short_form", {"-h"}}, help_t{"long_form", {"--help"}},
                                         help_t{"abbreviated", {"--he"}},
                                         help_t{"behind_valid_options", {"-p", "-l", "5", "-t", "1m", "-h"}},
                                         help_t{"behind_an_operand", {"can7", "-h"}},
                                         help_t{"in_front_of_an_unknown_option", {"-h", "-x"}},
                                         help_t{"in_a_cluster_with_an_unknown_letter", {"-hx"}},
                                         help_t{"in_front_of_a_bad_prefix", {"-h", "-t", "5q"}},
                                         help_t{"behind_verbosity", {"-vvvh"}}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(CommandLineUsage, HelpInTheMiddleOfAClusterDoesNotDisturbTheNextCall) {
    Arguments cluster({"-hv"});
    Arguments plain({"-i", "3"});
    std::size_t devices = 0;
    const Captured text = captured([&] {
        const SetupSystem system;
        CanDevice::parse(cluster.count(), cluster.vector(), "can0", true);
        devices = CanDevice::parse(plain.count(), plain.vector(), "can0", true).size();
    });

    EXPECT_EQ(text.out, usageOf("qvcan"));
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(devices, 1U);
}
