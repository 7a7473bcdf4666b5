// Messages to the socket: one frame in one write.

#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/framewriter.h"

#include <iostream>
#include <memory>
#include <ostream>
#include <string>

namespace {

std::string zeros(std::size_t groups) {
    std::string text;
    for (std::size_t i = 0; i < groups; ++i) {
        text += " 0000000000000000";
    }
    return text;
}

struct sent_t {
    const char* name;
    bool canFd;
    bool brs;
    CANExtTraceMessage message;
    std::string bytes;
    friend void PrintTo(const sent_t& row, std::ostream* out) { *out << row.name; }
};

class FrameWriterFrame : public FrameWriter, public testing::WithParamInterface<sent_t> {};

} // namespace

TEST_P(FrameWriterFrame, ReachesTheSocketInOneWriteWithZerosBehindThePayload) {
    settings.canFd = GetParam().canFd;
    settings.brs = GetParam().brs;
    int result = -1;
    const Captured text = captured([&] { result = send(GetParam().message); });

    EXPECT_EQ(result, 0);
    EXPECT_EQ(writes, 1);
    EXPECT_EQ(written, GetParam().bytes);
    EXPECT_EQ(text.out + text.err, "");
}

const std::string sixtyFour = " 1112131415161718 191a1b1c1d1e1f20 2122232425262728 292a2b2c2d2e2f30"
                              " 3132333435363738 393a3b3c3d3e3f40 4142434445464748 494a4b4c4d4e4f50";

