// What all messages share: the family's registry, kinds that nobody registered, and the values that others
// rely on.

#include "libqvtrace/messagebase.h"
#include "tests/unit/libqvtrace/tracebytes.h"

#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

static_assert(MSGID_CAN == 1 && MSGID_CAN_EXT == 11 && MSGID_INVALID == 65535, "kinds of the family");
static_assert(sizeof(msgid_t) == 2 && sizeof(timeStamp_t) == 8, "widths of the record's fields");
static_assert(IMH_RETURN_NULL == 0 && IMH_RETURN_INVALID_MESSAGE == 1, "invalidMsgHandling_t");
static_assert(CF_STANDARD == 0 && CF_ERROR == 1 && CF_TXMESSAGE == 2 && CF_TXREQUEST == 3 && CF_NUM == 4,
              "canframe_t");
static_assert(CT_STANDARD == 0 && CT_EXTENDED == 1 && CT_FD_STANDARD == 2 && CT_FD_EXTENDED == 3,
              "cantype_t");
static_assert(CSE_NO == 0 && CSE_STUFF == 1 && CSE_FORMAT == 2 && CSE_ACKNOWLEDGE == 3 && CSE_BIT1 == 4 &&
                  CSE_BIT0 == 5 && CSE_CRC == 6 && CSE_OVERRUN == 7 && CSE_NUM == 8,
              "canstaterr_t");
static_assert(sizeof(canframe_t) == 4 && sizeof(cantype_t) == 4, "enumerations of 32 bits");

namespace {

const unsigned int unknownKind = 500;

/// Restores what becomes of unknown kinds.
class Handling {
public:
    explicit Handling(invalidMsgHandling_t handling) : before(MessageBase::invalidHandling) {
        MessageBase::invalidHandling = handling;
    }
    ~Handling() { MessageBase::invalidHandling = before; }
    Handling(const Handling&) = delete;
    Handling& operator=(const Handling&) = delete;

private:
    invalidMsgHandling_t before;
};

/// The place of a virtual function: under the Itanium ABI, which this target follows too, a pointer to it
/// holds its offset in the table.
template<typename Function>
std::size_t slotOf(Function function) {
    std::size_t offset;
    std::memcpy(&offset, &function, sizeof offset);
    return offset / sizeof(void*);
}

std::string textOf(const MessageBase& message) {
    std::ostringstream out;
    EXPECT_EQ(&message.print(out), &out);
    return out.str();
}

} // namespace

TEST(MessageBase, HasItsSizeInSlotFourAndItsTextInSlotSix) {
    EXPECT_EQ(slotOf(&MessageBase::getSize), 4U);
    EXPECT_EQ(slotOf(&MessageBase::print), 6U);
    EXPECT_EQ(slotOf(&CANTraceMessageBase::getSize), 4U);
    EXPECT_EQ(slotOf(&CANTraceMessageBase::print), 6U);
    EXPECT_EQ(slotOf(&MessageBase::appendBody), 2U); // behind the two forms of the destructor
}

TEST(MessageBase, HasTheStaticValuesOfTheFamily) {
    EXPECT_EQ(MessageBase::version, 1);
    EXPECT_EQ(MessageBase::invalidHandling, IMH_RETURN_NULL);
    EXPECT_EQ(CANTraceMessageBase::FD_ESI_MASK, 0x80);
    EXPECT_EQ(CANTraceMessageBase::FD_BRS_MASK, 0x40);
    EXPECT_EQ(CANTraceMessageBase::CANSTATERR_MASK, 0x0F);
}

TEST(MessageBase, KeepsKindAndTimeStamp) {
    MessageBase message(static_cast<msgid_t>(unknownKind), 7);
    EXPECT_EQ(message.getMessageId(), unknownKind);
    EXPECT_EQ(message.getTimeStamp(), 7U);
    EXPECT_EQ(message.getSize(), 0U);
    message.setTimeStamp(8);
    EXPECT_EQ(message.getTimeStamp(), 8U);
}

TEST(MessageBase, CopiesItsBytesAndItsNoteDeeply) {
    const Handling handling(IMH_RETURN_INVALID_MESSAGE);
    const auto original = rebuilt(unknownKind, counting(40));
    ASSERT_NE(original, nullptr);
    original->setText("note");
    const MessageBase copy(*original);
    ASSERT_TRUE(original->readBody(nullptr, 0));
    original->setText("");

    EXPECT_EQ(hexOf(recordOf(copy)), hexOf(recordOf(unknownKind, counting(40))));
    EXPECT_EQ(copy.getText(), "note");
    EXPECT_EQ(original->getSize(), 0U);
}

TEST(Registry, KnowsBothCanKindsAndNoOther) {
    MessageBase::registerMessages();
    MessageBase::registerMessages(); // may be called again
    for (unsigned int kind = 0; kind <= MSGID_INVALID; ++kind) {
        ASSERT_EQ(MessageBase::isRegistered(static_cast<msgid_t>(kind)),
                  kind == MSGID_CAN || kind == MSGID_CAN_EXT)
            << kind;
    }
}

TEST(UnknownKind, IsRebuiltAsNothingUnlessAsked) {
    for (const unsigned int kind : {0U, 2U, 10U, 12U, unknownKind, 65535U}) {
        EXPECT_EQ(rebuilt(kind, counting(16)), nullptr) << kind;
    }
}

TEST(UnknownKind, IsRebuiltAsAPlainMessageWhenAsked) {
    const Handling handling(IMH_RETURN_INVALID_MESSAGE);
    for (const unsigned int kind : {0U, 2U, 10U, 12U, unknownKind, 65535U}) {
        for (const std::size_t n : {0U, 1U, 1024U}) {
            const auto message = rebuilt(kind, counting(n));
            ASSERT_NE(message, nullptr) << kind;
            EXPECT_EQ(message->getMessageId(), kind);
            EXPECT_EQ(message->getSize(), n);
            EXPECT_EQ(recordOf(*message), recordOf(kind, counting(n)));
        }
    }
}

TEST(UnknownKind, HasNoBodyBeyondTheLongest) {
    const Handling handling(IMH_RETURN_INVALID_MESSAGE);
    EXPECT_EQ(rebuilt(unknownKind, counting(1025)), nullptr);
}

TEST(UnknownKind, DoesNotChangeWhatBecomesOfKnownOnes) {
    const Handling handling(IMH_RETURN_INVALID_MESSAGE);
    EXPECT_NE(dynamic_cast<CANExtTraceMessage*>(rebuilt(MSGID_CAN_EXT, fields_t().body()).get()), nullptr);
    EXPECT_EQ(rebuilt(MSGID_CAN_EXT, counting(3)), nullptr);
}

TEST(UnknownKind, PrintsKindSizeAndBytesOnOneLine) {
    const Handling handling(IMH_RETURN_INVALID_MESSAGE);
    EXPECT_EQ(textOf(*rebuilt(unknownKind, bytesOf("00 ab 7f"))), "message of kind 500, 3 bytes 00 AB 7F");
    EXPECT_EQ(textOf(*rebuilt(unknownKind, {})), "message of kind 500, 0 bytes");
}
