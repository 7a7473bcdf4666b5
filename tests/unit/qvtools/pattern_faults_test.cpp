// Each system call of the pattern sender fails in turn, for every reason that Linux has there.

#include "tests/unit/qvtools/patternsender.h"

#include <new>

#include <sys/socket.h>

namespace {

struct fault_t {
    const char* name;
    int errnum;
    const char* text;
};

const fault_t badDescriptor = {"EBADF", EBADF, "Bad file descriptor"};
const fault_t invalidArgument = {"EINVAL", EINVAL, "Invalid argument"};
const fault_t noMemory = {"ENOMEM", ENOMEM, "Cannot allocate memory"};
const fault_t networkDown = {"ENETDOWN", ENETDOWN, "Network is down"};
const fault_t noDevice = {"ENODEV", ENODEV, "No such device"};
const fault_t ioError = {"EIO", EIO, "Input/output error"};
const fault_t interrupted = {"EINTR", EINTR, "Interrupted system call"};
const fault_t noBuffers = {"ENOBUFS", ENOBUFS, "No buffer space available"};

std::string nameOf(const testing::TestParamInfo<fault_t>& row) {
    return row.param.name;
}

class PatternWaitFault : public PatternSender, public testing::WithParamInterface<fault_t> {};
class PatternReadFault : public PatternSender, public testing::WithParamInterface<fault_t> {};
class PatternWriteFault : public PatternSender, public testing::WithParamInterface<fault_t> {};

} // namespace

TEST_P(PatternWaitFault, EndsTheRunWithOneErrorLineWhicheverWaitFails) {
    settings.loop = 3;
    settings.timegap = 10;
    for (std::size_t nth = 1; nth <= 5; ++nth) {
        waits.clear();
        frames.clear();
        onWait = [&](const wait_t& asked) {
            return waits.size() == nth ? outcome_t{false, false, GetParam().errnum} : passTime(asked);
        };
        int result = 0;
        const Captured text = captured([&] { result = run(); });

        EXPECT_EQ(result, -1);
        EXPECT_EQ(text.err, std::string("[ERROR] BZ::sendPattern() select: ") + GetParam().text + "\n");
        EXPECT_EQ(text.out, "");
        EXPECT_EQ(waits.size(), nth);
        EXPECT_EQ(frames.size(), nth / 2);
    }
}

INSTANTIATE_TEST_SUITE_P(Reasons, PatternWaitFault,
                         testing::Values(badDescriptor, invalidArgument, noMemory,
                                         fault_t{"EFAULT", EFAULT, "Bad address"}),
                         nameOf);

TEST_F(PatternSender, GoesOnWaitingAfterASignal) {
    settings.loop = 2;
    settings.timegap = 5000000;
    std::int64_t passed = 0;
    system.clock_gettime = [&](clockid_t, timespec* time) {
        *time = {100 + passed, 0};
        return 0;
    };
    onWait = [&](const wait_t& asked) {
        const bool interrupted = waits.size() == 1 || waits.size() == 3;
        passed += asked.limited && interrupted ? 2 : 0;
        clock += asked.limited && interrupted ? 2000000 : 0;
        return interrupted ? outcome_t{false, false, EINTR} : passTime(asked);
    };
    int result = -1;
    const Captured text = captured([&] { result = run(); });

    EXPECT_EQ(result, 0);
    EXPECT_EQ(text.out + text.err, "");
    EXPECT_EQ(waits, std::vector<wait_t>({due, due, early(5, 0), early(3, 0), due}));
    EXPECT_EQ(frames.size(), 2U);
}

TEST_P(PatternReadFault, IsReportedAndTheFrameOnTheWayIsSentAllTheSame) {
    settings.loop = 3;
    onWait = [](const wait_t&) { return outcome_t{true, true, 0}; };
    onRead = [this](void*) -> ssize_t {
        errno = GetParam().errnum;
        return reads == 2 ? -1 : 16;
    };
    int result = -1;
    const Captured text = captured([&] { result = run(); });

    EXPECT_EQ(result, 0);
    EXPECT_EQ(text.err, std::string("read: incomplete CAN frame\nread error: ") + GetParam().text +
                            "\nread: incomplete CAN frame\n");
    EXPECT_EQ(frames.size(), 3U);
    expectPattern();
}

