// What was passed over is told: by an exception of the first getNextMessage() after a read, once, when the
// bytes are gone already.

#include "libqvtrace/tracemessagebuffer.h"
#include "tests/fakes/captured.h"
#include "tests/unit/libqvtrace/scriptedinput.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

namespace {

const byteVec_t sound = recordOf(MSGID_CAN_EXT, fields_t().body());
const byteVec_t older = recordOf(MSGID_CAN, fields_t().body());
const byteVec_t unknown = recordOf(500, counting(5));
const byteVec_t invalid = recordOf(MSGID_CAN_EXT, counting(3));

byteVec_t noise(std::size_t n) {
    return byteVec_t(n, 0xEE);
}

struct report_t {
    const char* name;
    byteVec_t stream;
    const char* text; ///< null: nothing to report
};

} // namespace

class PassedOver : public testing::TestWithParam<report_t> {};

TEST_P(PassedOver, IsReportedOnceBeforeTheSoundRecordIsTaken) {
    ScriptedInput input;
    input.gives(GetParam().stream + sound);
    Reader reader;
    reader.buffer.read();

    std::string text;
    try {
        EXPECT_EQ(reader.buffer.getNextMessage(), nullptr) << "must not be reached";
    } catch (const QVException& report) {
        text = report.what();
    }
    EXPECT_EQ(text, GetParam().text);
    EXPECT_EQ(reader.buffer.counts().dropped, GetParam().stream.size()) << "already gone";
    EXPECT_EQ(reader.next(), sound);
    EXPECT_EQ(reader.next(), byteVec_t());
    EXPECT_EQ(reader.reports, lines_t()) << "reported twice";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PassedOver,
    testing::Values(
        report_t{"one_byte", noise(1), "trace buffer: passed over 1 byte outside of any sound record"},
        report_t{"bytes", noise(3000), "trace buffer: passed over 3000 bytes outside of any sound record"},
        report_t{"unknown_record", unknown, "trace buffer: passed over 1 record of unknown kind"},
        report_t{"invalid_record", invalid, "trace buffer: passed over 1 record with an invalid body"},
        report_t{"invalid_record_of_the_older_kind", recordOf(MSGID_CAN, counting(3)),
                 "trace buffer: passed over 1 record with an invalid body"}),
    [](const auto& row) { return std::string(row.param.name); });

class PassedOverBefore : public testing::TestWithParam<report_t> {};

TEST_P(PassedOverBefore, IsReportedWholeAfterTheNextRead) {
    ScriptedInput input;
    input.gives(sound + GetParam().stream + sound).gives(sound);
    Reader reader;
    reader.buffer.read();
    reader.takeAll();
    EXPECT_EQ(reader.reports, lines_t()) << "the first call had passed over nothing yet";
    reader.readAll(input);
    EXPECT_EQ(reader.reports, lines_t({GetParam().text}));
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({sound, sound, sound}));
    EXPECT_EQ(reader.buffer.counts().dropped, GetParam().stream.size());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PassedOverBefore,
    testing::Values(
        report_t{"unknown_records", unknown + unknown, "trace buffer: passed over 2 records of unknown kind"},
        report_t{"invalid_records", invalid + invalid + invalid,
                 "trace buffer: passed over 3 records with an invalid body"},
        report_t{"bytes_and_unknown_record", noise(1) + unknown,
                 "trace buffer: passed over 1 byte outside of any sound record, 1 record of unknown kind"},
        report_t{"unknown_and_invalid_record", unknown + invalid,
                 "trace buffer: passed over 1 record of unknown kind, 1 record with an invalid body"},
        report_t{"all_of_them", noise(2) + unknown + invalid + invalid + noise(5) + unknown,
                 "trace buffer: passed over 7 bytes outside of any sound record, 2 records of unknown kind, "
                 "2 records with an invalid body"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(PassedOverBytes, AreReportedWithoutASoundRecordBehindThem) {
    ScriptedInput input;
    input.gives(noise(4));
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.reports, lines_t({"trace buffer: passed over 4 bytes outside of any sound record"}));
    EXPECT_EQ(reader.buffered(), 0U);
}

TEST(PassedOverBytes, OfALaterCallAreReportedAfterTheNextRead) {
    ScriptedInput input;
    input.gives(sound + noise(4) + sound + noise(2)).gives(older);
    Reader reader;
    reader.buffer.read();
    EXPECT_EQ(reader.next(), sound); // nothing was passed over yet
    EXPECT_EQ(reader.next(), sound); // passes over 4 bytes and says nothing
    EXPECT_EQ(reader.next(), byteVec_t());
    EXPECT_EQ(reader.next(), byteVec_t());
    EXPECT_EQ(reader.reports, lines_t());

    reader.buffer.read();
    EXPECT_EQ(reader.next(), byteVec_t());
    EXPECT_EQ(reader.reports, lines_t({"trace buffer: passed over 6 bytes outside of any sound record"}));
    EXPECT_EQ(reader.next(), older);
}

TEST(PassedOverBytes, AreReportedAfterAReadThatFailed) {
    ScriptedInput input;
    input.gives(sound + noise(4)).fails(EIO);
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.reports, lines_t({"trace buffer: passed over 4 bytes outside of any sound record"}));
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({sound}));
}

