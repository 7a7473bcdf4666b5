// A message as text: time of day, channel, identifier and data as in candump's log form, and what is not
// ordinary about it.

#include "tests/unit/libqvtrace/tracebytes.h"

#include <iomanip>
#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

struct text_t {
    const char* name;
    fields_t fields;
    const char* text; ///< behind the time stamp
};

fields_t withType(unsigned int type, byteVec_t data = {}, unsigned int status = 0) {
    fields_t f;
    f.type = type;
    f.data = std::move(data);
    f.status = status;
    return f;
}

fields_t withCanType(unsigned int canType, std::uint32_t id, byteVec_t data = {}, unsigned int status = 0) {
    fields_t f;
    f.canType = canType;
    f.id = id;
    f.data = std::move(data);
    f.status = status;
    return f;
}

fields_t onChannel(unsigned int channel) {
    fields_t f;
    f.channel = channel;
    return f;
}

std::string textOf(const fields_t& fields) {
    const auto message = rebuilt(MSGID_CAN_EXT, fields.body());
    std::ostringstream out;
    out << dynamic_cast<CANExtTraceMessage&>(*message);
    return out.str();
}

const char* const nineBytes = "00:00:01.000000 ch0 123##0000102030405060708";

} // namespace

class MessageText : public testing::TestWithParam<text_t> {};

TEST_P(MessageText, IsOneLineInCandumpNotation) {
    EXPECT_EQ(textOf(GetParam().fields), std::string("00:00:01.000000 ") + GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MessageText,
    testing::Values(
        text_t{"standard", withCanType(CT_STANDARD, 0x123, {0x11, 0x22}), "ch0 123#1122"},
        text_t{"standard_with_leading_zeros", withCanType(CT_STANDARD, 1, {0x0A}), "ch0 001#0A"},
        text_t{"standard_without_data", withCanType(CT_STANDARD, 0x7FF), "ch0 7FF#"},
        text_t{"extended", withCanType(CT_EXTENDED, 0x1FFFFFFF, {0xAB}), "ch0 1FFFFFFF#AB"},
        text_t{"extended_with_leading_zeros", withCanType(CT_EXTENDED, 0x123), "ch0 00000123#"},
        text_t{"eight_bytes", withCanType(CT_STANDARD, 0x123, counting(8)), "ch0 123#0001020304050607"},
        text_t{"nine_bytes_are_no_classic_frame", withCanType(CT_STANDARD, 0x123, counting(9)),
               "ch0 123##0000102030405060708"},
        text_t{"fd", withCanType(CT_FD_STANDARD, 0x123, {0xAB}), "ch0 123##0AB"},
        text_t{"fd_without_data", withCanType(CT_FD_STANDARD, 0x123), "ch0 123##0"},
        text_t{"fd_bit_rate_switch", withCanType(CT_FD_EXTENDED, 0x1FFFFFFF, {0xAB}, 0x40),
               "ch0 1FFFFFFF##1AB"},
        text_t{"fd_error_state", withCanType(CT_FD_STANDARD, 0x123, {0xAB}, 0x80), "ch0 123##2AB"},
        text_t{"fd_both_flags", withCanType(CT_FD_STANDARD, 0x123, {0xAB}, 0xC0), "ch0 123##3AB"},
        text_t{"fd_flags_of_a_classic_frame_are_not_shown", withCanType(CT_STANDARD, 0x123, {0xAB}, 0xC0),
               "ch0 123#AB"},
        text_t{"remote", withType(CF_TXREQUEST), "ch0 123#R"},
        text_t{"remote_with_length", withType(CF_TXREQUEST, byteVec_t(4)), "ch0 123#R4"},
        text_t{"error_frame", withType(CF_ERROR, {1, 2}, CSE_ACKNOWLEDGE), "ch0 123#0102 error=acknowledge"},
        text_t{"error_frame_without_state", withType(CF_ERROR), "ch0 123# error=no"},
        text_t{"own_frame", withType(CF_TXMESSAGE, {0x11}), "ch0 123#11 tx"},
        text_t{"own_frame_with_error", withType(CF_TXMESSAGE, {0x11}, CSE_BIT0), "ch0 123#11 error=bit0 tx"},
        text_t{"stuff_error", withType(CF_STANDARD, {}, CSE_STUFF), "ch0 123# error=stuff"},
        text_t{"format_error", withType(CF_STANDARD, {}, CSE_FORMAT), "ch0 123# error=format"},
        text_t{"bit_1_error", withType(CF_STANDARD, {}, CSE_BIT1), "ch0 123# error=bit1"},
        text_t{"checksum_error", withType(CF_STANDARD, {}, CSE_CRC), "ch0 123# error=crc"},
        text_t{"overrun", withType(CF_STANDARD, {}, CSE_OVERRUN), "ch0 123# error=overrun"},
        text_t{"channel", onChannel(255), "ch255 123#"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(MessageText, NamesAnErrorStateThatNoRecordCanCarryUnknown) {
    std::ostringstream out;
    out << CANExtTraceMessage(0, 0, CF_ERROR, CSE_NUM, CT_STANDARD, 0, 0x123, byteVec_t(1).data());
    EXPECT_EQ(out.str(), "00:00:00.000000 ch0 123# error=unknown");
}

TEST(MessageText, DoesNotHeedTheFlagsOfTheStream) {
    std::ostringstream out;
    out << std::hex << std::showbase << std::uppercase << std::setfill('*') << std::left << std::showpos;
    fields_t fields = onChannel(31);
    fields.data = counting(9);
    const auto message = rebuilt(MSGID_CAN_EXT, fields.body());
    message->print(out);
    EXPECT_EQ(out.str(), "00:00:01.000000 ch31 123##0000102030405060708");
}

TEST(MessageText, DoesNotChangeTheFlagsOfTheStream) {
    fields_t fields;
    fields.data = counting(9);
    const auto message = rebuilt(MSGID_CAN_EXT, fields.body());
    for (const auto flags :
         {std::ios::fmtflags(), std::ios::dec | std::ios::skipws, std::ios::hex | std::ios::oct}) {
        std::ostringstream out;
        out.flags(flags);
        out.fill('*');
        out.precision(3);
        message->print(out);
        EXPECT_EQ(out.flags(), flags);
        EXPECT_EQ(out.fill(), '*');
        EXPECT_EQ(out.precision(), 3);
        EXPECT_EQ(out.str(), nineBytes);
    }
}

struct moment_t {
    const char* name;
    timeStamp_t time;
    const char* text;
};

class TimeStampText : public testing::TestWithParam<moment_t> {};

TEST_P(TimeStampText, IsATimeOfDayAlsoBeyondMidnight) {
    EXPECT_EQ(MessageBase::printTimestamp(GetParam().time), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, TimeStampText,
                         testing::Values(moment_t{"zero", 0, "00:00:00.000000"},
                                         moment_t{"one_microsecond", 1, "00:00:00.000001"},
                                         moment_t{"just_below_a_second", 999999, "00:00:00.999999"},
                                         moment_t{"second", 1000000, "00:00:01.000000"},
                                         moment_t{"minute", 60000000, "00:01:00.000000"},
                                         moment_t{"hour", 3600000000, "01:00:00.000000"},
                                         moment_t{"last_of_the_day", 86399999999, "23:59:59.999999"},
                                         moment_t{"midnight", 86400000000, "00:00:00.000000"},
                                         moment_t{"next_day", 90061000001, "01:01:01.000001"},
                                         moment_t{"all_bits", 0xFFFFFFFFFFFFFFFF, "08:01:49.551615"}),
                         [](const auto& row) { return std::string(row.param.name); });
