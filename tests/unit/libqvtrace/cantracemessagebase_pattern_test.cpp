// The test pattern in closed form: frame k has the counter c0 + k in bytes 0 to 3, and (i + k) mod 256 in
// byte 4 + i.

#include "tests/unit/libqvtrace/tracebytes.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace {

struct start_t {
    const char* name;
    canframe_t type;
    cantype_t canType;
    std::uint32_t from; ///< identifier that the pattern starts with
    bool fd;
    std::uint32_t frames;
};

byteVec_t expectedPayload(std::uint32_t counter, std::uint32_t frame, std::size_t n) {
    byteVec_t payload;
    appendBigEndian(payload, counter, 4);
    for (std::uint32_t i = 0; payload.size() < n; ++i) {
        payload.push_back(static_cast<std::uint8_t>((i + frame) % 256));
    }
    return payload;
}

std::uint32_t expectedId(std::uint32_t counter, cantype_t canType) {
    const std::uint32_t id = counter % ((canType & 1U) != 0 ? 1U << 29U : 1U << 11U);
    return id == 0 ? 1 : id;
}

byteVec_t payloadOf(const CANExtTraceMessage& message) {
    return {message.getDataBytes(), message.getDataBytes() + message.getNumDataBytes()};
}

void setCounter(CANExtTraceMessage& message, std::uint32_t value) {
    byteVec_t bytes;
    appendBigEndian(bytes, value, 4);
    std::copy(bytes.begin(), bytes.end(), message.getDataBytes());
}

} // namespace

class Pattern : public testing::TestWithParam<start_t> {};

