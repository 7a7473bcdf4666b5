// The answer mode on a raw socket: every frame comes back modified until a read fails.

#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/framewriter.h"

#include <cstring>
#include <deque>
#include <iostream>
#include <new>
#include <set>
#include <vector>

namespace {

canfd_frame frameOf(canid_t id, std::uint8_t length, std::uint8_t flags = 0) {
    canfd_frame frame{};
    frame.can_id = id;
    frame.len = length;
    frame.flags = flags;
    for (std::uint8_t i = 0; i < length; ++i) {
        frame.data[i] = static_cast<std::uint8_t>(i + 1);
    }
    return frame;
}

/// An answering device that is sent `incoming`; then its reads give `count`, with `errnum` in errno.
class AnswerMode : public ScriptedDevice {
protected:
    AnswerMode() {
        settings.answer = CanDevice::A_YES;
        settings.canFd = true;
        system.getMicroSecondsOfDay = [this] {
            ++readings;
            return std::uint64_t{45296000789};
        };
        system.read = [this](int fd, void* to, std::size_t n) -> ssize_t {
            EXPECT_EQ(fd, descriptor);
            EXPECT_EQ(n, 72U);
            ++reads;
            if (incoming.empty()) {
                errno = errnum;
                return count;
            }
            std::memcpy(to, &incoming.front(), 72);
            incoming.pop_front();
            return 72;
        };
        system.write = [this](int fd, const void* from, std::size_t n) -> ssize_t {
            const allocations::Pause pause;
            EXPECT_EQ(fd, descriptor);
            sent.push_back(hexadecimal(from, n));
            errno = ENOBUFS;
            return failing.count(sent.size()) > 0 ? -1 : static_cast<ssize_t>(n);
        };
    }

    Captured run(unsigned short verbose = 0) {
        settings.verbose = verbose;
        return captured([&] { EXPECT_EQ(CanDeviceTestAccess::sendAnswers(*make()), -1); });
    }

    /// The bytes of a frame as they are sent.
    static std::string bytes(const canfd_frame& frame) { return hexadecimal(&frame, 72); }

    std::deque<canfd_frame> incoming;
    ssize_t count = -1;
    int errnum = ENETDOWN;
    int reads = 0;
    int readings = 0;              ///< of the clock
    std::set<std::size_t> failing; ///< which of the writes fail
    std::vector<std::string> sent;
};

} // namespace

TEST_F(AnswerMode, SendsEveryFrameBackComplemented) {
    incoming = {frameOf(0x123, 3), frameOf(0x7FF, 0), frameOf(0, 1), frameOf(CAN_EFF_FLAG | 1, 12)};
    run();

    canfd_frame second = frameOf(0, 0);
    canfd_frame third = frameOf(0x7FF, 1);
    third.data[0] = 0xFE;
    canfd_frame fourth = frameOf(CAN_EFF_FLAG | 0x1FFFFFFE, 12);
    for (std::size_t i = 0; i < 9; ++i) { // the length code of 12 bytes
        fourth.data[i] = static_cast<std::uint8_t>(~fourth.data[i]);
    }
    ASSERT_EQ(sent.size(), 4U);
    EXPECT_EQ(sent[0].substr(0, 34), "dc06000003000000 fefdfc0000000000 ");
    EXPECT_EQ(sent[1], bytes(second));
    EXPECT_EQ(sent[2], bytes(third));
    EXPECT_EQ(sent[3], bytes(fourth));
}

TEST_F(AnswerMode, InvertsBytes0To14OfAFrameOf64) {
    incoming = {frameOf(0x123, 64)};
    run();

    canfd_frame expected = frameOf(0x6DC, 64);
    for (std::size_t i = 0; i < 15; ++i) {
        expected.data[i] = static_cast<std::uint8_t>(~expected.data[i]);
    }
    EXPECT_EQ(sent, std::vector<std::string>({bytes(expected)}));
}

TEST_F(AnswerMode, AnswersARemoteRequestAndABitRateSwitchedFrameAsOrdinaryFrames) {
    incoming = {frameOf(CAN_RTR_FLAG | 0x123, 1), frameOf(0x123, 1, CANFD_BRS | CANFD_ESI)};
    run();

    canfd_frame expected = frameOf(0x6DC, 1);
    expected.data[0] = 0xFE;
    EXPECT_EQ(sent, std::vector<std::string>(2, bytes(expected)));
}

TEST_F(AnswerMode, SendsAsItsDeviceIsSet) {
    settings.canFd = false;
    settings.brs = true;
    incoming = {frameOf(0x123, 12)};
    run();

    EXPECT_EQ(sent, std::vector<std::string>({"dc0600000c010000 fefdfcfbfaf9f8f7"}));
}

namespace {

struct ended_t {
    const char* name;
    ssize_t count;
    int errnum;
    const char* err;
};

class AnswerModeEnd : public AnswerMode, public testing::WithParamInterface<ended_t> {};

} // namespace

