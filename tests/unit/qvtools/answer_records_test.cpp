// The answer mode on a device file: it answers records, never its own, and no finding of the reader ends it.

#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/recordfile.h"

#include <new>
#include <vector>

namespace {

/// 12:34:56.000789 on channel 2, with the payload 11 22 33.
CANExtTraceMessage triple(canframe_t type, std::uint32_t canId) {
    const std::uint8_t data[] = {0x11, 0x22, 0x33};
    return CANExtTraceMessage(45296000789, 2, type, CSE_NO, CT_STANDARD, sizeof data, canId, data);
}

class AnswerRecords : public RecordFile {
protected:
    AnswerRecords() {
        settings.answer = CanDevice::A_YES;
        const auto delivering = system.read;
        system.read = [this, delivering](int fd, void* to, std::size_t n) {
            if (chunks.empty() && failures == 0) {
                throw leave_t();
            }
            failures -= chunks.empty() ? 1 : 0;
            return delivering(fd, to, n);
        };
        system.write = [this](int fd, const void* from, std::size_t n) {
            const allocations::Pause pause;
            EXPECT_EQ(fd, descriptor);
            sent.emplace_back(static_cast<const char*>(from), n);
            return static_cast<ssize_t>(n);
        };
        system.getMicroSecondsOfDay = [] { return std::uint64_t{3661000007}; };
    }

    /// Runs until all chunks are read and the next read throws.
    Captured run(unsigned short verbose = 0) {
        if (!device) {
            open(verbose);
        }
        return captured([&] { EXPECT_THROW(CanDeviceTestAccess::sendAnswers(*device), leave_t); });
    }

    /// The record of the answer to `frameRecord(canId)`.
    static std::string answerTo(std::uint32_t canId) {
        CANExtTraceMessage answer = triple(CF_STANDARD, ~canId);
        for (std::size_t i = 0; i < 3; ++i) {
            answer.getDataBytes()[i] = static_cast<std::uint8_t>(~answer.getDataBytes()[i]);
        }
        return recordText(answer);
    }

    int failures = 0; ///< reads that find nothing, or fail, before one throws
    std::vector<std::string> sent;
};

} // namespace

TEST_F(AnswerRecords, GoBackWithTheTimeStampAndChannelTheyCameWith) {
    chunks = {frameRecord(0x123) + frameRecord(0x7FF), frameRecord(0)};
    const Captured text = run();

    EXPECT_EQ(sent, std::vector<std::string>({answerTo(0x123), answerTo(0x7FF), answerTo(0)}));
    EXPECT_EQ(text.out + text.err, "");
}

TEST_F(AnswerRecords, OfTheNodesOwnFramesAreIgnored) {
    for (unsigned short verbose = 0; verbose <= 3; ++verbose) {
        open(verbose);
        sent.clear();
        chunks = {recordText(triple(CF_TXMESSAGE, 0x123)) + frameRecord(0x124)};
        const Captured text = run();
        const std::string line = "[DEBUG] BZ::sendAnswers() ignore TX message\n";
        const std::size_t at = text.out.find(line);

        EXPECT_EQ(at == std::string::npos, verbose < 2);
        EXPECT_EQ(text.out.find("ignore", at == std::string::npos ? 0 : at + line.size()), std::string::npos);
        EXPECT_EQ(sent, std::vector<std::string>({answerTo(0x124)}));
    }
}

TEST_F(AnswerRecords, OfOtherFrameTypesAreAnswered) {
    chunks = {recordText(triple(CF_TXREQUEST, 1)) + recordText(triple(CF_ERROR, 2))};
    run();

    EXPECT_EQ(sent.size(), 2U);
}

TEST_F(AnswerRecords, AreShownInTheOrderOfTheSteps) {
    settings.answer = CanDevice::A_NO;
    chunks = {recordText(triple(CF_STANDARD, 0x123)), recordText(triple(CF_TXMESSAGE, 0x124))};
    const Captured text = run(2);

    EXPECT_EQ(text.out, "[DEBUG] BZ::readCAN() t=01:01:01.000007: return: 12:34:56.000789 ch2 123#112233\n"
                        "rcvd 12:34:56.000789 ch2 123#112233\n"
                        "[DEBUG] BZ::readCAN() t=01:01:01.000007: return: 12:34:56.000789 ch2 124#112233 tx\n"
                        "rcvd 12:34:56.000789 ch2 124#112233 tx\n"
                        "[DEBUG] BZ::sendAnswers() ignore TX message\n");
    EXPECT_TRUE(sent.empty());
}