TEST_P(Pattern, CountsInEveryFrame) {
    const start_t& row = GetParam();
    CANExtTraceMessage message;
    message.resetPattern(row.type, row.canType, row.from, row.fd);
    for (std::uint32_t k = 0; k < row.frames; ++k) {
        ASSERT_EQ(message.getCanId(), expectedId(row.from + k, row.canType)) << "frame " << k;
        ASSERT_EQ(payloadOf(message), expectedPayload(row.from + k, k, row.fd ? 64 : 8)) << "frame " << k;
        ASSERT_EQ(message.getType(), row.type);
        ASSERT_EQ(message.getCanType(), row.canType);
        message.mutatePattern();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Starts, Pattern,
    testing::Values(start_t{"whole_wrap_of_11_bits", CF_STANDARD, CT_STANDARD, 0, false, (1U << 11U) + 300},
                    start_t{"whole_wrap_of_11_bits_fd", CF_STANDARD, CT_STANDARD, 0x7FF, true,
                            (1U << 11U) + 300},
                    start_t{"fd_type_standard", CF_STANDARD, CT_FD_STANDARD, 0x700, true, 600},
                    start_t{"wrap_of_29_bits", CF_STANDARD, CT_EXTENDED, 0x1FFFFFFF, false, 600},
                    start_t{"wrap_of_29_bits_fd", CF_STANDARD, CT_FD_EXTENDED, 0x1FFFFF00, true, 600},
                    start_t{"wrap_of_32_bits_extended", CF_STANDARD, CT_EXTENDED, 0xFFFFFF00, true, 600},
                    start_t{"wrap_of_32_bits_standard", CF_STANDARD, CT_STANDARD, 0xFFFFFFFF, false, 600},
                    start_t{"remote_request", CF_TXREQUEST, CT_STANDARD, 0x123, false, 20}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(PatternStart, FromZeroSendsIdentifierOneAndCounterZero) {
    CANExtTraceMessage message;
    message.resetPattern(0, false);
    EXPECT_EQ(message.getCanId(), 1U);
    EXPECT_EQ(hexOf(payloadOf(message)), "00 00 00 00 00 01 02 03");
}

TEST(PatternStart, AtTheHighestStandardIdentifierGoesOnWithOne) {
    CANExtTraceMessage message;
    message.resetPattern(0x7FF, false);
    EXPECT_EQ(hexOf(payloadOf(message)), "00 00 07 ff 00 01 02 03");
    message.mutatePattern();
    EXPECT_EQ(hexOf(payloadOf(message)), "00 00 08 00 01 02 03 04");
    EXPECT_EQ(message.getCanId(), 1U);
}

struct socket_id_t {
    const char* name;
    std::uint32_t socketCanId;
    canframe_t type;
    cantype_t canType;
    std::uint32_t counter;
};

class PatternStartFromSocketCan : public testing::TestWithParam<socket_id_t> {};

TEST_P(PatternStartFromSocketCan, TakesTypeAndWidthFromTheFlags) {
    const socket_id_t& row = GetParam();
    for (const bool fd : {false, true}) {
        CANExtTraceMessage message;
        message.resetPattern(row.socketCanId, fd);
        EXPECT_EQ(message.getType(), row.type);
        EXPECT_EQ(message.getCanType(), row.canType);
        EXPECT_EQ(message.getCanId(), row.counter == 0 ? 1 : row.counter);
        EXPECT_EQ(payloadOf(message), expectedPayload(row.counter, 0, fd ? 64 : 8));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PatternStartFromSocketCan,
    testing::Values(socket_id_t{"standard", 0x123, CF_STANDARD, CT_STANDARD, 0x123},
                    socket_id_t{"extended", 0x80000123, CF_STANDARD, CT_EXTENDED, 0x123},
                    socket_id_t{"extended_zero", 0x80000000, CF_STANDARD, CT_EXTENDED, 0},
                    socket_id_t{"remote", 0x40000123, CF_TXREQUEST, CT_STANDARD, 0x123},
                    socket_id_t{"remote_extended", 0xC0000123, CF_TXREQUEST, CT_EXTENDED, 0x123},
                    socket_id_t{"standard_beyond_11_bits", 0x1FFFF923, CF_STANDARD, CT_STANDARD, 0x123},
                    socket_id_t{"error_flag_is_no_part", 0xA0000123, CF_STANDARD, CT_EXTENDED, 0x123},
                    socket_id_t{"all_bits", 0xFFFFFFFF, CF_TXREQUEST, CT_EXTENDED, 0x1FFFFFFF}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(PatternStart, WithATypeKeepsTheWholeNumberInTheCounter) {
    CANExtTraceMessage message;
    message.resetPattern(CF_STANDARD, CT_STANDARD, 0xFFFFFFFF, false);
    EXPECT_EQ(message.getCanId(), 0x7FFU);
    EXPECT_EQ(hexOf(payloadOf(message)), "ff ff ff ff 00 01 02 03");
}

TEST(PatternStart, ClearsTheStatusAndKeepsTimeAndChannel) {
    CANExtTraceMessage message(5, 3, CF_ERROR, CSE_CRC, CT_FD_STANDARD, 0, 0, byteVec_t(1).data());
    message.resetPattern(0x123, true);
    EXPECT_EQ(message.getStatus(), 0);
    EXPECT_EQ(message.getTimeStamp(), 5U);
    EXPECT_EQ(message.getChannel(), 3);
}

TEST(PatternStep, CountsTheNumberThatStandsInTheFirstFourBytes) {
    CANExtTraceMessage message;
    message.resetPattern(0x80000001, false);
    setCounter(message, 0xFFFFFFFE);
    message.mutatePattern();
    EXPECT_EQ(hexOf(payloadOf(message)), "ff ff ff ff 01 02 03 04");
    EXPECT_EQ(message.getCanId(), 0x1FFFFFFFU);
    message.mutatePattern();
    EXPECT_EQ(hexOf(payloadOf(message)), "00 00 00 00 02 03 04 05");
    EXPECT_EQ(message.getCanId(), 1U);
}

TEST(PatternStep, CarriesNothingFromOneByteToTheNext) {
    for (unsigned int value = 0; value < 256; ++value) {
        for (const std::uint8_t neighbour : {std::uint8_t{0}, std::uint8_t{0x7F}, std::uint8_t{0xFF}}) {
            CANExtTraceMessage message;
            message.resetPattern(0, true);
            for (unsigned int i = 4; i < 64; ++i) {
                message.getDataBytes()[i] = i % 2 == 0 ? static_cast<std::uint8_t>(value) : neighbour;
            }
            message.mutatePattern();
            for (unsigned int i = 4; i < 64; ++i) {
                const unsigned int before = i % 2 == 0 ? value : neighbour;
                ASSERT_EQ(message.getDataBytes()[i], (before + 1) % 256) << value << " byte " << i;
            }
        }
    }
}

TEST(PatternStep, ReachesExactlyTheBytesOfTheCountAndAlwaysTheCounter) {
    for (std::size_t n = 0; n <= 64; ++n) {
        CANExtTraceMessage message(0, 0, CF_STANDARD, CSE_NO, CT_STANDARD, 64, 0x123,
                                   byteVec_t(64, 9).data());
        message.setDataBytes(byteVec_t(64, 9).data(), n);
        message.mutatePattern();

        byteVec_t expected(64, 9);
        expected[3] = 10;
        std::fill(expected.begin() + 4,
                  expected.begin() + static_cast<std::ptrdiff_t>(std::max<std::size_t>(n, 4)),
                  std::uint8_t{10});
        EXPECT_EQ(hexOf({message.getDataBytes(), message.getDataBytes() + 64}), hexOf(expected)) << n;
        EXPECT_EQ(message.getCanId(), 0x0909090AU & 0x7FFU);
        EXPECT_EQ(message.getNumDataBytes(), n);
    }
}