TEST(PassedOverBytes, AccumulateUntilTheyAreReported) {
    ScriptedInput input;
    input.gives(noise(1)).gives(noise(2)).gives(noise(3));
    Reader reader;
    for (int i = 0; i < 3; ++i) {
        reader.buffer.read();
    }
    reader.takeAll();
    EXPECT_EQ(reader.reports, lines_t({"trace buffer: passed over 6 bytes outside of any sound record"}));
}

TEST(PassedOverBytes, DoNotIncludeWhatIsStillIncomplete) {
    ScriptedInput input;
    input.gives(firstOf(sound, 20)).gives({sound.begin() + 20, sound.end()});
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.reports, lines_t());
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({sound}));
}

TEST(PassedOverBytes, AreNoneWhenRecordsOfUnknownKindAreWanted) {
    MessageBase::invalidHandling = IMH_RETURN_INVALID_MESSAGE;
    ScriptedInput input;
    input.gives(unknown + sound);
    Reader reader;
    reader.readAll(input);
    MessageBase::invalidHandling = IMH_RETURN_NULL;
    EXPECT_EQ(reader.reports, lines_t());
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({unknown, sound}));
}

TEST(PassedOverBytes, AreNoneForARecordOfTheOlderKind) {
    ScriptedInput input;
    input.gives(older + sound);
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.reports, lines_t());
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({older, sound}));
}

TEST(CutOffRecord, IsReportedOnceWhenTheInputEnds) {
    for (std::size_t n = 1; n < sound.size(); ++n) {
        ScriptedInput input;
        input.gives(sound + firstOf(sound, n)).ends().ends().ends();
        Reader reader;
        reader.readAll(input);
        EXPECT_EQ(reader.reports, lines_t({"trace buffer: the input ended inside a record, after " +
                                           std::to_string(n) + (n == 1 ? " byte" : " bytes")}));
        EXPECT_EQ(reader.buffered(), n);
    }
}

TEST(CutOffRecord, IsReportedBehindWhatWasPassedOver) {
    ScriptedInput input;
    input.gives(sound + noise(3) + firstOf(sound, 7)).ends();
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.reports,
              lines_t({"trace buffer: passed over 3 bytes outside of any sound record; the input "
                       "ended inside a record, after 7 bytes"}));
}

TEST(CutOffRecord, IsStillDeliveredWhenItsRestComes) {
    ScriptedInput input;
    input.gives(firstOf(sound, 7)).ends().gives({sound.begin() + 7, sound.end()}).ends();
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.reports, lines_t({"trace buffer: the input ended inside a record, after 7 bytes"}));
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({sound}));
}

TEST(CutOffRecord, DoesNotCountWholeRecordsThatWaitBeforeIt) {
    ScriptedInput input;
    input.gives(sound + sound + firstOf(sound, 7)).ends().ends().ends();
    Reader reader;
    reader.buffer.read();
    reader.readAll(input);
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({sound, sound}));
    EXPECT_EQ(reader.reports, lines_t({"trace buffer: the input ended inside a record, after 7 bytes"}));
}

TEST(TraceBufferDebug, TellsOfEachReadAndEachReport) {
    Reader reader;
    reader.buffer.setDebug(true);
    const Captured text = captured([&reader] {
        ScriptedInput input;
        input.gives(noise(2) + sound + firstOf(sound, 5)).ends().fails(EIO);
        reader.readAll(input);
    });
    EXPECT_EQ(text.out,
              "[DEBUG] BZ::getNextMessage() read 35, buffered 35\n"
              "[DEBUG] BZ::getNextMessage() trace buffer: passed over 2 bytes outside of any sound record\n"
              "[DEBUG] BZ::getNextMessage() read 0, buffered 5\n"
              "[DEBUG] BZ::getNextMessage() trace buffer: the input ended inside a record, after 5 bytes\n"
              "[DEBUG] BZ::getNextMessage() read -1, buffered 5\n");
    EXPECT_EQ(text.err, "");
}

TEST(TraceBufferDebug, IsOffByDefault) {
    const Captured text = captured([] {
        ScriptedInput input;
        input.gives(noise(2) + sound).ends().fails(EIO);
        Reader reader;
        reader.readAll(input);
    });
    EXPECT_EQ(text.out + text.err, "");
}
