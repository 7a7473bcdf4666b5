// Frames from the socket: 72 bytes become a message, anything else one bare line.

#include "tests/fakes/allocations.h"
#include "tests/fakes/captured.h"
#include "tests/fakes/lockprobe.h"
#include "tests/unit/qvtools/scripteddevice.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace {

canfd_frame frameOf(canid_t id, std::uint8_t length, std::uint8_t flags = 0) {
    canfd_frame frame{};
    frame.can_id = id;
    frame.len = length;
    frame.flags = flags;
    for (std::uint8_t i = 0; i < sizeof frame.data; ++i) {
        frame.data[i] = static_cast<std::uint8_t>(0x40 + i);
    }
    return frame;
}

class FrameReader : public ScriptedDevice {
protected:
    FrameReader() {
        system.read = [this](int fd, void* to, std::size_t n) {
            EXPECT_EQ(fd, descriptor);
            EXPECT_EQ(n, 72U);
            ++reads;
            std::memcpy(to, &frame, std::min(n, sizeof frame));
            errno = errnum;
            return count;
        };
        system.getMicroSecondsOfDay = [this] {
            return std::uint64_t{1000} + static_cast<unsigned int>(reads);
        };
    }

    /// Reads once. `message` is not null at first: what the caller had there is no longer his.
    int readOnce(unsigned short verbose = 0) {
        const std::unique_ptr<CanDevice> device = make(verbose);
        CANExtTraceMessage garbage;
        CANExtTraceMessage* pcm = &garbage;
        const int result = CanDeviceTestAccess::readCAN(*device, pcm);
        EXPECT_NE(pcm, &garbage);
        message.reset(pcm == &garbage ? nullptr : pcm);
        return result;
    }

    canfd_frame frame = frameOf(0x123, 8);
    ssize_t count = 72;
    int errnum = 0;
    int reads = 0;
    std::unique_ptr<CANExtTraceMessage> message;
};

struct frame_t {
    const char* name;
    canfd_frame frame;
    cantype_t width;
    std::uint32_t canId;
    std::uint8_t length;
    friend void PrintTo(const frame_t& row, std::ostream* out) { *out << row.name; }
};

class FrameReaderFrame : public FrameReader, public testing::WithParamInterface<frame_t> {};

} // namespace

