// Records from the device file: frames become messages, other kinds are discarded, and nothing ends the
// reading.

#include "libqvtrace/cantracemessage.h"
#include "tests/fakes/allocations.h"
#include "tests/fakes/captured.h"
#include "tests/fakes/lockprobe.h"
#include "tests/unit/qvtools/recordfile.h"

#include <cerrno>
#include <iostream>
#include <memory>
#include <new>
#include <ostream>
#include <string>

namespace {

const char* const incompleteLine = "[DEBUG] BZ::readCAN() incomplete buffer read\n";

struct expected_t {
    std::string name;
    unsigned short verbose;
    std::string out;
    friend void PrintTo(const expected_t& row, std::ostream* out) { *out << row.name; }
};

const auto nameOf = [](const auto& row) { return std::string(row.param.name); };

/// What is printed at the verbosities 0 to 3.
auto printed(const std::string& from2, const std::string& from3) {
    return testing::Values(expected_t{"0", 0, ""}, expected_t{"1", 1, ""}, expected_t{"2", 2, from2},
                           expected_t{"3", 3, from3});
}

class RecordReaderFrame : public RecordFile, public testing::WithParamInterface<expected_t> {};
class RecordReaderEmpty : public RecordFile, public testing::WithParamInterface<expected_t> {};
class RecordReaderOther : public RecordFile, public testing::WithParamInterface<expected_t> {};
class RecordReaderUnknown : public RecordFile, public testing::WithParamInterface<expected_t> {};
class RecordReaderError : public RecordFile, public testing::WithParamInterface<expected_t> {};
class RecordReaderGarbage : public RecordFile, public testing::WithParamInterface<expected_t> {};

} // namespace

TEST_P(RecordReaderFrame, IsReturnedAsItIsAndShownWithTheTimeOfTheCall) {
    open(GetParam().verbose);
    chunks.push_back(frameRecord(0x123));
    system.getMicroSecondsOfDay = [] { return std::uint64_t{3661000007}; };
    int result = -1;
    const Captured text = captured([&] { result = readOnce(); });

    EXPECT_EQ(result, 0);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(recordText(*message), frameRecord(0x123)) << "time stamp, channel and all";
    EXPECT_EQ(withoutBufferLines(text.out), GetParam().out);
    EXPECT_EQ(text.err, "");
}

const std::string returned =
    "[DEBUG] BZ::readCAN() t=01:01:01.000007: return: 12:34:56.000789 ch2 123#112233\n";

INSTANTIATE_TEST_SUITE_P(Verbosity, RecordReaderFrame, printed(returned, returned), nameOf);

TEST_F(RecordReader, ReadsAgainOnlyWhenNoWholeRecordIsLeft) {
    open(0);
    chunks.push_back(frameRecord(1) + frameRecord(2) + frameRecord(3).substr(0, 9));
    chunks.push_back(frameRecord(3).substr(9));

    for (const std::uint32_t id : {1U, 2U}) {
        expectFrame(id);
        EXPECT_EQ(reads, 1);
    }
    expectFrame(3);
    EXPECT_EQ(reads, 2);
}

TEST_P(RecordReaderEmpty, IsNoErrorAndNoMessage) {
    open(GetParam().verbose);
    int result = -1;
    const Captured text = captured([&] { result = readOnce(); });

    EXPECT_EQ(result, 0);
    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(withoutBufferLines(text.out), GetParam().out);
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(reads, 1);
}

INSTANTIATE_TEST_SUITE_P(Verbosity, RecordReaderEmpty, printed(incompleteLine, incompleteLine), nameOf);

TEST_F(RecordReader, WaitsForTheRestOfARecord) {
    open(2);
    chunks.push_back(frameRecord(1).substr(0, 20));
    const Captured text = captured([&] { EXPECT_EQ(readOnce(), 0); });

    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(text.out, incompleteLine);
}

