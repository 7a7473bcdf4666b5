// Memory that runs out anywhere while the command line is read: nothing leaks, no message is torn.

#include "tests/fakes/allocations.h"
#include "tests/fakes/arguments.h"
#include "tests/fakes/candevicetestaccess.h"
#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/setupsystem.h"

#include <algorithm>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct line_t {
    const char* name;
    std::vector<std::string> options;
    bool network = true;
    std::size_t failingCall = 0; ///< of the set-up; 0: none
    bool staysOpen = false; ///< the set-up fails for good, which leaves its socket to the end of the process
    friend void PrintTo(const line_t& row, std::ostream* out) { *out << row.name; }
};

/// How a run of `parse` ended.
struct outcome_t {
    bool allocationFailed = false;
    bool badAlloc = false;
    bool invalidArgument = false;
    std::size_t devices = 0;
    std::size_t opened = 0;
    std::size_t closed = 0;
    Captured text;
};

void parse(Arguments& arguments, bool network, SetupSystem& system, outcome_t& outcome) {
    try {
        const auto devices = CanDevice::parse(arguments.count(), arguments.vector(), "can0", network);
        outcome.devices = devices.size();
        EXPECT_EQ(system.count("close"), 0U) << "while there are devices";
    } catch (const std::bad_alloc&) {
        outcome.badAlloc = true;
    } catch (const std::invalid_argument&) {
        outcome.invalidArgument = true;
    }
}

/// Runs `parse` with its n-th allocation failing; 0: none.
outcome_t run(const line_t& line, std::size_t n) {
    outcome_t outcome;
    Arguments arguments(line.options);
    outcome.text = captured([&] {
        SetupSystem system(line.failingCall);
        {
            const allocations::FailNth failure(n);
            parse(arguments, line.network, system, outcome);
            outcome.allocationFailed = n > 0 && failure.failed();
        }
        outcome.opened = system.count(line.network ? "socket" : "open");
        outcome.closed = system.count("close");
    });
    return outcome;
}

/// True when `text` is made of the first lines of `whole`, or of none.
bool isWholeLinesOf(const std::string& whole, const std::string& text) {
    return text.empty() || (whole.compare(0, text.size(), text) == 0 && text.back() == '\n');
}

} // namespace

class CommandLineAllocations : public testing::TestWithParam<line_t> {};

TEST_P(CommandLineAllocations, AnyOfThemMayFailWithoutALeakOrATornMessage) {
    const outcome_t whole = run(GetParam(), 0);
    std::size_t n = 1;
    for (; !HasFailure(); ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n));
        const std::ptrdiff_t before = allocations::live();
        {
            const outcome_t outcome = run(GetParam(), n);
            if (!outcome.allocationFailed) {
                break;
            }
            EXPECT_TRUE(outcome.badAlloc) << "the caller learns of it";
            EXPECT_TRUE(outcome.opened == 0 || outcome.closed > 0 || GetParam().staysOpen)
                << "the descriptor leaks";
            EXPECT_TRUE(isWholeLinesOf(whole.text.out, outcome.text.out)) << outcome.text.out;
            EXPECT_TRUE(isWholeLinesOf(whole.text.err, outcome.text.err)) << outcome.text.err;
        }
        EXPECT_TRUE(HasFailure() || allocations::live() == before)
            << "memory leaks"; // a failure takes memory itself
    }
    EXPECT_GT(n, 16U) << "each of the 16 rows takes memory";
}

TEST_P(CommandLineAllocations, ThatSucceedAreAllGivenBack) {
    run(GetParam(), 0);
    const std::ptrdiff_t before = allocations::live();
    run(GetParam(), 0);

    EXPECT_EQ(allocations::live(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, CommandLineAllocations,
    testing::Values(line_t{"no_options", {}}, line_t{"help", {"-h"}},
                    line_t{"unknown_option", {"--a-long-unknown-option"}},
                    line_t{"bad_prefix", {"-t", "5-a-word-that-is-no-prefix"}},
                    line_t{"three_devices",
                           {"-f", "-i", "7", "-i", "2", "-i", "7", "-r", "a-file-name-with-some-length"}},
                    line_t{"verbose", {"-vvv", "-t", "19T", "-j", "1m"}},
                    line_t{"interface_missing", {"-d", "an-interface"}, true, 2, true},
                    line_t{"warnings", {"-f"}, true, 3},
                    line_t{"name_too_long", {"-d", "a-name-of-16-chr"}, true, 0, true},
                    line_t{"file_build", {"-vvv", "-i", "1", "-i", "2"}, false},
                    line_t{"file_missing", {"-d", "/dev/a-missing-device-file"}, false, 1, true}),
    [](const auto& row) { return std::string(row.param.name); });
