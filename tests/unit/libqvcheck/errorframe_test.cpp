#include "libqvcheck/errorframe.h"

#include <algorithm>
#include <ostream>
#include <vector>

#include <gtest/gtest.h>
#include <linux/can/error.h>

namespace {

struct row_t {
    const char* name;
    std::uint32_t classes;
    std::vector<std::uint8_t> data;
    errorFrameKind_t kind;
    const char* text;
};

void PrintTo(const row_t& row, std::ostream* out) {
    *out << row.name;
}

receivedFrame_t errorFrame(std::uint32_t classes, const std::vector<std::uint8_t>& data) {
    receivedFrame_t frame{};
    frame.canId = CAN_ERR_FLAG | classes;
    frame.length = static_cast<std::uint8_t>(data.size());
    std::copy(data.begin(), data.end(), frame.data);
    return frame;
}

class ErrorFrame : public ::testing::TestWithParam<row_t> {};

} // namespace

TEST_P(ErrorFrame, IsDecodedAsTheKernelsHeaderSays) {
    const receivedFrame_t frame = errorFrame(GetParam().classes, GetParam().data);
    EXPECT_EQ(errorFrameKind(frame), GetParam().kind);
    EXPECT_EQ(errorFrameText(frame), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    , ErrorFrame,
    ::testing::Values(
        row_t{"transmit_timeout", CAN_ERR_TX_TIMEOUT, {0, 0, 0, 0, 0, 0, 0, 0}, EF_OTHER, "transmit timeout"},
        row_t{"arbitration_lost", CAN_ERR_LOSTARB, {0}, EF_OTHER, "arbitration lost"},
        row_t{"arbitration_lost_in_a_bit", CAN_ERR_LOSTARB, {17}, EF_OTHER, "arbitration lost in bit 17"},
        row_t{"receive_overflow", CAN_ERR_CRTL, {0, 0x01}, EF_OVERFLOW, "controller: receive overflow"},
        row_t{"transmit_overflow", CAN_ERR_CRTL, {0, 0x02}, EF_OTHER, "controller: transmit overflow"},
        row_t{"warnings", CAN_ERR_CRTL, {0, 0x0C}, EF_OTHER, "controller: receive warning, transmit warning"},
        row_t{"receive_passive", CAN_ERR_CRTL, {0, 0x10}, EF_BUS, "controller: receive passive"},
        row_t{"transmit_passive", CAN_ERR_CRTL, {0, 0x20}, EF_BUS, "controller: transmit passive"},
        row_t{"active_again", CAN_ERR_CRTL, {0, 0x40}, EF_OTHER, "controller: error-active"},
        row_t{"overflow_beside_passive",
              CAN_ERR_CRTL,
              {0, 0x11},
              EF_OVERFLOW,
              "controller: receive overflow, receive passive"},
        row_t{"unspecified_controller_trouble", CAN_ERR_CRTL, {0, 0}, EF_OTHER, "controller"},
        row_t{"protocol", CAN_ERR_PROT, {0, 0, 0x04}, EF_BUS, "protocol: stuff"},
        row_t{"protocol_with_a_place",
              CAN_ERR_PROT,
              {0, 0, 0x81, 0x08},
              EF_BUS,
              "protocol: bit, while sending at 08"},
        row_t{"protocol_bits",
              CAN_ERR_PROT,
              {0, 0, 0x7A},
              EF_BUS,
              "protocol: form, dominant bit, recessive bit, overload, active"},
        row_t{"transceiver", CAN_ERR_TRX, {0, 0, 0, 0, 0x74}, EF_BUS, "transceiver 74"},
        row_t{"no_acknowledgment", CAN_ERR_ACK, {}, EF_OTHER, "no acknowledgment"},
        row_t{"bus_off", CAN_ERR_BUSOFF, {}, EF_BUS, "bus-off"},
        row_t{"bus_error", CAN_ERR_BUSERROR, {}, EF_BUS, "bus error"},
        row_t{"restarted", CAN_ERR_RESTARTED, {}, EF_BUS, "restarted"},
        row_t{"counters", CAN_ERR_CNT, {0, 0, 0, 0, 0, 0, 8, 130}, EF_OTHER, "error counters tx 8 rx 130"},
        row_t{"several",
              CAN_ERR_CRTL | CAN_ERR_BUSOFF,
              {0, 0x30},
              EF_BUS,
              "controller: receive passive, transmit passive; bus-off"},
        row_t{"controller_byte_of_another_class", CAN_ERR_ACK, {0, 0x11}, EF_OTHER, "no acknowledgment"},
        row_t{"nothing", 0, {}, EF_OTHER, "no class"}),
    [](const auto& row) { return row.param.name; });

TEST(ErrorFrameOfFewBytes, HasZerosBehindThem) {
    receivedFrame_t frame = errorFrame(CAN_ERR_CRTL, {0, 0x01});
    frame.length = 1; // what lies behind is not meaningful
    EXPECT_EQ(errorFrameKind(frame), EF_OTHER);
}

TEST(ErrorClassName, FollowsTheOrderOfTheBits) {
    EXPECT_EQ(errorClassName(0), "transmit timeout");
    EXPECT_EQ(errorClassName(errorClasses - 1), "error counters");
}