TEST_P(RecordReaderOther, KindIsDiscardedAndDeleted) {
    open(GetParam().verbose);
    chunks.push_back(classicRecord(0x122) + classicRecord(0x123));
    captured([&] { EXPECT_EQ(readOnce(), 0); }); // from now on the buffer has its memory
    EXPECT_EQ(message, nullptr);
    int result = -1;
    const std::ptrdiff_t before = allocations::live();
    {
        const Captured text = captured([&] { result = readOnce(); });

        EXPECT_EQ(withoutBufferLines(text.out), GetParam().out);
        EXPECT_EQ(text.err, "");
        EXPECT_EQ(message, nullptr);
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(allocations::live(), before) << "the message is deleted";
}

const std::string discarded = "[DEBUG] BZ::readCAN() discard: 12:34:56.000000 ch0 123#AB\n";

INSTANTIATE_TEST_SUITE_P(Verbosity, RecordReaderOther, printed("", discarded), nameOf);

TEST_P(RecordReaderUnknown, KindIsDiscardedToo) {
    open(GetParam().verbose);
    chunks.push_back(recordText(MessageBase(static_cast<msgid_t>(77), 0)) + frameRecord(5));
    const Captured text = captured([&] { EXPECT_EQ(readOnce(), 0); });

    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(withoutBufferLines(text.out), GetParam().out);
    EXPECT_EQ(text.err, "");
    captured([&] { expectFrame(5); });
}

const std::string unknown = "[DEBUG] BZ::readCAN() discard: message of kind 77, 0 bytes\n";

INSTANTIATE_TEST_SUITE_P(Verbosity, RecordReaderUnknown, printed("", unknown), nameOf);

TEST_P(RecordReaderError, IsOneErrorLineWithTheReasonOfTheReadAndTheReadingGoesOn) {
    open(GetParam().verbose);
    errnum = ENXIO;
    int result = -1;
    const Captured text = captured([&] { result = readOnce(); });

    EXPECT_EQ(result, 0);
    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(text.err, "[ERROR] BZ::readCAN() buffer read: No such device or address\n");
    EXPECT_EQ(withoutBufferLines(text.out), GetParam().out);

    chunks.push_back(frameRecord(9));
    captured([&] { expectFrame(9); });
}

INSTANTIATE_TEST_SUITE_P(Verbosity, RecordReaderError, printed(incompleteLine, incompleteLine), nameOf);

TEST_F(RecordReader, BreaksTheErrorStreamWhenTheSystemHasNoTextForTheReason) {
    open(0);
    errnum = EIO;
    system.strerror = [](int) -> char* { return nullptr; };
    const Captured text = captured([&] { EXPECT_EQ(readOnce(), 0); });

    EXPECT_EQ(text.err, "[ERROR] BZ::readCAN() buffer read: ");
    EXPECT_FALSE(text.errGood);
}

TEST_P(RecordReaderGarbage, IsReportedByTheExceptionsTextAndTheRecordBehindItComesNext) {
    open(GetParam().verbose);
    chunks.push_back("abc" + frameRecord(5));
    int result = -1;
    const Captured text = captured([&] { result = readOnce(); });

    EXPECT_EQ(result, 0);
    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(text.err, "trace buffer: passed over 3 bytes outside of any sound record\n");
    EXPECT_EQ(withoutBufferLines(text.out), GetParam().out);

    captured([&] { expectFrame(5); });
    EXPECT_EQ(reads, 1);
}

INSTANTIATE_TEST_SUITE_P(Verbosity, RecordReaderGarbage, printed(incompleteLine, incompleteLine), nameOf);

TEST_F(RecordReader, LetsAnExceptionOfItsFirstLookAtTheBufferOut) {
    open(0);
    chunks.push_back(frameRecord(1) + frameRecord(2));
    readOnce();
    {
        const allocations::FailNth failure(1);
        EXPECT_THROW(readOnce(), std::bad_alloc);
    }
    EXPECT_EQ(message, nullptr);

    expectFrame(2); // the record is not lost
}

TEST_F(RecordReader, TakesNoMemoryForTextBelowTheVerbosityThatPrintsIt) {
    open(1);
    chunks.push_back(frameRecord(1) + frameRecord(2) + classicRecord(3));
    readOnce();

    EXPECT_EQ(allocations::during([&] { readOnce(); }), 1U) << "the message";
    EXPECT_EQ(allocations::during([&] { readOnce(); }), 1U) << "the message that is discarded";
    EXPECT_EQ(allocations::during([&] { readOnce(); }), 0U) << "nothing was there";
    EXPECT_EQ(reads, 2);
}

TEST_F(RecordReader, HoldsTheLogLockForItsLinesAndNoLockWhileItReads) {
    open(2);
    watch = true;
    errnum = EIO;
    const LockProbe out(std::cout);
    const LockProbe err(std::cerr);
    readOnce();

    EXPECT_FALSE(locks.device || locks.log) << "during the read";
    ASSERT_FALSE(err.pieces.empty());
    ASSERT_EQ(out.pieces.size(), 1U);
    for (const LockProbe::piece_t& piece : err.pieces) {
        EXPECT_TRUE(piece.locks.log && !piece.locks.device) << piece.text;
    }
    EXPECT_TRUE(out.pieces.front().locks.log && !out.pieces.front().locks.device);
}

TEST_F(RecordReader, WritesAnExceptionsLineWithoutALock) {
    open(0);
    chunks.push_back("abc");
    const LockProbe err(std::cerr);
    readOnce();

    ASSERT_EQ(err.pieces.size(), 1U);
    EXPECT_FALSE(err.pieces.front().locks.log || err.pieces.front().locks.device);
}

TEST_F(RecordReader, WritesEveryLineAboutARecordUnderTheLogLockAlone) {
    open(3);
    chunks.push_back(frameRecord(1));
    chunks.push_back(classicRecord(2));
    const LockProbe out(std::cout);
    readOnce();
    readOnce();

    std::size_t ours = 0;
    for (const LockProbe::piece_t& piece : out.pieces) {
        ours += piece.text.find("BZ::readCAN() ") == std::string::npos ? 0U : 1U;
        EXPECT_TRUE(piece.locks.log && !piece.locks.device) << piece.text;
    }
    EXPECT_EQ(ours, 2U) << "return and discard";
}

TEST_F(RecordReader, LetsAnyOtherExceptionOfItsSecondLookAtTheBufferOut) {
    open(0);
    chunks.push_back(frameRecord(1));
    readOnce();
    chunks.push_back(frameRecord(2));
    {
        const allocations::FailNth failure(1);
        EXPECT_THROW(readOnce(), std::bad_alloc);
    }
    EXPECT_EQ(message, nullptr);
}