TEST_F(AnswerRecords, OfAnotherKindAreDiscarded) {
    chunks = {classicRecord(0x123) + frameRecord(1)};
    const Captured text = run(3);

    EXPECT_NE(text.out.find("[DEBUG] BZ::readCAN() discard: 12:34:56.000000 ch0 123#AB\n"),
              std::string::npos);
    EXPECT_EQ(sent, std::vector<std::string>({answerTo(1)}));
}

TEST_F(AnswerRecords, GoOnAfterAFailedReadAndAnEmptyOne) {
    failures = 3;
    errnum = EIO;
    const Captured text = run(2);

    const std::string error = "[ERROR] BZ::readCAN() buffer read: Input/output error\n";
    const std::string none = "[DEBUG] BZ::readCAN() incomplete buffer read\n";
    EXPECT_EQ(text.err, error + error + error);
    EXPECT_EQ(text.out, none + none + none);
}

TEST_F(AnswerRecords, GoOnAfterGarbageWhichIsReportedOnce) {
    chunks = {"garbage" + frameRecord(1), frameRecord(2)};
    const Captured text = run();

    EXPECT_EQ(text.err, "trace buffer: passed over 7 bytes outside of any sound record\n");
    EXPECT_EQ(sent, std::vector<std::string>({answerTo(1), answerTo(2)}));
}

TEST_F(AnswerRecords, AreNotLostWhenTheReadersFirstLookThrows) {
    chunks = {frameRecord(1) + frameRecord(2) + frameRecord(3)};
    open(0);
    const auto writing = system.write;
    // Behind the first answer the next allocation is that of the first look's message.
    std::unique_ptr<allocations::FailNth> failure;
    system.write = [&](int fd, const void* from, std::size_t n) {
        const ssize_t result = writing(fd, from, n);
        if (sent.size() == 1) {
            const allocations::Pause pause;
            failure = std::make_unique<allocations::FailNth>(1);
        }
        return result;
    };
    EXPECT_THROW(CanDeviceTestAccess::sendAnswers(*device), std::bad_alloc);
    failure.reset();
    EXPECT_EQ(sent.size(), 1U);
    run();

    EXPECT_EQ(sent, std::vector<std::string>({answerTo(1), answerTo(2), answerTo(3)}));
}

TEST_F(AnswerRecords, AreDeletedOnEveryPath) {
    open(0);
    chunks = {frameRecord(1)};
    run(); // from now on the buffer has its memory
    const std::string records =
        frameRecord(1) + recordText(triple(CF_TXMESSAGE, 2)) + classicRecord(3) + frameRecord(4);
    int writes = 0;
    system.read = [&](int, void* to, std::size_t) {
        std::memcpy(to, records.data(), records.size());
        return static_cast<ssize_t>(records.size());
    };
    system.write = [&writes](int, const void*, std::size_t) -> ssize_t {
        if (++writes == 2) {
            throw std::bad_alloc();
        }
        return 0;
    };
    captured([&] {
        const std::ptrdiff_t before = allocations::live();
        EXPECT_THROW(CanDeviceTestAccess::sendAnswers(*device), std::bad_alloc);
        EXPECT_EQ(allocations::live(), before);
    });
    EXPECT_EQ(writes, 2);
}

TEST_F(AnswerRecords, SayUnderTheLogLockAloneThatTheyIgnoreTheirOwn) {
    chunks.push_back(recordText(triple(CF_TXMESSAGE, 0x123)));
    open(2);
    const LockProbe out(std::cout);
    EXPECT_THROW(CanDeviceTestAccess::sendAnswers(*device), leave_t);

    ASSERT_FALSE(out.pieces.empty());
    const LockProbe::piece_t& last = out.pieces.back();
    EXPECT_EQ(last.text, "[DEBUG] BZ::sendAnswers() ignore TX message\n");
    EXPECT_TRUE(last.locks.log && !last.locks.device);
}
