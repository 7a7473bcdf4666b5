// The list of devices that a command line makes: their settings, their order, and the descriptor that they
// share.

#include "tests/fakes/arguments.h"
#include "tests/fakes/candevicetestaccess.h"
#include "tests/fakes/captured.h"
#include "tests/fakes/lockprobe.h"
#include "tests/unit/qvtools/setupsystem.h"

#include <iostream>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

CanDevice::devices_t parse(const std::vector<std::string>& options, bool network = true) {
    Arguments arguments(options);
    return CanDevice::parse(arguments.count(), arguments.vector(), network ? "can0" : "/dev/qvcan0", network);
}

std::vector<canid_t> identifiersOf(const std::vector<std::string>& options) {
    std::vector<canid_t> identifiers;
    captured([&] {
        const SetupSystem system;
        for (const auto& device : parse(options)) {
            identifiers.push_back(CanDeviceTestAccess::settingsOf(*device).canId);
        }
    });
    return identifiers;
}

} // namespace

TEST(CommandLineDevices, WithoutOptionsThereIsOneWithTheDefaults) {
    SetupSystem::calls_t calls;
    const Captured text = captured([&] {
        SetupSystem system;
        const CanDevice::devices_t devices = parse({});
        calls = system.calls;
        ASSERT_EQ(devices.size(), 1U);
        const auto kept = CanDeviceTestAccess::settingsOf(*devices.front());
        EXPECT_TRUE(kept.network);
        EXPECT_EQ(kept.fd, SetupSystem::descriptor);
        EXPECT_EQ(kept.verbose, 0);
        EXPECT_EQ(kept.answer, CanDevice::A_NO);
        EXPECT_FALSE(kept.pattern);
        EXPECT_EQ(kept.errnum, 0U);
        EXPECT_EQ(kept.loop, 1U);
        EXPECT_EQ(kept.channel, 0);
        EXPECT_FALSE(kept.canFd);
        EXPECT_FALSE(kept.brs);
        EXPECT_EQ(kept.canId, 1U);
        EXPECT_EQ(kept.timegap, 100000U);
        EXPECT_EQ(kept.jitter, 99999U);
    });

    EXPECT_EQ(text.out + text.err, "");
    ASSERT_GE(calls.size(), 3U);
    EXPECT_EQ(calls.at(2), "ioctl(7, 35123, \"can0\")") << "the device given by the caller";
}

TEST(CommandLineDevices, GetEverySettingOfTheLine) {
    captured([&] {
        const SetupSystem system;
        const CanDevice::devices_t devices =
            parse({"-a", "-p", "-b", "-v", "-l", "9",  "-c", "3",  "-i",  "0x80000123", "-t",
                   "20", "-j", "4",  "-e", "11", "-r", "in", "-s", "out", "-d",         "can5"});
        ASSERT_EQ(devices.size(), 1U);
        const auto kept = CanDeviceTestAccess::settingsOf(*devices.front());
        EXPECT_EQ(kept.verbose, 1);
        EXPECT_EQ(kept.answer, CanDevice::A_YES);
        EXPECT_TRUE(kept.pattern);
        EXPECT_EQ(kept.errnum, 11U);
        EXPECT_EQ(kept.loop, 9U);
        EXPECT_EQ(kept.channel, 3);
        EXPECT_TRUE(kept.canFd);
        EXPECT_TRUE(kept.brs);
        EXPECT_EQ(kept.canId, 0x80000123U);
        EXPECT_EQ(kept.timegap, 20U);
        EXPECT_EQ(kept.jitter, 4U);
        EXPECT_EQ(kept.readFileName, "") << "the receive mode stays dormant";
        EXPECT_EQ(kept.sendFileName, "") << "the file sender stays dormant";
        EXPECT_EQ(system.calls.at(2), "ioctl(7, 35123, \"can5\")");
    });
}

TEST(CommandLineDevices, TheFdOptionDoesNotSwitchTheBitRate) {
    captured([&] {
        const SetupSystem system;
        const CanDevice::devices_t devices = parse({"-f"});
        ASSERT_EQ(devices.size(), 1U);
        EXPECT_TRUE(CanDeviceTestAccess::settingsOf(*devices.front()).canFd);
        EXPECT_FALSE(CanDeviceTestAccess::settingsOf(*devices.front()).brs);
    });
}

TEST(CommandLineDevices, TheLaterDeviceNameCounts) {
    captured([&] {
        const SetupSystem system;
        parse({"-d", "can8", "--device=can9"});
        EXPECT_EQ(system.calls.at(2), "ioctl(7, 35123, \"can9\")");
    });
}

TEST(CommandLineDevices, AreInAscendingOrderOfTheirIdentifiersWithDuplicatesKept) {
    EXPECT_EQ(identifiersOf({}), std::vector<canid_t>({1}));
    EXPECT_EQ(identifiersOf({"-i", "7", "-i", "2", "-i", "7"}), std::vector<canid_t>({2, 7, 7}));
    EXPECT_EQ(identifiersOf({"-i", "0x10", "-i", "3"}), std::vector<canid_t>({3, 0x10}));
    EXPECT_EQ(identifiersOf({"-i", "5", "-i", "5"}), std::vector<canid_t>({5, 5}));
    EXPECT_EQ(identifiersOf({"-i", "none", "-i", "0x7FF", "-i", "-1", "-i", "0x80000000"}),
              std::vector<canid_t>({0, 0x7FF, 0x80000000, 0xFFFFFFFF}));
}

