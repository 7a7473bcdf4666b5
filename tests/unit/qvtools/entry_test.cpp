// What both programs do with a command line, and the exit status they end with.

#include "qvtools/entry.h"
#include "tests/fakes/allocations.h"
#include "tests/fakes/arguments.h"
#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/setupsystem.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

struct end_t {
    int status;
    SetupSystem::calls_t calls;
    Captured text;
};

/// Runs the tool where the descriptor can be set up and every read of it fails.
end_t run(Arguments& arguments, bool network, const std::function<void(SetupSystem&)>& prepare) {
    end_t end{};
    end.text = captured([&] {
        SetupSystem system;
        system.read = [](int, void*, std::size_t) -> ssize_t {
            errno = ENODEV;
            return -1;
        };
        prepare(system);
        end.status =
            runTool(arguments.count(), arguments.vector(), network ? "can0" : "/dev/qvcan0", network);
        end.calls = system.calls;
    });
    return end;
}

end_t run(
    const std::vector<std::string>& options, bool network = true,
    const std::function<void(SetupSystem&)>& prepare = [](SetupSystem&) {}) {
    Arguments arguments(options);
    return run(arguments, network, prepare);
}

std::size_t countOf(const std::string& call, const SetupSystem::calls_t& calls) {
    std::size_t n = 0;
    for (const std::string& made : calls) {
        n += made == call ? 1U : 0U;
    }
    return n;
}

} // namespace

TEST(Entry, EndsWithZeroAfterARunThatEnded) {
    const end_t end = run({"-a", "-f", "-i", "1", "-i", "2"}); // a failed read ends the answer mode

    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.text.out, "enabled CAN_RAW_FD_FRAMES\n") << "the set-up is done once";
    EXPECT_EQ(end.text.err, "read error: No such device\nread error: No such device\n")
        << "both devices have run";
    EXPECT_EQ(countOf("socket(29, 3, 1)", end.calls), 1U);
    EXPECT_EQ(countOf("close(7)", end.calls), 2U) << "once for each device";
}

TEST(Entry, UsesTheDefaultDeviceOfItsProgram) {
    const auto noThreads = [](SetupSystem& system) {
        system.pthread_create = [](pthread_t*, void* (*)(void*), void*) { return EAGAIN; };
    };

    EXPECT_EQ(countOf("ioctl(7, 35123, \"can0\")", run({}, true, noThreads).calls), 1U);
    EXPECT_EQ(countOf("open(/dev/qvcan0, 2)", run({}, false, noThreads).calls), 1U);
    EXPECT_EQ(countOf("open(other, 2)", run({"-d", "other"}, false, noThreads).calls), 1U);
}

TEST(Entry, SaysWhyAndEndsWithOneWhenAThreadCouldNotBeCreated) {
    const end_t end = run({"-i", "1", "-i", "2"}, true, [](SetupSystem& system) {
        system.pthread_create = [](pthread_t*, void* (*)(void*), void*) { return EAGAIN; };
    });

    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.text.out, "");
    const std::string line = "[ERROR] Cannot create a thread: Resource temporarily unavailable\n";
    EXPECT_EQ(end.text.err, line + line) << "one for each";
}

TEST(Entry, EndsWithOneWhenAnExceptionEndedAThread) {
    const end_t end = run({"-a", "-i", "1", "-i", "2"}, true, [](SetupSystem& system) {
        system.read = [reads = std::make_shared<std::atomic<int>>(0)](int, void*, std::size_t) -> ssize_t {
            if (++*reads == 1) {
                throw std::runtime_error("the reason");
            }
            errno = ENODEV;
            return -1;
        };
    });

    EXPECT_EQ(end.status, 1);
    EXPECT_NE(end.text.err.find("[ERROR] BZ::threadCode() the reason\n"), std::string::npos);
    EXPECT_NE(end.text.err.find("read error: No such device\n"), std::string::npos) << "the other went on";
}

TEST(Entry, EndsWithOneWhenNoSetCanHoldTheDescriptor) {
    const end_t end = run({"-p"}, true, [](SetupSystem& system) {
        system.socket = [](int, int, int) { return static_cast<int>(FD_SETSIZE); };
        system.ioctl = [](int, unsigned long, void*) { return 0; };
        system.setsockopt = [](int, int, int, const void*, socklen_t) { return 0; };
        system.bind = [](int, const sockaddr*, socklen_t) { return 0; };
    });

    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.text.err,
              "[ERROR] BZ::threadCode() file descriptor 1024 is outside of what select can wait "
              "for (0 to 1023)\n");
}

