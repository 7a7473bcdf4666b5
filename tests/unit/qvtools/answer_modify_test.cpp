// A received frame turned into its answer: identifier complemented, payload inverted below the length code.

#include "tests/fakes/recordof.h"
#include "tests/unit/qvtools/framewriter.h"

#include <tuple>

namespace {

/// The length codes of ISO 11898-1 for the byte counts a frame can have.
int lengthCode(int bytes) {
    const int counts[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};
    int code = 0;
    while (counts[code] < bytes) {
        ++code;
    }
    return code;
}

typedef std::tuple<cantype_t, canframe_t> kind_t;

class AnswerKind : public testing::TestWithParam<kind_t> {
protected:
    static CANExtTraceMessage message(std::uint8_t length) {
        return messageOf(std::get<0>(GetParam()), 0x123, length, std::get<1>(GetParam()), CSE_CRC);
    }
};

} // namespace

TEST_P(AnswerKind, InvertsThePayloadBelowTheLengthCodeAndChangesNothingElse) {
    const cantype_t width = std::get<0>(GetParam());
    const bool extended = width == CT_EXTENDED || width == CT_FD_EXTENDED;
    for (std::uint8_t length = 0; length <= 64; ++length) {
        const CANExtTraceMessage before = message(length);
        CANExtTraceMessage answer = before;
        CanDeviceTestAccess::modify(answer, CanDevice::A_YES);

        EXPECT_EQ(answer.getCanId(), extended ? 0x1FFFFEDCU : 0x6DCU);
        for (int i = 0; i < 64; ++i) {
            const unsigned int mask = i < lengthCode(length) ? 0xFFU : 0;
            ASSERT_EQ(answer.getDataBytes()[i], before.getDataBytes()[i] ^ mask)
                << "byte " << i << " of " << int{length};
        }
        answer.setCanId(0x123);
        EXPECT_EQ(answer.getNumDataBytes(), length);
        EXPECT_EQ(std::make_tuple(answer.getCanType(), answer.getType(), answer.getStatus()),
                  std::make_tuple(width, std::get<1>(GetParam()), std::uint8_t{CSE_CRC}));
        EXPECT_EQ(std::make_tuple(answer.getChannel(), answer.getTimeStamp(), answer.getMessageId()),
                  std::make_tuple(2, timeStamp_t{45296000789}, MSGID_CAN_EXT));
    }
}

TEST_P(AnswerKind, IsLeftAloneWithoutAnAnswer) {
    for (std::uint8_t length = 0; length <= 64; ++length) {
        CANExtTraceMessage answer = message(length);
        const byteVec_t before = recordOf(answer);
        CanDeviceTestAccess::modify(answer, CanDevice::A_NO);

        EXPECT_EQ(recordOf(answer), before);
    }
}

TEST_P(AnswerKind, IsItselfAgainWhenTheAnswerIsAnswered) {
    for (std::uint8_t length = 0; length <= 64; ++length) {
        CANExtTraceMessage answer = message(length);
        CanDeviceTestAccess::modify(answer, CanDevice::A_YES);
        CanDeviceTestAccess::modify(answer, CanDevice::A_YES);

        EXPECT_EQ(recordOf(answer), recordOf(message(length)));
    }
}

INSTANTIATE_TEST_SUITE_P(All, AnswerKind,
                         testing::Combine(testing::Values(CT_STANDARD, CT_EXTENDED, CT_FD_STANDARD,
                                                          CT_FD_EXTENDED),
                                          testing::Values(CF_STANDARD, CF_ERROR, CF_TXMESSAGE, CF_TXREQUEST)),
                         [](const auto& row) {
                             return "type" + std::to_string(std::get<0>(row.param)) + "_frame" +
                                    std::to_string(std::get<1>(row.param));
                         });

namespace {

struct identifier_t {
    const char* name;
    cantype_t width;
    std::uint32_t canId;
    std::uint32_t answer;
};

class AnswerIdentifier : public testing::TestWithParam<identifier_t> {};

} // namespace

TEST_P(AnswerIdentifier, IsTheComplementWithinItsWidth) {
    CANExtTraceMessage answer = messageOf(GetParam().width, GetParam().canId, 0);
    CanDeviceTestAccess::modify(answer, CanDevice::A_YES);

    EXPECT_EQ(answer.getCanId(), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(Rows, AnswerIdentifier,
                         testing::Values(identifier_t{"standard", CT_STANDARD, 0x123, 0x6DC},
                                         identifier_t{"standard_zero", CT_STANDARD, 0, 0x7FF},
                                         identifier_t{"standard_highest", CT_STANDARD, 0x7FF, 0},
                                         identifier_t{"extended", CT_EXTENDED, 1, 0x1FFFFFFE},
                                         identifier_t{"extended_zero", CT_EXTENDED, 0, 0x1FFFFFFF},
                                         identifier_t{"extended_highest", CT_EXTENDED, 0x1FFFFFFF, 0},
                                         identifier_t{"extended_of_11_bits", CT_EXTENDED, 0x7FF, 0x1FFFF800},
                                         identifier_t{"fd_standard_highest", CT_FD_STANDARD, 0x7FF, 0},
                                         identifier_t{"fd_extended_highest", CT_FD_EXTENDED, 0x1FFFFFFF, 0}),
                         [](const auto& row) { return std::string(row.param.name); });
