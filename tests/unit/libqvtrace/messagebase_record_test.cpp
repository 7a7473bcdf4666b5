// Messages as records: bytes that are the same on every width. docs/trace-record.md shows each of these
// records, and record_page_test.py holds the page against this file.

#include "tests/unit/libqvtrace/tracebytes.h"

#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

struct golden_t {
    const char* name;
    unsigned int kind;
    fields_t fields;
    const char* record;
    const char* text;
};

const byteVec_t counter = bytesOf("00 00 01 23 00 01 02 03");
const std::uint64_t midnight = 86400000000;

std::string hexOfPart(const byteVec_t& bytes, std::size_t from, std::size_t to) {
    return hexOf(
        {bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.begin() + static_cast<std::ptrdiff_t>(to)});
}

} // namespace

class GoldenRecord : public testing::TestWithParam<golden_t> {
protected:
    const golden_t& row = GetParam();
    const std::unique_ptr<MessageBase> message = rebuilt(row.kind, row.fields.body());
    const std::size_t bodySize = 16 + row.fields.data.size();

    /// What `createByteArray` makes of the message, whatever stood in the vector before.
    std::string bytes(bool withHeader, bool withChecksum) const {
        byteVec_t out = counting(200);
        const std::size_t n = message->createByteArray(out, withHeader, withChecksum);
        EXPECT_EQ(n, out.size());
        return hexOf(out);
    }
};

TEST_P(GoldenRecord, IsWrittenByteByByteAsThePageShows) {
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(bytes(true, true), row.record);
    EXPECT_EQ(hexOf(recordOf(row.kind, row.fields.body())), row.record);
}

TEST_P(GoldenRecord, HasTwentyEightBytesAndTheData) {
    EXPECT_EQ(bytesOf(row.record).size(), 28 + row.fields.data.size());
    EXPECT_EQ(message->getSize(), bodySize);
}

TEST_P(GoldenRecord, HasItsHeaderByTheFirstFlagAndItsChecksumByTheSecond) {
    const byteVec_t whole = bytesOf(row.record);
    EXPECT_EQ(bytes(true, false), hexOfPart(whole, 0, 8 + bodySize));
    EXPECT_EQ(bytes(false, true), hexOfPart(whole, 8, 8 + bodySize + 4));
    EXPECT_EQ(bytes(false, false), hexOfPart(whole, 8, 8 + bodySize));
}

TEST_P(GoldenRecord, IsWhatThePageSaysItIs) {
    std::ostringstream out;
    message->print(out);
    EXPECT_EQ(out.str(), row.text);
}

INSTANTIATE_TEST_SUITE_P(
    Page, GoldenRecord,
    testing::Values(
        golden_t{"standard",
                 MSGID_CAN_EXT,
                 {1000000, 0, CF_STANDARD, 0, CT_STANDARD, 0x123, counter},
                 "a7 5e 01 48 00 0b 00 18 00 00 00 00 00 0f 42 40 00 00 00 00 00 00 01 23 "
                 "00 00 01 23 00 01 02 03 f3 fd 8b a7",
                 "00:00:01.000000 ch0 123#0000012300010203"},
        golden_t{"fd_extended",
                 MSGID_CAN_EXT,
                 {45296789012, 1, CF_STANDARD, 0x40, CT_FD_EXTENDED, 0x1ABCDEF0, bytesOf("ca fe 12")},
                 "a7 5e 01 43 00 0b 00 13 00 00 00 0a 8b e6 26 14 01 00 40 03 1a bc de f0 ca fe 12 "
                 "18 d3 97 d4",
                 "12:34:56.789012 ch1 1ABCDEF0##1CAFE12"},
        golden_t{"remote",
                 MSGID_CAN_EXT,
                 {0, 0, CF_TXREQUEST, 0, CT_EXTENDED, 0x123, byteVec_t(4, 0)},
                 "a7 5e 01 44 00 0b 00 14 00 00 00 00 00 00 00 00 00 03 00 01 00 00 01 23 00 00 00 00 "
                 "e4 84 51 d8",
                 "00:00:00.000000 ch0 00000123#R4"},
        golden_t{"own_frame_without_data",
                 MSGID_CAN_EXT,
                 {midnight, 2, CF_TXMESSAGE, 0, CT_STANDARD, 0, {}},
                 "a7 5e 01 40 00 0b 00 10 00 00 00 14 1d d7 60 00 02 02 00 00 00 00 00 00 32 76 55 c2",
                 "00:00:00.000000 ch2 000# tx"},
        golden_t{"error_frame",
                 MSGID_CAN_EXT,
                 {1, 255, CF_ERROR, 0x80 | CSE_OVERRUN, CT_FD_STANDARD, 0x7FF, {0xFF}},
                 "a7 5e 01 41 00 0b 00 11 00 00 00 00 00 00 00 01 ff 01 87 02 00 00 07 ff ff 16 01 ee f0",
                 "00:00:00.000001 ch255 7FF##2FF error=overrun"},
        golden_t{"older_kind",
                 MSGID_CAN,
                 {1000000, 0, CF_STANDARD, 0, CT_STANDARD, 0x123, {0x11, 0x22}},
                 "a7 5e 01 48 00 01 00 12 00 00 00 00 00 0f 42 40 00 00 00 00 00 00 01 23 11 22 f6 d5 53 e9",
                 "00:00:01.000000 ch0 123#1122"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Record, ReplacesWhatTheVectorHeld) {
    byteVec_t out = counting(300);
    EXPECT_EQ(CANExtTraceMessage().createByteArray(out, true, true), 28U);
    EXPECT_EQ(out.size(), 28U);
}

TEST(Record, LeavesTheNoteInMemory) {
    CANExtTraceMessage message;
    const byteVec_t before = recordOf(message);
    message.setText("note");
    EXPECT_EQ(recordOf(message), before);
}

TEST(Record, OfTheLongestFrameHas92Bytes) {
    const CANExtTraceMessage message(0, 0, CF_STANDARD, CSE_NO, CT_STANDARD, 64, 1, counting(64).data());
    EXPECT_EQ(recordOf(message).size(), 92U);
}

TEST(Record, OfAPlainMessageWithoutABodyIsHeaderAndChecksum) {
    EXPECT_EQ(recordOf(MessageBase(MSGID_INVALID, 0)), recordOf(65535, {}));
}