TEST(Entry, ShowsTheUsageOnceAndEndsWithZeroAfterHelp) {
    for (const char* const option : {"-h", "--help", "-vhx"}) {
        const end_t end = run({option, "operand"});

        EXPECT_EQ(end.status, 0);
        EXPECT_EQ(end.text.out.rfind("usage: qvcan <options>\n", 0), 0U);
        EXPECT_EQ(end.text.out.find("usage: ", 1), std::string::npos);
        EXPECT_EQ(end.text.err, "");
        EXPECT_EQ(countOf("socket(29, 3, 1)", end.calls), 0U);
    }
}

namespace {

struct refusal_t {
    const char* name;
    std::vector<std::string> options;
    const char* err;
    friend void PrintTo(const refusal_t& row, std::ostream* out) { *out << row.name; }
};

class EntryRefusal : public testing::TestWithParam<refusal_t> {};

} // namespace

TEST_P(EntryRefusal, IsOneLineAndStatusOneWithNothingOpened) {
    const end_t end = run(GetParam().options);

    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.text.err, GetParam().err);
    EXPECT_EQ(end.text.out, "");
    EXPECT_EQ(countOf("socket(29, 3, 1)", end.calls), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, EntryRefusal,
    testing::Values(
        refusal_t{"unknown_option", {"-x"}, "[ERROR] Unknown option '-x'\n"},
        refusal_t{"unknown_in_a_cluster", {"-v", "-xv"}, "[ERROR] Unknown option '-v'\n"},
        refusal_t{"unknown_behind_operands", {"a", "-v", "b", "-x"}, "[ERROR] Unknown option '-x'\n"},
        refusal_t{"unknown_in_front_of_help", {"-x", "-h"}, "[ERROR] Unknown option '-x'\n"},
        refusal_t{"missing_argument", {"-l"}, "[ERROR] Unknown option '-l'\n"},
        refusal_t{"bad_prefix", {"-t", "10ms"}, "[ERROR] invalid unit \"ms\" specified\n"},
        refusal_t{"bad_prefix_of_the_jitter", {"-j", "2da"}, "[ERROR] invalid unit \"da\" specified\n"},
        refusal_t{"bad_prefix_in_front_of_a_good_one",
                  {"-a", "-t", "1s", "-t", "5"},
                  "[ERROR] invalid unit \"s\" specified\n"},
        refusal_t{"bad_prefix_of_the_jitter_in_front_of_help",
                  {"-j", "1s", "-h"},
                  "[ERROR] invalid unit \"s\" specified\n"},
        refusal_t{"bad_prefix_in_front_of_an_unknown_option",
                  {"-t", "1s", "-x"},
                  "[ERROR] invalid unit \"s\" specified\n"},
        refusal_t{
            "bad_prefix_in_front_of_help", {"-t", "1s", "-h"}, "[ERROR] invalid unit \"s\" specified\n"},
        refusal_t{"operand", {"can1"}, "[ERROR] Unexpected argument 'can1', the device is given with -d\n"},
        refusal_t{"operand_in_front",
                  {"can1", "-v"},
                  "[ERROR] Unexpected argument 'can1', the device is given with -d\n"},
        refusal_t{"first_of_two_operands",
                  {"-v", "x", "y"},
                  "[ERROR] Unexpected argument 'x', the device is given with -d\n"},
        refusal_t{"operand_behind_two_dashes",
                  {"--", "-v"},
                  "[ERROR] Unexpected argument '-v', the device is given with -d\n"},
        refusal_t{"single_dash", {"-"}, "[ERROR] Unexpected argument '-', the device is given with -d\n"},
        refusal_t{"empty_operand", {""}, "[ERROR] Unexpected argument '', the device is given with -d\n"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Entry, EndsWithOneWhenTheDescriptorCouldNotBeSetUp) {
    const end_t end = run({}, true, [](SetupSystem& system) {
        system.socket = [](int, int, int) {
            errno = EAFNOSUPPORT;
            return -1;
        };
    });

    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.text.err, "error creating socket: Address family not supported by protocol\n");
    EXPECT_EQ(end.text.out, "");
}

TEST(Entry, ReportsAnExceptionOfTheRunByItsText) {
    Arguments arguments({});
    end_t failed{};
    failed.text = captured([&] {
        const SetupSystem system;
        const allocations::FailNth failure(1);
        failed.status = runTool(arguments.count(), arguments.vector(), "can0", true);
    });
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.text.err, "[ERROR] " + std::string(std::bad_alloc().what()) + "\n");
}

