// Between messages and the kernel's canfd_frame.

#include "tests/unit/libqvtrace/tracebytes.h"

#include <algorithm>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <linux/can.h>

namespace {

/// All 72 bytes, as they cross a socket.
std::string wire(const canfd_frame& frame) {
    byteVec_t bytes(sizeof frame);
    std::memcpy(bytes.data(), &frame, sizeof frame);
    return hexOf(bytes);
}

canfd_frame frameOf(std::uint32_t canId, const byteVec_t& data) {
    canfd_frame frame{};
    frame.can_id = canId;
    frame.len = static_cast<std::uint8_t>(data.size());
    std::copy(data.begin(), data.end(), frame.data);
    return frame;
}

CANExtTraceMessage messageOf(canframe_t type, cantype_t canType, std::uint32_t id,
                             const byteVec_t& data = counting(8)) {
    return CANExtTraceMessage(0, 0, type, CSE_NO, canType, static_cast<std::uint8_t>(data.size()), id,
                              data.data());
}

struct identifier_t {
    const char* name;
    canframe_t type;
    cantype_t canType;
    std::uint32_t canId; ///< of the frame made from identifier 0x123
};

} // namespace

class FrameIdentifier : public testing::TestWithParam<identifier_t> {};

TEST_P(FrameIdentifier, HasTheFlagsOfTypeAndWidth) {
    const identifier_t& row = GetParam();
    EXPECT_EQ(messageOf(row.type, row.canType, 0x123).getCanFdFrame().can_id, row.canId);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FrameIdentifier,
    testing::Values(identifier_t{"standard", CF_STANDARD, CT_STANDARD, 0x123},
                    identifier_t{"extended", CF_STANDARD, CT_EXTENDED, 0x80000123},
                    identifier_t{"fd_standard", CF_STANDARD, CT_FD_STANDARD, 0x123},
                    identifier_t{"fd_extended_gets_no_flag", CF_STANDARD, CT_FD_EXTENDED, 0x123},
                    identifier_t{"remote_standard", CF_TXREQUEST, CT_STANDARD, 0x40000123},
                    identifier_t{"remote_extended", CF_TXREQUEST, CT_EXTENDED, 0xC0000123},
                    identifier_t{"remote_fd_extended", CF_TXREQUEST, CT_FD_EXTENDED, 0x40000123},
                    identifier_t{"error_frame_gets_no_flag", CF_ERROR, CT_STANDARD, 0x123},
                    identifier_t{"own_frame_extended", CF_TXMESSAGE, CT_EXTENDED, 0x80000123}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Frame, HoldsThePayloadAndZeroesEverythingBehindIt) {
    for (std::size_t n = 0; n <= 64; ++n) {
        CANExtTraceMessage message = messageOf(CF_STANDARD, CT_STANDARD, 0x123, byteVec_t(64, 0xEE));
        message.setDataBytes(counting(n).data(), n); // the bytes behind it stay 0xEE in the message
        EXPECT_EQ(wire(message.getCanFdFrame()), wire(frameOf(0x123, counting(n)))) << n;
    }
}

TEST(Frame, OfARemoteRequestKeepsTheLengthAndHasNoPayload) {
    const CANExtTraceMessage message = messageOf(CF_TXREQUEST, CT_STANDARD, 0x123, counting(8));
    EXPECT_EQ(wire(message.getCanFdFrame()), wire(frameOf(0x40000123, byteVec_t(8, 0))));
}

TEST(Frame, TakesNoFdFlagsFromTheStatus) {
    fields_t fields;
    fields.status = CANTraceMessageBase::FD_BRS_MASK | CANTraceMessageBase::FD_ESI_MASK;
    fields.canType = CT_FD_STANDARD;
    const auto message = rebuilt(MSGID_CAN_EXT, fields.body());
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(dynamic_cast<CANExtTraceMessage&>(*message).getCanFdFrame().flags, 0);
}

TEST(Frame, GoesIntoAMessageAndComesBackTheSame) {
    Numbers numbers(2);
    for (int i = 0; i < 2000; ++i) {
        const bool extended = numbers.below(2) == 1;
        const bool remote = numbers.below(4) == 0;
        const std::uint32_t id = numbers.any() & (extended ? CAN_EFF_MASK : CAN_SFF_MASK);
        byteVec_t data = numbers.bytes(numbers.below(65));
        if (remote) {
            std::fill(data.begin(), data.end(), std::uint8_t{0});
        }
        const canfd_frame frame =
            frameOf(id | (extended ? CAN_EFF_FLAG : 0U) | (remote ? CAN_RTR_FLAG : 0U), data);

        const CANExtTraceMessage message(77, 3, frame);
        ASSERT_EQ(wire(message.getCanFdFrame()), wire(frame));
        ASSERT_EQ(message.getType(), remote ? CF_TXREQUEST : CF_STANDARD);
        ASSERT_EQ(message.getCanType(), extended ? CT_EXTENDED : CT_STANDARD);
        ASSERT_EQ(message.getStatus(), 0);
    }
}

TEST(Message, ComesBackFromItsFrameExceptForTheFdTypeAndTheKindOfFrame) {
    Numbers numbers(3);
    for (int i = 0; i < 2000; ++i) {
        const fields_t f = numbers.fields();
        const auto there = rebuilt(MSGID_CAN_EXT, f.body());
        ASSERT_NE(there, nullptr);
        const auto& sent = dynamic_cast<CANExtTraceMessage&>(*there);
        const CANExtTraceMessage back(f.time, static_cast<std::uint8_t>(f.channel), sent.getCanFdFrame());

        // An FD identifier of 29 bits crosses without its flag and so keeps 11 of them.
        const bool extended = f.canType == CT_EXTENDED;
        ASSERT_EQ(back.getCanId(), extended ? f.id : f.id & 0x7FFU);
        ASSERT_EQ(back.getCanType(), extended ? CT_EXTENDED : CT_STANDARD);
        ASSERT_EQ(back.getType(), f.type == CF_TXREQUEST ? CF_TXREQUEST : CF_STANDARD);
        ASSERT_EQ(back.getNumDataBytes(), f.data.size());
        ASSERT_EQ(back.getTimeStamp(), f.time);
        ASSERT_EQ(back.getChannel(), f.channel);
    }
}

TEST(MessageFromAFrame, MasksTheIdentifierAndLeavesZero) {
    EXPECT_EQ(CANExtTraceMessage(0, 0, frameOf(0xFFFFFFFF, {})).getCanId(), 0x1FFFFFFFU);
    EXPECT_EQ(CANExtTraceMessage(0, 0, frameOf(0x1FFFF800, {})).getCanId(), 0U);
    EXPECT_EQ(CANExtTraceMessage(0, 0, frameOf(CAN_EFF_FLAG, {})).getCanId(), 0U);
}

TEST(MessageFromAFrame, CutsTheLengthAt64) {
    for (const std::uint32_t flag : {0U, CAN_RTR_FLAG}) {
        canfd_frame frame = frameOf(0x123 | flag, counting(64));
        frame.len = 70;
        EXPECT_EQ(CANExtTraceMessage(0, 0, frame).getNumDataBytes(), 64);
    }
}

TEST(MessageFromAFrame, HasZeroDataForARemoteRequest) {
    const CANExtTraceMessage message(0, 0, frameOf(0x123 | CAN_RTR_FLAG, byteVec_t(8, 0xEE)));
    EXPECT_EQ(message.getNumDataBytes(), 8);
    EXPECT_EQ(hexOf({message.getDataBytes(), message.getDataBytes() + 64}), hexOf(byteVec_t(64, 0)));
}

TEST(MessageFromAFrame, IsNeverOfAnFdTypeAndHasNoStatus) {
    canfd_frame frame = frameOf(0x123, counting(64));
    frame.flags = CANFD_BRS | CANFD_ESI;
    const CANExtTraceMessage message(0, 0, frame);
    EXPECT_EQ(message.getCanType(), CT_STANDARD);
    EXPECT_EQ(message.getStatus(), 0);
}

TEST(MessageFromAFrame, TakesAnErrorFrameForAnOrdinaryOne) {
    const CANExtTraceMessage message(0, 0, frameOf(CAN_ERR_FLAG | 0x123, counting(8)));
    EXPECT_EQ(message.getType(), CF_STANDARD);
    EXPECT_EQ(message.getCanId(), 0x123U);
}