// Identifier (little-endian here and on the target), length, flags, two reserved bytes, payload.
INSTANTIATE_TEST_SUITE_P(
    Classic, FrameWriterFrame,
    testing::Values(
        sent_t{"standard", false, false, messageOf(CT_STANDARD, 0x123, 3),
               "2301000003000000 1112130000000000"},
        sent_t{"full", false, false, messageOf(CT_STANDARD, 0x7FF, 8), "ff07000008000000 1112131415161718"},
        sent_t{"empty", false, false, messageOf(CT_STANDARD, 1, 0), "0100000000000000 0000000000000000"},
        sent_t{"extended", false, false, messageOf(CT_EXTENDED, 0x123, 1),
               "2301008001000000 1100000000000000"},
        // The flag means an FD frame, which 16 bytes are not; it is set all the same.
        sent_t{"bit_rate_switch", false, true, messageOf(CT_STANDARD, 0x123, 1),
               "2301000001010000 1100000000000000"},
        sent_t{"twelve_bytes", false, false, messageOf(CT_STANDARD, 0x123, 12),
               "230100000c000000 1112131415161718"},
        sent_t{"remote", false, false, messageOf(CT_STANDARD, 0x123, 4, CF_TXREQUEST),
               "2301004004000000 0000000000000000"},
        sent_t{"remote_extended", false, false, messageOf(CT_EXTENDED, 0x123, 4, CF_TXREQUEST),
               "230100c004000000 0000000000000000"},
        sent_t{"error", false, false, messageOf(CT_STANDARD, 0x123, 1, CF_ERROR, CSE_CRC),
               "2301000001000000 1100000000000000"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Fd, FrameWriterFrame,
    testing::Values(
        sent_t{"standard", true, false, messageOf(CT_STANDARD, 0x123, 3),
               "2301000003000000 1112130000000000" + zeros(7)},
        sent_t{"full", true, false, messageOf(CT_STANDARD, 0x123, 64), "2301000040000000" + sixtyFour},
        sent_t{"bit_rate_switch", true, true, messageOf(CT_EXTENDED, 0x123, 1),
               "2301008001010000 1100000000000000" + zeros(7)},
        // Only the device decides about the frame's flags.
        sent_t{"flags_of_the_message", true, false, messageOf(CT_STANDARD, 0x123, 1, CF_STANDARD, 0xC0),
               "2301000001000000 1100000000000000" + zeros(7)},
        // The extended flag is for CT_EXTENDED alone: intended.
        sent_t{"fd_extended", true, false, messageOf(CT_FD_EXTENDED, 0x12345, 1),
               "4523010001000000 1100000000000000" + zeros(7)},
        sent_t{"remote", true, false, messageOf(CT_STANDARD, 0x123, 64, CF_TXREQUEST),
               "2301004040000000" + zeros(8)}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(FrameWriter, DoesNotSendWhatAnEarlierPayloadLeftBehindTheLatest) {
    CANExtTraceMessage message = messageOf(CT_STANDARD, 0x123, 64);
    const std::uint8_t two[] = {0xAA, 0xBB};
    message.setDataBytes(two, sizeof two);
    settings.canFd = true;
    send(message);

    EXPECT_EQ(written, "2301000002000000 aabb000000000000" + zeros(7));
}

namespace {

class FrameWriterQuiet : public FrameWriter, public testing::WithParamInterface<unsigned short> {};

} // namespace

TEST_P(FrameWriterQuiet, FormatsNothingAndTakesNoMemory) {
    for (const bool canFd : {false, true}) {
        settings.canFd = canFd;
        const std::unique_ptr<CanDevice> device = make(GetParam());
        const CANExtTraceMessage message = messageOf(CT_STANDARD, 0x123, 8);
        std::size_t allocated = 1;
        const Captured text = captured([&] {
            allocated = allocations::during([&] { CanDeviceTestAccess::sendCAN(*device, message); });
        });

        EXPECT_EQ(allocated, 0U);
        EXPECT_EQ(text.out + text.err, "");
    }
    EXPECT_EQ(writes, 2);
}

INSTANTIATE_TEST_SUITE_P(Levels, FrameWriterQuiet, testing::Values(0, 1));

TEST_F(FrameWriter, ShowsTheMessageAndTheFramesBytesFromVerbosityTwoOn) {
    for (const unsigned short verbose : {std::uint16_t{2}, std::uint16_t{3}}) {
        const Captured text =
            captured([&] { EXPECT_EQ(send(messageOf(CT_STANDARD, 0x123, 3), verbose), 0); });

        EXPECT_EQ(text.out, "[DEBUG] BZ::sendCAN() send: 12:34:56.000789 ch2 123#111213\n"
                            "raw\n"
                            "23 01 00 00 03 00 00 00 11 12 13 00 00 00 00 00  |#...............|\n");
        EXPECT_EQ(text.err, "");
    }
}

TEST_F(FrameWriter, DumpsAnFdFrameInLinesOfSixteenBytes) {
    settings.canFd = true;
    settings.brs = true;
    const Captured text = captured([&] { send(messageOf(CT_EXTENDED, 0x12345678, 64), 2); });

    EXPECT_EQ(text.out, "[DEBUG] BZ::sendCAN() send: 12:34:56.000789 ch2 12345678##0"
                        "1112131415161718191A1B1C1D1E1F202122232425262728292A2B2C2D2E2F30"
                        "3132333435363738393A3B3C3D3E3F404142434445464748494A4B4C4D4E4F50\n"
                        "raw\n"
                        "78 56 34 92 40 01 00 00 11 12 13 14 15 16 17 18  |xV4.@...........|\n"
                        "19 1a 1b 1c 1d 1e 1f 20 21 22 23 24 25 26 27 28  |....... !\"#$%&'(|\n"
                        "29 2a 2b 2c 2d 2e 2f 30 31 32 33 34 35 36 37 38  |)*+,-./012345678|\n"
                        "39 3a 3b 3c 3d 3e 3f 40 41 42 43 44 45 46 47 48  |9:;<=>?@ABCDEFGH|\n"
                        "49 4a 4b 4c 4d 4e 4f 50                          |IJKLMNOP|\n");
}

TEST_F(FrameWriter, NeverHoldsBothLocksAndNoneForTheDump) {
    watch = true;
    const LockProbe probe(std::cout);
    send(messageOf(CT_STANDARD, 0x123, 3), 2);

    ASSERT_EQ(probe.pieces.size(), 2U) << "the line and the dump are one insertion each";
    EXPECT_TRUE(probe.pieces.front().locks.log);
    EXPECT_FALSE(probe.pieces.front().locks.device);
    EXPECT_FALSE(probe.pieces.back().locks.log);
    EXPECT_FALSE(probe.pieces.back().locks.device);
    EXPECT_TRUE(locks.device) << "during the write";
    EXPECT_FALSE(locks.log);
}
