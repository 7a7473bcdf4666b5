// The message as a value: constructors, copies, and its life behind a pointer to the base.

#include "libqvtrace/canexttracemessage.h"
#include "tests/unit/libqvtrace/tracebytes.h"

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

static_assert(std::has_virtual_destructor<MessageBase>::value, "messages are deleted through their base");
static_assert(std::is_base_of<MessageBase, CANTraceMessageBase>::value, "a CAN message is a message");
static_assert(std::is_base_of<CANTraceMessageBase, CANExtTraceMessage>::value,
              "and this one is a CAN message");

namespace {

std::string payloadTextOf(const CANExtTraceMessage& message) {
    return hexOf({message.getDataBytes(), message.getDataBytes() + 64});
}

/// A message with a value in every field, and bytes behind its payload.
CANExtTraceMessage full() {
    CANExtTraceMessage message(0x0102030405060708, 9, CF_ERROR, CSE_CRC, CT_FD_EXTENDED, 64, 0x1ABCDEF0,
                               counting(64).data());
    message.setDataBytes(counting(64).data(), 12);
    message.setText("a note too long for the place that a short string has in itself");
    return message;
}

void expectFull(const CANExtTraceMessage& message) {
    EXPECT_EQ(message.getMessageId(), MSGID_CAN_EXT);
    EXPECT_EQ(message.getTimeStamp(), 0x0102030405060708U);
    EXPECT_EQ(message.getChannel(), 9);
    EXPECT_EQ(message.getType(), CF_ERROR);
    EXPECT_EQ(message.getStatus(), CSE_CRC);
    EXPECT_EQ(message.getCanType(), CT_FD_EXTENDED);
    EXPECT_EQ(message.getNumDataBytes(), 12);
    EXPECT_EQ(message.getCanId(), 0x1ABCDEF0U);
    EXPECT_EQ(payloadTextOf(message), hexOf(counting(64)));
    EXPECT_EQ(message.getText(), "a note too long for the place that a short string has in itself");
}

void overwrite(CANExtTraceMessage& message) {
    message.setTimeStamp(0);
    message.setCanId(0);
    message.setText("");
    std::fill_n(message.getDataBytes(), 64, std::uint8_t{0xEE});
}

} // namespace

TEST(CANExtTraceMessage, IsExtendedEmptyAndZeroByDefault) {
    const CANExtTraceMessage message;
    EXPECT_EQ(message.getMessageId(), MSGID_CAN_EXT);
    EXPECT_EQ(message.getTimeStamp(), 0U);
    EXPECT_EQ(message.getChannel(), 0);
    EXPECT_EQ(message.getType(), CF_STANDARD);
    EXPECT_EQ(message.getStatus(), 0);
    EXPECT_EQ(message.getCanType(), CT_EXTENDED);
    EXPECT_EQ(message.getNumDataBytes(), 0);
    EXPECT_EQ(message.getDlc(), 0);
    EXPECT_EQ(message.getCanId(), 0U);
    EXPECT_EQ(payloadTextOf(message), hexOf(byteVec_t(64, 0)));
    EXPECT_EQ(message.getText(), "");
}

TEST(CANExtTraceMessage, StoresWhatItsConstructorIsGiven) {
    expectFull(full());
}

TEST(CANExtTraceMessage, HasZeroBehindTheBytesOfItsConstructor) {
    const CANExtTraceMessage message(0, 0, CF_STANDARD, CSE_NO, CT_STANDARD, 3, 0x123,
                                     byteVec_t(64, 7).data());
    EXPECT_EQ(payloadTextOf(message), hexOf(byteVec_t(3, 7) + byteVec_t(61, 0)));
}

TEST(CANExtTraceMessage, CutsALengthAbove64ToIt) {
    const byteVec_t data = counting(255);
    const CANExtTraceMessage message(0, 0, CF_STANDARD, CSE_NO, CT_STANDARD, 255, 0x123, data.data());
    EXPECT_EQ(message.getNumDataBytes(), 64);
    EXPECT_EQ(payloadTextOf(message), hexOf(counting(64)));
}

TEST(CANExtTraceMessage, TakesTimeAndChannelBesideAFrame) {
    canfd_frame frame{};
    frame.can_id = 0x123;
    const CANExtTraceMessage message(86400000001, 255, frame);
    EXPECT_EQ(message.getMessageId(), MSGID_CAN_EXT);
    EXPECT_EQ(message.getTimeStamp(), 86400000001U);
    EXPECT_EQ(message.getChannel(), 255);
}

TEST(CANExtTraceMessage, ChangesItsTimeStampWhenTold) {
    CANExtTraceMessage message;
    message.setTimeStamp(0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(message.getTimeStamp(), 0xFFFFFFFFFFFFFFFFU);
}

TEST(CANExtTraceMessage, IsCopiedDeeply) {
    CANExtTraceMessage original = full();
    CANExtTraceMessage copy(original);
    expectFull(copy);

    overwrite(original);
    expectFull(copy);
    overwrite(copy);
    EXPECT_EQ(payloadTextOf(full()), hexOf(counting(64)));
}

TEST(CANExtTraceMessage, IsAssignedDeeply) {
    CANExtTraceMessage original = full();
    CANExtTraceMessage copy;
    copy = original;
    overwrite(original);
    expectFull(copy);
}

TEST(CANExtTraceMessage, IsDestroyedWholeThroughItsBase) {
    // The address sanitizer would tell of the note, which is on the heap.
    struct Counted : CANExtTraceMessage {
        explicit Counted(int& _destroyed) : CANExtTraceMessage(full()), destroyed(_destroyed) {}
        Counted(const Counted&) = delete;
        Counted& operator=(const Counted&) = delete;
        ~Counted() override { ++destroyed; }
        int& destroyed;
    };
    int destroyed = 0;
    std::unique_ptr<MessageBase> message = std::make_unique<Counted>(destroyed);
    message.reset();
    EXPECT_EQ(destroyed, 1);
}

TEST(CANExtTraceMessage, PrintsTheSameThroughItsBaseAndItsOperator) {
    const CANExtTraceMessage message = full();
    const MessageBase& base = message;
    std::ostringstream byPrint;
    std::ostringstream byOperator;
    EXPECT_EQ(&base.print(byPrint), &byPrint);
    EXPECT_EQ(&(byOperator << message), &byOperator);
    EXPECT_EQ(byOperator.str(), byPrint.str());
    EXPECT_EQ(byPrint.str(), "22:23:10.382856 ch9 1ABCDEF0##0000102030405060708090A0B error=crc");
}
