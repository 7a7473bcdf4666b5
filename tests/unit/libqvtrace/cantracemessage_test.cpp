// The older kind MSGID_CAN: classic frames of at most 8 bytes.

#include "libqvtrace/cantracemessage.h"
#include "tests/unit/libqvtrace/tracebytes.h"

#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

fields_t classic(std::size_t n, unsigned int canType = CT_STANDARD) {
    return {1000000, 0, CF_STANDARD, 0, canType, 0x123, counting(n)};
}

} // namespace

TEST(CANTraceMessage, IsRebuiltFromItsRecord) {
    for (std::size_t n = 0; n <= 8; ++n) {
        for (const unsigned int canType : {CT_STANDARD, CT_EXTENDED}) {
            const byteVec_t body = classic(n, canType).body();
            const auto message = rebuilt(MSGID_CAN, body);
            ASSERT_NE(dynamic_cast<CANTraceMessage*>(message.get()), nullptr);
            EXPECT_EQ(message->getMessageId(), MSGID_CAN);
            EXPECT_EQ(message->getTimeStamp(), 1000000U);
            EXPECT_EQ(hexOf(recordOf(*message)), hexOf(recordOf(MSGID_CAN, body)));
        }
    }
}

TEST(CANTraceMessage, IsNoneOfTheKindThatTheToolTakes) {
    const auto message = rebuilt(MSGID_CAN, classic(8).body());
    EXPECT_EQ(dynamic_cast<CANExtTraceMessage*>(message.get()), nullptr);
}

TEST(CANTraceMessage, HasNoFdFrames) {
    EXPECT_EQ(rebuilt(MSGID_CAN, classic(9).body()), nullptr);
    EXPECT_EQ(rebuilt(MSGID_CAN, classic(64).body()), nullptr);
    EXPECT_EQ(rebuilt(MSGID_CAN, classic(8, CT_FD_STANDARD).body()), nullptr);
    EXPECT_EQ(rebuilt(MSGID_CAN, classic(8, CT_FD_EXTENDED).body()), nullptr);
}

TEST(CANTraceMessage, StaysAsItWasWhenABodyIsRefused) {
    CANTraceMessage message;
    ASSERT_TRUE(message.readBody(classic(3).body().data(), classic(3).body().size()));
    const std::string before = hexOf(recordOf(message));
    EXPECT_FALSE(message.readBody(classic(9).body().data(), classic(9).body().size()));
    EXPECT_EQ(hexOf(recordOf(message)), before);
}

TEST(CANTraceMessage, PrintsLikeAnyCanMessage) {
    const auto message = rebuilt(MSGID_CAN, classic(2, CT_EXTENDED).body());
    std::ostringstream out;
    message->print(out);
    EXPECT_EQ(out.str(), "00:00:01.000000 ch0 00000123#0001");
    EXPECT_STREQ(message->getName(), "classic CAN");
}