TEST_P(FrameReaderFrame, BecomesAnOrdinaryMessageWithoutTheFlags) {
    frame = GetParam().frame;
    settings.channel = 5; // is of the device file only

    ASSERT_EQ(readOnce(), 0);

    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->getMessageId(), MSGID_CAN_EXT);
    EXPECT_EQ(message->getCanType(), GetParam().width);
    EXPECT_EQ(message->getCanId(), GetParam().canId);
    EXPECT_EQ(message->getType(), CF_STANDARD);
    EXPECT_EQ(message->getStatus(), CSE_NO);
    EXPECT_EQ(message->getChannel(), 0);
    EXPECT_EQ(message->getNumDataBytes(), GetParam().length);
    EXPECT_EQ(hexadecimal(message->getDataBytes(), GetParam().length),
              hexadecimal(frame.data, GetParam().length));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FrameReaderFrame,
    testing::Values(
        frame_t{"standard", frameOf(0x123, 8), CT_STANDARD, 0x123, 8},
        frame_t{"standard_highest", frameOf(0x7FF, 1), CT_STANDARD, 0x7FF, 1},
        frame_t{"standard_with_bits_above_the_eleven", frameOf(0x12345, 1), CT_STANDARD, 0x345, 1},
        frame_t{"standard_zero", frameOf(0, 1), CT_STANDARD, 0, 1},
        frame_t{"extended", frameOf(CAN_EFF_FLAG | 0x123, 12), CT_EXTENDED, 0x123, 12},
        frame_t{"extended_highest", frameOf(CAN_EFF_FLAG | 0x1FFFFFFF, 1), CT_EXTENDED, 0x1FFFFFFF, 1},
        frame_t{"remote_standard", frameOf(CAN_RTR_FLAG | 0x123, 4), CT_STANDARD, 0x123, 4},
        frame_t{"remote_extended", frameOf(CAN_RTR_FLAG | CAN_EFF_FLAG | 0x12345, 4), CT_EXTENDED, 0x12345,
                4},
        frame_t{"error_standard", frameOf(CAN_ERR_FLAG | 0xFF4, 8), CT_STANDARD, 0x7F4, 8},
        frame_t{"every_identifier_bit", frameOf(0xFFFFFFFF, 8), CT_EXTENDED, 0x1FFFFFFF, 8},
        frame_t{"bit_rate_switch", frameOf(0x123, 16, CANFD_BRS), CT_STANDARD, 0x123, 16},
        frame_t{"error_state", frameOf(0x123, 16, CANFD_ESI), CT_STANDARD, 0x123, 16},
        frame_t{"every_flag", frameOf(0x123, 16, 0xFF), CT_STANDARD, 0x123, 16},
        frame_t{"empty", frameOf(0x123, 0), CT_STANDARD, 0x123, 0},
        frame_t{"full", frameOf(0x123, 64), CT_STANDARD, 0x123, 64},
        frame_t{"length_beyond_64", frameOf(0x123, 65), CT_STANDARD, 0x123, 64},
        frame_t{"highest_length", frameOf(0x123, 255), CT_STANDARD, 0x123, 64}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(FrameReader, StampsTheMessageAfterTheRead) {
    ASSERT_EQ(readOnce(), 0);

    EXPECT_EQ(message->getTimeStamp(), 1001U) << "the clock counts the reads";
}

namespace {

class FrameReaderShortRead : public FrameReader, public testing::WithParamInterface<ssize_t> {};

struct read_error_t {
    int errnum;
    const char* line;
};

class FrameReaderError : public FrameReader, public testing::WithParamInterface<read_error_t> {};

} // namespace

TEST_P(FrameReaderShortRead, IsOneBareLineAndNoMessage) {
    count = GetParam();
    int result = 0;
    const Captured text = captured([&] { result = readOnce(3); });

    EXPECT_EQ(result, -1);
    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(text.err, "read: incomplete CAN frame\n");
    EXPECT_EQ(text.out, "");
    EXPECT_EQ(reads, 1);
}

// 16 is a classic frame: it is reported, too.
INSTANTIATE_TEST_SUITE_P(Bytes, FrameReaderShortRead, testing::Values(0, 1, 8, 15, 16, 17, 71));

TEST_P(FrameReaderError, IsOneBareLineWithTheReasonOfTheCall) {
    count = -1;
    errnum = GetParam().errnum;
    int result = 0;
    const Captured text = captured([&] { result = readOnce(3); });

    EXPECT_EQ(result, -1);
    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(text.err, GetParam().line);
    EXPECT_EQ(text.out, "");
    EXPECT_EQ(reads, 1) << "not even a signal makes it try again";
}

INSTANTIATE_TEST_SUITE_P(Reasons, FrameReaderError,
                         testing::Values(read_error_t{ENETDOWN, "read error: Network is down\n"},
                                         read_error_t{ENODEV, "read error: No such device\n"},
                                         read_error_t{EINTR, "read error: Interrupted system call\n"},
                                         read_error_t{EAGAIN,
                                                      "read error: Resource temporarily unavailable\n"},
                                         read_error_t{EBADF, "read error: Bad file descriptor\n"}));

TEST_F(FrameReader, BreaksTheErrorStreamWhenTheSystemHasNoTextForTheReason) {
    count = -1;
    errnum = ENETDOWN;
    int asked = 0;
    system.strerror = [&asked](int number) -> char* {
        asked = number;
        return nullptr;
    };
    const Captured text = captured([&] { EXPECT_EQ(readOnce(), -1); });

    EXPECT_EQ(text.err, "read error: ");
    EXPECT_FALSE(text.errGood);
    EXPECT_EQ(asked, ENETDOWN);
}

namespace {

class FrameReaderVerbosity : public FrameReader, public testing::WithParamInterface<unsigned short> {};

} // namespace

TEST_P(FrameReaderVerbosity, PrintsNothingAndAllocatesTheMessageAlone) {
    const std::unique_ptr<CanDevice> device = make(GetParam());
    CANExtTraceMessage* pcm = nullptr;
    std::size_t allocated = 0;
    const Captured text = captured(
        [&] { allocated = allocations::during([&] { CanDeviceTestAccess::readCAN(*device, pcm); }); });

    message.reset(pcm);
    EXPECT_NE(message, nullptr);
    EXPECT_EQ(text.out + text.err, "");
    EXPECT_EQ(allocated, 1U);
    EXPECT_EQ(reads, 1) << "one system call for a frame";
}

INSTANTIATE_TEST_SUITE_P(Levels, FrameReaderVerbosity, testing::Values(0, 1, 2, 3, 65535));

TEST_F(FrameReader, GivesTheMessageToItsCaller) {
    const std::ptrdiff_t before = allocations::live();
    readOnce();
    EXPECT_EQ(allocations::live(), before + 1);

    message.reset();
    EXPECT_EQ(allocations::live(), before);
}

TEST_F(FrameReader, HoldsNoLockWhileItReadsOrComplains) {
    count = -1;
    errnum = ENETDOWN;
    locks_t whileReading{true, true};
    const auto original = system.read;
    system.read = [&](int fd, void* to, std::size_t n) {
        whileReading = locks_t::now();
        return original(fd, to, n);
    };
    LockProbe probe(std::cerr);
    readOnce();
    count = 16;
    readOnce();

    EXPECT_FALSE(whileReading.device || whileReading.log);
    ASSERT_EQ(probe.pieces.size(), 2U) << "each line is one insertion";
    for (const LockProbe::piece_t& piece : probe.pieces) {
        EXPECT_FALSE(piece.locks.device || piece.locks.log) << piece.text;
    }
    EXPECT_GE(probe.flushes, 2U);
}
