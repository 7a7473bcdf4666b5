#include "qvtools/runend.h"
#include "qvtools/statusline.h"
#include "tests/unit/libqvcheck/nosink.h"

#include <cstdlib>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

constexpr std::int64_t millisecond = 1000000;

/// Standard error is another file while this lives. Owns the descriptor.
class StandardError {
public:
    explicit StandardError(int descriptor) : kept(dup(STDERR_FILENO)) {
        dup2(descriptor, STDERR_FILENO);
        close(descriptor);
    }
    ~StandardError() {
        dup2(kept, STDERR_FILENO);
        close(kept);
    }
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;

private:
    const int kept;
};

struct StatusLineTest : ::testing::Test {
    StatusLineTest() {
        grantpt(terminal);
        unlockpt(terminal);
    }
    ~StatusLineTest() override { close(terminal); }

    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    CheckCommandLine line;
    NoSink sink;
    Judge judge{line.demands, sink};
    RunClock clock{judge};
};

} // namespace

TEST_F(StatusLineTest, IsRedrawnFourTimesASecondOnATerminal) {
    const StandardError standardError(open(ptsname(terminal), O_RDWR | O_NOCTTY));
    StatusLine status(line, judge, clock, 7);
    EXPECT_EQ(status.due(), 7 + 250 * millisecond);
    status.tick(6 + 250 * millisecond);
    EXPECT_EQ(status.due(), 7 + 250 * millisecond);
    status.tick(300 * millisecond);
    EXPECT_EQ(status.due(), 550 * millisecond);
}

TEST_F(StatusLineTest, IsNeverDueElsewhere) {
    const StandardError standardError(open("/dev/null", O_WRONLY));
    EXPECT_EQ(StatusLine(line, judge, clock, 7).due(), RunEnd::NEVER);
}
