// Byte counts and length codes (ISO 11898-1, DLC coding), and the payload behind them.

#include "tests/unit/libqvtrace/tracebytes.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace {

const unsigned int codes = 16;

/// The smallest length code that holds `n` bytes, or the highest of all.
unsigned int smallestCodeFor(unsigned int n) {
    unsigned int code = 0;
    while (code < codes - 1 && CANTraceMessageBase::numDlcBytes[code] < n) {
        ++code;
    }
    return code;
}

byteVec_t wholePayloadOf(const CANExtTraceMessage& message) {
    return {message.getDataBytes(), message.getDataBytes() + 64};
}

} // namespace

TEST(LengthCode, StandsForTheByteCountsOfIso11898) {
    const byteVec_t expected = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};
    EXPECT_EQ(byteVec_t(CANTraceMessageBase::numDlcBytes, CANTraceMessageBase::numDlcBytes + codes),
              expected);
}

TEST(LengthCode, IsTheSmallestThatHoldsTheBytesForEveryNumber) {
    for (unsigned int n = 0; n < 256; ++n) {
        EXPECT_EQ(CANTraceMessageBase::numDataBytes2dlc(static_cast<std::uint8_t>(n)), smallestCodeFor(n))
            << n;
    }
}

struct length_t {
    unsigned int bytes;
    unsigned int code;
};

class LengthCodeAtAStep : public testing::TestWithParam<length_t> {};

TEST_P(LengthCodeAtAStep, IsThatOfTheNextLargerSize) {
    const length_t row = GetParam();
    EXPECT_EQ(CANTraceMessageBase::numDataBytes2dlc(static_cast<std::uint8_t>(row.bytes)), row.code);
}

INSTANTIATE_TEST_SUITE_P(Sizes, LengthCodeAtAStep,
                         testing::Values(length_t{0, 0}, length_t{8, 8}, length_t{9, 9}, length_t{12, 9},
                                         length_t{13, 10}, length_t{16, 10}, length_t{17, 11},
                                         length_t{20, 11}, length_t{21, 12}, length_t{24, 12},
                                         length_t{25, 13}, length_t{32, 13}, length_t{33, 14},
                                         length_t{48, 14}, length_t{49, 15}, length_t{64, 15},
                                         length_t{65, 15}, length_t{200, 15}, length_t{255, 15}),
                         [](const auto& row) { return "of_" + std::to_string(row.param.bytes) + "_bytes"; });

TEST(LengthCode, OfAMessageFollowsItsByteCount) {
    const byteVec_t bytes(64);
    CANExtTraceMessage message;
    for (unsigned int n = 0; n <= 64; ++n) {
        message.setDataBytes(bytes.data(), n);
        EXPECT_EQ(message.getDlc(), smallestCodeFor(n)) << n;
    }
}

TEST(DataBytes, OfEachCountUpTo64AreStoredAndTheBytesBehindThemStay) {
    for (std::size_t n = 0; n <= 64; ++n) {
        CANExtTraceMessage message;
        std::fill_n(message.getDataBytes(), 64, std::uint8_t{0xEE});
        message.setDataBytes(counting(n).data(), n);

        byteVec_t expected = counting(n);
        expected.resize(64, 0xEE);
        EXPECT_EQ(message.getNumDataBytes(), n);
        EXPECT_EQ(hexOf(wholePayloadOf(message)), hexOf(expected));
    }
}

TEST(DataBytes, Beyond64AreCutOff) {
    CANExtTraceMessage message;
    message.setDataBytes(counting(70).data(), 70);
    EXPECT_EQ(message.getNumDataBytes(), 64);
    EXPECT_EQ(hexOf(wholePayloadOf(message)), hexOf(counting(64)));
}

TEST(DataBytes, MayBeMoreThanAByteCounts) {
    const byteVec_t many = counting(256 + 5); // 261 modulo 256 would be 5
    CANExtTraceMessage message;
    message.setDataBytes(many.data(), many.size());
    EXPECT_EQ(message.getNumDataBytes(), 64);
}

TEST(DataBytes, OfCountZeroAreNotLookedAt) {
    CANExtTraceMessage message;
    message.setDataBytes(counting(8).data(), 8);
    const std::uint8_t* volatile nowhere = nullptr; // volatile: the thread sanitizer's build would warn
    message.setDataBytes(nowhere, 0);
    EXPECT_EQ(message.getNumDataBytes(), 0);
    EXPECT_EQ(message.getDataBytes()[7], 7);
}

TEST(DataBytes, AreWritableInPlace) {
    CANExtTraceMessage message;
    message.setDataBytes(counting(3).data(), 3);
    message.getDataBytes()[1] = 0xAB;
    EXPECT_EQ(message.getCanFdFrame().data[1], 0xAB);
}