TEST(Entry, EndsWithOneAndALineWhenStandardOutputFailed) {
    Arguments arguments({"-h"});
    const end_t end =
        run(arguments.withoutName(), true, [](SetupSystem&) {}); // breaks the stream in the usage text

    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.text.out, "usage: ");
    EXPECT_EQ(end.text.err, "[ERROR] Cannot write to standard output\n");
}

TEST(Entry, TellsThatStandardOutputFailedAfterARunToo) {
    const end_t end = run({"-a"}, true, [](SetupSystem&) { std::cout.setstate(std::ios_base::badbit); });

    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.text.err, "read error: No such device\n[ERROR] Cannot write to standard output\n");
}

TEST(Entry, RunsOnTheDefaultsWithoutAnyArgumentNotEvenAName) {
    char* none[] = {nullptr};
    int status = -1;
    captured([&] {
        SetupSystem system;
        system.pthread_create = [](pthread_t*, void* (*)(void*), void*) { return EAGAIN; };
        status = runTool(0, none, "can0", true);
        EXPECT_EQ(system.count("socket"), 1U);
    });

    EXPECT_EQ(status, 1) << "no thread was created";
}

TEST(Entry, KeepsNothingOfACallForTheNext) {
    EXPECT_EQ(run({"-hv"}).status, 0);
    EXPECT_EQ(run({"-xv"}).status, 1);
    EXPECT_EQ(run({"-t", "1q"}).status, 1);
    EXPECT_EQ(run({"-a"}).status, 0);
}

namespace {

bool isNullDevice(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
}

/// In a process of its own: closes the standard descriptors of `mask`, and gives the places that are not
/// /dev/null then.
[[noreturn]] void runWithClosed(int mask) {
    for (int fd = 0; fd < 3; ++fd) {
        if ((mask & 1 << fd) != 0) {
            close(fd);
        }
    }
    Arguments arguments({"-x"});
    const int status = runTool(arguments.count(), arguments.vector(), "can0", true);
    int filled = 0;
    for (int fd = 0; fd < 3; ++fd) {
        filled |= isNullDevice(fd) ? 1 << fd : 0;
    }
    _exit(status == 1 && (filled & mask) == mask ? 0 : 1);
}

/// The same where there is no /dev/null: the places must be taken, and neither give nor take a byte.
[[noreturn]] void runWithoutNullDevice(int mask) {
    FakeSystem system;
    system.open = [](const char* path, int flags) {
        if (std::string(path) == "/dev/null") {
            errno = ENOENT;
            return -1;
        }
        return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags));
    };
    for (int fd = 0; fd < 3; ++fd) {
        if ((mask & 1 << fd) != 0) {
            close(fd);
        }
    }
    Arguments arguments({"-x"});
    const int status = runTool(arguments.count(), arguments.vector(), "can0", true);
    bool right = status == 1;
    for (int fd = 0; fd < 3; ++fd) {
        char byte = 0;
        if ((mask & 1 << fd) != 0) {
            right =
                right && fcntl(fd, F_GETFD) != -1 && write(fd, &byte, 1) == -1 && read(fd, &byte, 1) == -1;
        }
    }
    _exit(right ? 0 : 1);
}

class EntryDeathTest : public testing::TestWithParam<int> {};

} // namespace

TEST_P(EntryDeathTest, OpensTheNullDeviceOnStandardDescriptorsThatAreClosed) {
    EXPECT_EXIT(runWithClosed(GetParam()), testing::ExitedWithCode(0), "");
}

TEST_P(EntryDeathTest, GoesOnWithoutANullDeviceAndLeavesNoStandardDescriptorFree) {
    EXPECT_EXIT(runWithoutNullDevice(GetParam()), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(ClosedDescriptors, EntryDeathTest, testing::Range(0, 8));
