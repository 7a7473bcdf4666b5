#include "libqvcheck/recordfile.h"
#include "libqvtrace/record.h"
#include "tests/fakes/recordof.h"
#include "tests/unit/libqvcheck/sourcereading.h"

namespace {

typedef SourceReading<RecordFile> File;

struct shape_t {
    const char* name;
    std::uint8_t channel;
    canframe_t type;
    std::uint8_t status;
    cantype_t canType;
    std::uint32_t canId;
    byteVec_t data;
    const char* note;
};

void PrintTo(const shape_t& shape, std::ostream* out) {
    *out << shape.name;
}

class RecordShape : public testing::TestWithParam<shape_t> {};

std::string recordText(const shape_t& shape, timeStamp_t time = 0) {
    CANExtTraceMessage message(time, shape.channel, shape.type, static_cast<canstaterr_t>(shape.status),
                               shape.canType, static_cast<std::uint8_t>(shape.data.size()), shape.canId,
                               shape.data.data());
    return recordText(message);
}

const shape_t plain = {"plain", 0, CF_STANDARD, 0, CT_STANDARD, 0x123, {0x11, 0x22}, "00000123#1122"};

} // namespace

TEST_P(RecordShape, IsTheFrameOfItsRecord) {
    EXPECT_EQ(File(recordText(GetParam())).notes(), notes_t{GetParam().note});
}

INSTANTIATE_TEST_SUITE_P(
    , RecordShape,
    testing::Values(
        plain, shape_t{"extended", 0, CF_STANDARD, 0, CT_EXTENDED, 0x1ABCDEF0, {}, "9ABCDEF0#"},
        shape_t{"fd_with_flags", 0, CF_STANDARD, 0xC0, CT_FD_STANDARD, 0x7FF, {1}, "000007FF##3.01"},
        shape_t{"fd_extended", 0, CF_STANDARD, 0x40, CT_FD_EXTENDED, 1, {}, "80000001##1."},
        shape_t{"more_than_eight_bytes", 0, CF_STANDARD, 0, CT_STANDARD, 1, byteVec_t(9),
                "00000001##0.000000000000000000"},
        shape_t{"remote", 0, CF_TXREQUEST, 0, CT_STANDARD, 1, byteVec_t(4), "40000001#00000000 length 4"},
        shape_t{"error", 0, CF_ERROR, CSE_CRC, CT_STANDARD, 4, {}, "20000004#"},
        shape_t{"sent", 0, CF_TXMESSAGE, 0, CT_STANDARD, 1, {}, "00000001# own"}),
    [](const auto& row) { return row.param.name; });

TEST(RecordFile, GivesTimesInNanosecondsAndAnInterfaceForEachChannel) {
    shape_t other = plain;
    other.channel = 200;
    const File file(recordText(other, 5) + recordText(plain, 86400000000) + recordText(other, UINT64_MAX));
    EXPECT_EQ(file.times(), (std::vector<std::int64_t>{5000, 86400000000000, receivedFrame_t::noTime}));
    EXPECT_EQ(file.interfaces.name(0), "ch200");
    EXPECT_EQ(file.frames[1].interface, 1);
    EXPECT_EQ(file.frames[2].interface, 0);
}

TEST(RecordFile, GivesFramesOfTheOlderKind) {
    CANTraceMessage older;
    older.setCanId(0x321);
    EXPECT_EQ(File(recordText(older)).frames.size(), 1U);
}

TEST(RecordFile, CountsTheBytesOfNoSoundRecordAndLosesNoRecordBetweenThem) {
    std::string damaged = recordText(plain);
    damaged[20] ^= 1;
    const File file("xx" + recordText(plain) + damaged + recordText(plain) + recordText(plain).substr(0, 9));
    EXPECT_EQ(file.frames.size(), 2U);
    EXPECT_EQ(file.counts.passedOver, 2 + damaged.size() + 9);
    EXPECT_EQ(file.counts.frames, 2U);
}

TEST(RecordFile, PassesOverRecordsOfOtherKindsWithoutCountingThem) {
    MessageBase other(static_cast<msgid_t>(77), 0);
    EXPECT_EQ(File(recordText(other) + recordText(plain)).notes(), notes_t{plain.note});
    EXPECT_EQ(File(recordText(other)).counts.passedOver, 0U);
}

TEST(RecordFile, CountsTheBodyOfACanRecordThatIsNone) {
    const std::string record = recordText(MessageBase(MSGID_CAN_EXT, 0)); // an empty body
    EXPECT_EQ(File(record).counts.passedOver, record.size());
}
