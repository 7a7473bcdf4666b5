// The record's parts: numbers, checksum, header, and the look at a place in a stream.

#include "libqvtrace/record.h"
#include "tests/unit/libqvtrace/tracebytes.h"

#include <string>

#include <gtest/gtest.h>

static_assert(record::headerSize == 8 && record::checksumSize == 4 && record::maxBody == 1024 &&
                  record::maxSize == 1036,
              "the form of version 1");

namespace {

std::uint32_t crcOf(const std::string& text) {
    const byteVec_t bytes(text.begin(), text.end());
    return record::crc32(bytes.data(), bytes.size());
}

record::finding_t findingIn(const byteVec_t& bytes) {
    return record::look(bytes.data(), bytes.size()).finding;
}

const byteVec_t whole = recordOf(MSGID_CAN_EXT, fields_t().body());

} // namespace

TEST(RecordChecksum, HasTheCheckValueOfIeee8023) {
    EXPECT_EQ(crcOf("123456789"), 0xCBF43926U);
    EXPECT_EQ(crcOf(""), 0U);
    EXPECT_EQ(crcOf("a"), 0xE8B7BE43U);
}

TEST(RecordChecksum, IsThatOfTheBitwiseDefinition) {
    Numbers numbers(5);
    for (std::uint32_t n = 0; n < 300; ++n) {
        const byteVec_t bytes = numbers.bytes(n);
        ASSERT_EQ(record::crc32(bytes.data(), n), crcBitByBit(bytes, 0)) << n;
    }
}

TEST(RecordNumbers, AreBigEndianAtEveryWidth) {
    byteVec_t bytes(8);
    record::putBigEndian(bytes.data(), 0x0102030405060708, 8);
    EXPECT_EQ(hexOf(bytes), "01 02 03 04 05 06 07 08");
    EXPECT_EQ(record::getBigEndian(bytes.data(), 8), 0x0102030405060708U);
    EXPECT_EQ(record::getBigEndian(bytes.data(), 4), 0x01020304U);
    EXPECT_EQ(record::getBigEndian(bytes.data(), 2), 0x0102U);

    record::putBigEndian(bytes.data(), 0xFFFFA7C3, 2); // only the low bytes fit
    EXPECT_EQ(hexOf(bytes), "a7 c3 03 04 05 06 07 08");
}

TEST(RecordHeader, IsWrittenAsTheTableSays) {
    byteVec_t header(8);
    record::putHeader(header.data(), static_cast<msgid_t>(0x1234), 0x0318);
    EXPECT_EQ(hexOf(header), hexOf(firstOf(recordOf(0x1234, byteVec_t(0x318)), 8)));
}

TEST(RecordLook, FindsARecordAndItsParts) {
    const byteVec_t bytes = whole + byteVec_t{1, 2, 3};
    const record::view_t view = record::look(bytes.data(), bytes.size());
    EXPECT_EQ(view.finding, record::RECORD);
    EXPECT_EQ(view.kind, MSGID_CAN_EXT);
    EXPECT_EQ(view.bodySize, 16U);
    EXPECT_EQ(view.body, bytes.data() + 8);
    EXPECT_EQ(view.size(), whole.size());
}

TEST(RecordLook, FindsRecordsOfAnyKindAndBody) {
    for (const unsigned int kind : {0U, 1U, 255U, 256U, 65535U}) {
        for (const std::size_t n : {0U, 1U, 255U, 256U, 1023U, 1024U}) {
            const byteVec_t bytes = recordOf(kind, counting(n));
            const record::view_t view = record::look(bytes.data(), bytes.size());
            EXPECT_EQ(view.finding, record::RECORD) << kind << ' ' << n;
            EXPECT_EQ(view.kind, kind);
            EXPECT_EQ(view.bodySize, n);
        }
    }
}

TEST(RecordLook, WaitsForTheRestOfEveryBeginning) {
    for (std::size_t n = 0; n < whole.size(); ++n) {
        EXPECT_EQ(findingIn(firstOf(whole, n)), record::INCOMPLETE) << n;
    }
}

TEST(RecordLook, TellsAtOnceWhatCannotBeginARecord) {
    for (std::size_t at = 0; at < 3; ++at) {
        for (unsigned int value = 0; value < 256; ++value) {
            byteVec_t bytes = firstOf(whole, at + 1);
            bytes[at] = static_cast<std::uint8_t>(value);
            const bool same = value == whole[at];
            EXPECT_EQ(findingIn(bytes), same ? record::INCOMPLETE : record::NO_RECORD) << at << ' ' << value;
        }
    }
}

TEST(RecordLook, SeesAChangedHeaderBeforeItWaitsForABody) {
    for (std::size_t at = 0; at < 8; ++at) {
        for (unsigned int flip = 1; flip < 256; ++flip) {
            byteVec_t header = firstOf(whole, 8);
            header[at] = static_cast<std::uint8_t>(header[at] ^ flip);
            ASSERT_EQ(findingIn(header), record::NO_RECORD) << at << ' ' << flip;
        }
    }
}

TEST(RecordLook, SeesEveryFlippedBit) {
    for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
        byteVec_t bytes = whole;
        bytes[bit / 8] = static_cast<std::uint8_t>(bytes[bit / 8] ^ 1U << bit % 8);
        ASSERT_EQ(findingIn(bytes), record::NO_RECORD) << bit;
    }
}

TEST(RecordLook, RefusesABodyBeyondTheLongestEvenWithAHeaderThatChecks) {
    EXPECT_EQ(findingIn(firstOf(recordOf(MSGID_CAN_EXT, {}, 1024), 8)), record::INCOMPLETE);
    for (const std::size_t length : {1025U, 2048U, 65535U}) {
        EXPECT_EQ(findingIn(firstOf(recordOf(MSGID_CAN_EXT, {}, length), 8)), record::NO_RECORD) << length;
    }
}

TEST(RecordLook, RefusesAnotherVersion) {
    byteVec_t other = whole;
    other[2] = 2;
    other[3] = static_cast<std::uint8_t>(other[3] ^ 3); // so that the header checks
    EXPECT_EQ(findingIn(other), record::NO_RECORD);
}