TEST(CommandLineDevices, ShareOneDescriptorThatEachOfThemClosesOnce) {
    captured([&] {
        SetupSystem system;
        CanDevice::devices_t devices = parse({"-i", "7", "-i", "2", "-i", "7"});
        ASSERT_EQ(devices.size(), 3U);
        for (const auto& device : devices) {
            EXPECT_EQ(CanDeviceTestAccess::settingsOf(*device).fd, 7);
        }
        EXPECT_EQ(system.count("socket"), 1U);
        EXPECT_EQ(system.count("close"), 0U);

        system.calls.clear();
        devices.clear();
        // Nothing in between: what was opened there could get the number, and be closed by the next device.
        EXPECT_EQ(system.calls, SetupSystem::calls_t(3, "close(7)"));
    });
}

TEST(CommandLineDevices, OfTheFileBuildReadTheSameFile) {
    captured([&] {
        SetupSystem system;
        CanDevice::devices_t devices = parse({"-i", "1", "-i", "2"}, false);
        ASSERT_EQ(devices.size(), 2U);
        EXPECT_FALSE(CanDeviceTestAccess::settingsOf(*devices.front()).network);
        EXPECT_EQ(system.count("open"), 1U);
        EXPECT_EQ(system.count("socket"), 0U);
        devices.clear();
        EXPECT_EQ(system.count("close"), 2U);
    });
}

TEST(CommandLineDevices, NothingOfACallIsLeftForTheNext) {
    captured([&] {
        const SetupSystem system;
        parse({"-vvv", "-a", "-p", "-b", "-l", "9", "-c", "3", "-i", "8", "-t", "20m", "-j", "4m", "-e", "11",
               "-d", "can5"});
        const CanDevice::devices_t devices = parse({});
        ASSERT_EQ(devices.size(), 1U);
        const auto kept = CanDeviceTestAccess::settingsOf(*devices.front());
        EXPECT_EQ(kept.verbose, 0);
        EXPECT_EQ(kept.answer, CanDevice::A_NO);
        EXPECT_FALSE(kept.pattern);
        EXPECT_FALSE(kept.canFd);
        EXPECT_EQ(kept.loop, 1U);
        EXPECT_EQ(kept.channel, 0);
        EXPECT_EQ(kept.canId, 1U);
        EXPECT_EQ(kept.timegap, 100000U);
        EXPECT_EQ(kept.errnum, 0U);
        EXPECT_EQ(system.count("setlocale"), 2U) << "the locale is set at each call";
    });
}

TEST(CommandLineDevices, OperandsAreNotLookedAt) {
    EXPECT_EQ(identifiersOf({"-i", "4", "can1", "-i", "3", "--", "-x"}), std::vector<canid_t>({3, 4}));
}

namespace {

struct debug_line_t {
    const char* name;
    std::vector<std::string> options;
    const char* text;
    friend void PrintTo(const debug_line_t& row, std::ostream* out) { *out << row.name; }
};

} // namespace

class CommandLineDebugLine : public testing::TestWithParam<debug_line_t> {};

TEST_P(CommandLineDebugLine, TellsHowTheGapWasReadFromVerbosityTwoOn) {
    const Captured text = captured([] {
        const SetupSystem system;
        parse(GetParam().options);
    });

    EXPECT_EQ(text.out, GetParam().text);
    EXPECT_EQ(text.err, "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandLineDebugLine,
    testing::Values(
        debug_line_t{"quiet", {"-t", "1m"}, ""}, debug_line_t{"verbosity_1", {"-v", "-t", "1m"}, ""},
        debug_line_t{"milli",
                     {"-v", "-v", "-t", "1m"},
                     "[DEBUG] BZ::parse() timegapUnit=1*10^-3 (prefix=1) timegap=1000\xC2\xB5s\n"},
        debug_line_t{"default",
                     {"-vv"},
                     "[DEBUG] BZ::parse() timegapUnit=100000*10^0 (prefix=0) timegap=100000\xC2\xB5s\n"},
        debug_line_t{
            "yotta",
            {"-vvvv", "-t", "2Y", "-j", "1"},
            "[DEBUG] BZ::parse() timegapUnit=2*10^24 (prefix=1) timegap=18446744073709551614\xC2\xB5s\n"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CommandLineDebugLine, IsWrittenWholeUnderTheLogLockAloneAndFlushed) {
    const SetupSystem system;
    const LockProbe out(std::cout);
    parse({"-vv", "-t", "1m"});

    ASSERT_EQ(out.pieces.size(), 1U);
    EXPECT_EQ(out.pieces.front().text,
              "[DEBUG] BZ::parse() timegapUnit=1*10^-3 (prefix=1) timegap=1000\xC2\xB5s\n");
    EXPECT_TRUE(out.pieces.front().locks.log && !out.pieces.front().locks.device);
    EXPECT_EQ(out.flushes, 1U);
}

TEST(CommandLineDebugLine, ComesBeforeTheDescriptorIsOpened) {
    const Captured text = captured([] {
        const SetupSystem system(1, EMFILE);
        EXPECT_TRUE(parse({"-vv", "-t", "1"}).empty());
    });

    EXPECT_EQ(text.out, "[DEBUG] BZ::parse() timegapUnit=1*10^0 (prefix=0) timegap=1\xC2\xB5s\n");
    EXPECT_EQ(text.err, "error creating socket: Too many open files\n");
}
