// The body of a CAN record: every field there and back, and what is no body.

#include "tests/unit/libqvtrace/tracebytes.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

/// Rebuilds a message from `fields`, and holds it and its own record against them.
void expectRoundTrip(const fields_t& fields) {
    const auto rebuiltMessage = rebuilt(MSGID_CAN_EXT, fields.body());
    const auto* const message = dynamic_cast<CANExtTraceMessage*>(rebuiltMessage.get());
    ASSERT_NE(message, nullptr) << hexOf(fields.body());
    ASSERT_EQ(message->getMessageId(), MSGID_CAN_EXT);
    ASSERT_EQ(message->getTimeStamp(), fields.time);
    ASSERT_EQ(message->getChannel(), fields.channel);
    ASSERT_EQ(message->getType(), fields.type);
    ASSERT_EQ(message->getStatus(), fields.status);
    ASSERT_EQ(message->getCanType(), fields.canType);
    ASSERT_EQ(message->getCanId(), fields.id);
    ASSERT_EQ(hexOf({message->getDataBytes(), message->getDataBytes() + message->getNumDataBytes()}),
              hexOf(fields.data));
    ASSERT_EQ(message->getSize(), 16 + fields.data.size());
    ASSERT_EQ(hexOf(recordOf(*message)), hexOf(recordOf(MSGID_CAN_EXT, fields.body())));
}

} // namespace

TEST(CanBody, CarriesEveryValueOfTheEnumerations) {
    for (unsigned int type = 0; type < CF_NUM; ++type) {
        for (unsigned int canType = 0; canType <= CT_FD_EXTENDED; ++canType) {
            for (unsigned int state = 0; state < CSE_NUM; ++state) {
                for (const unsigned int flags : {0x00U, 0x40U, 0x80U, 0xC0U}) {
                    expectRoundTrip({1, 2, type, state | flags, canType, 0x7FF, counting(8)});
                }
            }
        }
    }
}

TEST(CanBody, CarriesEveryLengthAndChannel) {
    for (unsigned int n = 0; n <= 64; ++n) {
        expectRoundTrip({1, 0, CF_STANDARD, 0, CT_FD_STANDARD, 1, counting(n)});
    }
    for (unsigned int channel = 0; channel < 256; ++channel) {
        expectRoundTrip({1, channel, CF_STANDARD, 0, CT_STANDARD, 1, {}});
    }
}

TEST(CanBody, CarriesEveryBitOfTimeAndIdentifier) {
    for (unsigned int bit = 0; bit < 64; ++bit) {
        expectRoundTrip({std::uint64_t{1} << bit, 0, CF_STANDARD, 0, CT_EXTENDED, 1U << bit % 29, {}});
        expectRoundTrip({~(std::uint64_t{1} << bit), 0, CF_STANDARD, 0, CT_STANDARD, 1U << bit % 11, {}});
    }
}

TEST(CanBody, CarriesAnyFrame) {
    Numbers numbers(4);
    for (int i = 0; i < 5000; ++i) {
        expectRoundTrip(numbers.fields());
    }
}

TEST(CanBody, CarriesTheBytesOfARemoteRequest) {
    expectRoundTrip({1, 0, CF_TXREQUEST, 0, CT_STANDARD, 1, counting(8)});
}

namespace {

struct invalid_t {
    const char* name;
    byteVec_t body;
};

byteVec_t with(std::size_t offset, unsigned int value) {
    byteVec_t body = fields_t().body();
    body[offset] = static_cast<std::uint8_t>(value);
    return body;
}

byteVec_t withId(unsigned int canType, std::uint32_t id) {
    return fields_t{1, 0, CF_STANDARD, 0, canType, id, {}}.body();
}

byteVec_t ofSize(std::size_t n) {
    byteVec_t body = fields_t().body();
    body.resize(n);
    return body;
}

} // namespace

class InvalidCanBody : public testing::TestWithParam<invalid_t> {};

TEST_P(InvalidCanBody, IsRefusedAndLeavesTheMessageAsItWas) {
    const byteVec_t& body = GetParam().body;
    EXPECT_EQ(rebuilt(MSGID_CAN_EXT, body), nullptr);
    EXPECT_EQ(rebuilt(MSGID_CAN, body), nullptr);

    CANExtTraceMessage message(5, 6, CF_ERROR, CSE_CRC, CT_FD_EXTENDED, 3, 7, counting(3).data());
    const std::string before = hexOf(recordOf(message));
    EXPECT_FALSE(message.readBody(body.data(), body.size()));
    EXPECT_EQ(hexOf(recordOf(message)), before);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, InvalidCanBody,
    testing::Values(invalid_t{"empty", {}}, invalid_t{"one_byte_short", ofSize(15)},
                    invalid_t{"65_bytes_of_data", ofSize(16 + 65)}, invalid_t{"longest_body", ofSize(1024)},
                    invalid_t{"frame_type_4", with(9, CF_NUM)}, invalid_t{"frame_type_255", with(9, 255)},
                    invalid_t{"error_state_8", with(10, CSE_NUM)},
                    invalid_t{"error_state_15", with(10, 0x0F)}, invalid_t{"status_bit_4", with(10, 0x10)},
                    invalid_t{"status_bit_5", with(10, 0x20)}, invalid_t{"CAN_type_4", with(11, 4)},
                    invalid_t{"CAN_type_255", with(11, 255)},
                    invalid_t{"standard_identifier_of_12_bits", withId(CT_STANDARD, 0x800)},
                    invalid_t{"FD_standard_identifier_of_12_bits", withId(CT_FD_STANDARD, 0x800)},
                    invalid_t{"extended_identifier_of_30_bits", withId(CT_EXTENDED, 0x20000000)},
                    invalid_t{"FD_extended_identifier_with_flag", withId(CT_FD_EXTENDED, 0x80000001)}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(InvalidCanBody, IsEveryOtherValueOfTheEnumerationBytes) {
    for (unsigned int value = 0; value < 256; ++value) {
        EXPECT_EQ(rebuilt(MSGID_CAN_EXT, with(9, value)) != nullptr, value < CF_NUM) << value;
        EXPECT_EQ(rebuilt(MSGID_CAN_EXT, with(10, value)) != nullptr, (value & 0x3FU) < CSE_NUM) << value;
        EXPECT_EQ(rebuilt(MSGID_CAN_EXT, with(11, value)) != nullptr, value <= CT_FD_EXTENDED) << value;
    }
}