TEST_P(AnswerModeEnd, IsAFailedOrShortReadToldInOneBareLine) {
    incoming = {frameOf(1, 1), frameOf(2, 2)};
    count = GetParam().count;
    errnum = GetParam().errnum;
    const Captured text = run(2);

    EXPECT_EQ(text.err, GetParam().err);
    EXPECT_EQ(sent.size(), 2U);
    EXPECT_EQ(reads, 3);
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, AnswerModeEnd,
    testing::Values(ended_t{"ENETDOWN", -1, ENETDOWN, "read error: Network is down\n"},
                    ended_t{"ENODEV", -1, ENODEV, "read error: No such device\n"},
                    ended_t{"EIO", -1, EIO, "read error: Input/output error\n"},
                    ended_t{"EBADF", -1, EBADF, "read error: Bad file descriptor\n"},
                    ended_t{"EAGAIN", -1, EAGAIN, "read error: Resource temporarily unavailable\n"},
                    ended_t{"EINTR", -1, EINTR, "read error: Interrupted system call\n"},
                    ended_t{"EINVAL", -1, EINVAL, "read error: Invalid argument\n"},
                    ended_t{"ENOMEM", -1, ENOMEM, "read error: Cannot allocate memory\n"},
                    ended_t{"a_classic_frame", 16, 0, "read: incomplete CAN frame\n"},
                    ended_t{"one_byte_short", 71, 0, "read: incomplete CAN frame\n"},
                    ended_t{"end_of_file", 0, 0, "read: incomplete CAN frame\n"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(AnswerMode, GoesOnAfterASendThatFailed) {
    incoming = {frameOf(1, 1), frameOf(2, 1), frameOf(3, 1)};
    failing = {1, 2};
    const Captured text = run();

    EXPECT_EQ(text.err, "write error: No buffer space available\n"
                        "write error: No buffer space available\n"
                        "read error: Network is down\n");
    EXPECT_EQ(sent.size(), 3U);
}

TEST_F(AnswerMode, SendsNothingWithoutAnAnswer) {
    settings.answer = CanDevice::A_NO;
    incoming = {frameOf(0x123, 3), frameOf(0x124, 3)};
    const Captured text = run(2);

    EXPECT_TRUE(sent.empty());
    EXPECT_EQ(text.out, "rcvd 12:34:56.000789 ch0 123#010203\nrcvd 12:34:56.000789 ch0 124#010203\n");
}

TEST_F(AnswerMode, ShowsWhatItReceivedAndSentFromVerbosityTwoOn) {
    for (unsigned short verbose = 0; verbose <= 3; ++verbose) {
        incoming = {frameOf(0x123, 3)};
        settings.canFd = false;
        const Captured text = run(verbose);

        EXPECT_EQ(text.out, verbose < 2 ? ""
                                        : "rcvd 12:34:56.000789 ch0 123#010203\n"
                                          "[DEBUG] BZ::sendCAN() send: 12:34:56.000789 ch0 6DC#FEFDFC\n"
                                          "raw\n"
                                          "dc 06 00 00 03 00 00 00 fe fd fc 00 00 00 00 00"
                                          "  |................|\n");
    }
}

TEST_F(AnswerMode, ReadsTheClockOnlyForATimeStampThatItShows) {
    for (unsigned short verbose = 0; verbose <= 3; ++verbose) {
        incoming = {frameOf(0x123, 3), frameOf(0x124, 3)};
        readings = 0;
        run(verbose);

        // The read that ends the mode reads the clock, too, for the next attempt.
        EXPECT_EQ(readings, verbose < 2 ? 1 : 3) << "verbosity " << verbose;
    }
}

TEST_F(AnswerMode, WritesItsReceivedLineWithoutALock) {
    settings.answer = CanDevice::A_NO;
    incoming = {frameOf(0x123, 3)};
    settings.verbose = 2;
    const auto device = make();
    LockProbe out(std::cout);
    const LockProbe err(std::cerr);
    CanDeviceTestAccess::sendAnswers(*device);

    ASSERT_EQ(out.pieces.size(), 1U);
    EXPECT_EQ(out.pieces.front().text, "rcvd 12:34:56.000789 ch0 123#010203\n");
    EXPECT_FALSE(out.pieces.front().locks.log || out.pieces.front().locks.device);
    EXPECT_GE(out.flushes, 1U);
}

TEST_F(AnswerMode, DeletesEveryFrameAlsoWhenAnExceptionFlies) {
    for (const bool thrown : {false, true}) {
        reads = 0;
        system.read = [this](int, void* to, std::size_t n) -> ssize_t {
            std::memset(to, 0, n);
            errno = ENETDOWN;
            return ++reads > 3 ? -1 : 72;
        };
        system.write = [this, thrown](int, const void*, std::size_t n) -> ssize_t {
            if (thrown && reads == 3) {
                throw std::bad_alloc();
            }
            return static_cast<ssize_t>(n);
        };
        const auto device = make();
        captured([&] {
            const std::ptrdiff_t before = allocations::live();
            try {
                EXPECT_EQ(CanDeviceTestAccess::sendAnswers(*device), -1);
                EXPECT_FALSE(thrown);
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(thrown);
            }
            EXPECT_EQ(allocations::live(), before);
        });
    }
}