INSTANTIATE_TEST_SUITE_P(Reasons, PatternReadFault,
                         testing::Values(networkDown, noDevice, ioError, interrupted, badDescriptor,
                                         invalidArgument, noMemory, noBuffers),
                         nameOf);

TEST_P(PatternWriteFault, IsReportedAndCountsAsSentWhicheverWriteFails) {
    settings.loop = 3;
    for (std::size_t nth = 1; nth <= 3; ++nth) {
        frames.clear();
        onWrite = [&](std::size_t n) {
            errno = GetParam().errnum;
            return frames.size() == nth ? ssize_t{-1} : static_cast<ssize_t>(n);
        };
        int result = -1;
        const Captured text = captured([&] { result = run(); });

        EXPECT_EQ(result, 0);
        EXPECT_EQ(text.err, std::string("write error: ") + GetParam().text + "\n");
        EXPECT_EQ(frames.size(), 3U);
        expectPattern();
    }
}

INSTANTIATE_TEST_SUITE_P(Reasons, PatternWriteFault,
                         testing::Values(invalidArgument, noBuffers, networkDown,
                                         fault_t{"ENXIO", ENXIO, "No such device or address"},
                                         fault_t{"EAGAIN", EAGAIN, "Resource temporarily unavailable"},
                                         ioError, noDevice, badDescriptor, interrupted,
                                         fault_t{"EMSGSIZE", EMSGSIZE, "Message too long"},
                                         fault_t{"EPERM", EPERM, "Operation not permitted"}, noMemory,
                                         fault_t{"ENOSPC", ENOSPC, "No space left on device"}),
                         nameOf);

TEST_F(PatternSender, FailsOnATimeOutBeyond63BitsAsTheKernelRefusesIt) {
    int sockets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, sockets), 0);
    settings.fd = sockets[0];
    settings.loop = 2;
    settings.timegap = 1ULL << 63U;
    system.pselect = nullptr;
    system.write = nullptr;
    int result = 0;
    const Captured text = captured([&] { result = run(); });
    close(sockets[1]);

    EXPECT_EQ(result, -1);
    EXPECT_EQ(text.err, "[ERROR] BZ::sendPattern() select: Invalid argument\n");
}

TEST_F(PatternSender, DeletesTheFramesThatItDiscards) {
    settings.loop = 100;
    recording = false;
    onWait = [](const wait_t&) { return outcome_t{true, true, 0}; };
    const auto device = make();
    const std::ptrdiff_t before = allocations::live();
    run(*device);

    EXPECT_EQ(reads, 100);
    EXPECT_EQ(allocations::live(), before);
}

TEST_F(PatternSender, LosesNoMemoryWhicheverAllocationFailsAndCanRunAgain) {
    settings.verbose = 2;
    settings.errnum = 1;
    recording = false;
    onWait = [](const wait_t&) { return outcome_t{true, true, 0}; };
    const auto device = make();
    captured([&] { run(*device); }); // what the streams keep is theirs from now on
    std::size_t thrown = 0;
    bool reached = true;
    for (std::size_t nth = 1; reached; ++nth) {
        captured([&] {
            const std::ptrdiff_t before = allocations::live();
            {
                const allocations::FailNth failure(nth);
                try {
                    run(*device);
                } catch (const std::bad_alloc&) {
                    ++thrown;
                }
                reached = failure.failed();
            }
            EXPECT_EQ(allocations::live(), before) << "allocation " << nth;
        });
    }
    EXPECT_GT(thrown, 0U);
    recording = true;
    captured([&] { EXPECT_EQ(run(*device), 0); });
    EXPECT_EQ(frames.size(), 1U);
}
