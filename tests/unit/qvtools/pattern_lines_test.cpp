// What the pattern sender prints: nothing below verbosity 2, and from there on every step.

#include "tests/fakes/lockprobe.h"
#include "tests/unit/qvtools/patternsender.h"
#include "tests/unit/qvtools/recordfile.h"

#include <deque>
#include <iostream>
#include <sstream>
#include <streambuf>

namespace {

const std::string dueLines = "[DEBUG] BZ::sendPattern() select([n=8: 7],[n=8: 7],..,18446744073709551615)\n"
                             "[DEBUG] BZ::sendPattern() after select: ret=1 rfds=[n=8: ] wfds=[n=8: 7]\n";

class PatternLines : public PatternSender {
protected:
    PatternLines() {
        clock = 45296000789; // 12:34:56.000789
        settings.canId = 0x123;
    }

    Captured lines(unsigned short verbose) {
        settings.verbose = verbose;
        return captured([&] { result = run(); });
    }

    int result = 0;
};

class PatternLinesVerbose : public PatternLines, public testing::WithParamInterface<unsigned short> {};

} // namespace

TEST_P(PatternLinesVerbose, TellEveryStepOfAFrame) {
    settings.loop = 2;
    settings.timegap = 1500000;
    const Captured text = lines(GetParam());

    EXPECT_EQ(text.out, dueLines +
                            "[DEBUG] BZ::sendCAN() send: 12:34:56.000789 ch0 123#0000012300010203\n"
                            "raw\n"
                            "23 01 00 00 08 00 00 00 00 00 01 23 00 01 02 03  |#..........#....|\n"
                            "[DEBUG] BZ::sendPattern() msg counter: 0\n"
                            "[DEBUG] BZ::sendPattern() select([n=8: 7],[n=0: ],..,1500000)\n"
                            "[DEBUG] BZ::sendPattern() after select: ret=0 rfds=[n=8: ] wfds=[n=0: ]\n" +
                            dueLines +
                            "[DEBUG] BZ::sendCAN() send: 12:34:57.500789 ch0 124#0000012401020304\n"
                            "raw\n"
                            "24 01 00 00 08 00 00 00 00 00 01 24 01 02 03 04  |$..........$....|\n"
                            "[DEBUG] BZ::sendPattern() msg counter: 1\n");
    EXPECT_EQ(text.err, "");
}

INSTANTIATE_TEST_SUITE_P(Levels, PatternLinesVerbose, testing::Values(2, 3));

TEST_F(PatternLines, NameAnInjectedErrorBeforeItsFrameAndCountTheFrameAlthoughItCouldNotBeWritten) {
    settings.errnum = 1;
    onWrite = [](std::size_t) -> ssize_t {
        errno = ENOBUFS;
        return -1;
    };
    const Captured text = lines(2);

    EXPECT_EQ(text.out, dueLines + "[DEBUG] BZ::sendPattern() injected error at payload[0]\n"
                                   "[DEBUG] BZ::sendCAN() send: 12:34:56.000789 ch0 123#FF00012300010203\n"
                                   "raw\n"
                                   "23 01 00 00 08 00 00 00 ff 00 01 23 00 01 02 03  |#..........#....|\n"
                                   "[DEBUG] BZ::sendPattern() msg counter: 0\n");
    EXPECT_EQ(text.err, "write error: No buffer space available\n");
}

TEST_F(PatternLines, AreNoneBelowVerbosityTwo) {
    settings.loop = 3;
    settings.errnum = 1;
    onWait = [](const wait_t&) { return outcome_t{true, true, 0}; };
    for (unsigned short verbose = 0; verbose <= 1; ++verbose) {
        const Captured text = lines(verbose);

        EXPECT_EQ(text.out + text.err, "");
    }
    EXPECT_EQ(reads, 6);
}

TEST_F(PatternLines, ShowADiscardedFrameByItsOwnPrint) {
    onWait = [this](const wait_t&) { return outcome_t{true, waits.size() == 2, 0}; };
    const Captured text = lines(2);

    const std::string asked = "[DEBUG] BZ::sendPattern() select([n=8: 7],[n=8: 7],..,18446744073709551615)\n";
    const std::string discarded = "[DEBUG] BZ::sendPattern() discard: 12:34:56.000789 ch0 321#DEADBEEF\n";
    EXPECT_EQ(text.out.substr(0, text.out.find("[DEBUG] BZ::sendCAN()")),
              asked + "[DEBUG] BZ::sendPattern() after select: ret=1 rfds=[n=8: 7] wfds=[n=8: ]\n" +
                  discarded + asked +
                  "[DEBUG] BZ::sendPattern() after select: ret=2 rfds=[n=8: 7] wfds=[n=8: 7]\n" + discarded)
        << "the second look in front of a read prints nothing";
}

TEST_F(PatternLines, ShowTheTimeAtWhichAFrameIsSentAfterTheDiscardedOneWasRead) {
    onWait = [](const wait_t&) { return outcome_t{true, true, 0}; };
    onRead = [this](void*) -> ssize_t {
        clock += 11;
        errno = EAGAIN;
        return -1;
    };
    for (const std::uint32_t errnum : {0U, 1U, 5U}) {
        clock = 45296000789;
        settings.errnum = errnum;
        const Captured text = lines(2);

        EXPECT_NE(text.out.find(" send: 12:34:56.000800 ch0 123#"), std::string::npos) << text.out;
    }
}

TEST_F(PatternLines, ShowNothingOfAReadThatYieldedNoFrame) {
    onWait = [](const wait_t&) { return outcome_t{true, true, 0}; };
    onRead = [](void*) { return ssize_t{16}; };
    const Captured text = lines(2);

    EXPECT_EQ(text.out.find("discard"), std::string::npos);
    EXPECT_EQ(text.err, "read: incomplete CAN frame\n");
    EXPECT_EQ(frames.size(), 1U);
}

namespace {

/// A pattern sender on a device file that delivers each kind of input before it takes a frame.
class PatternLinesOfRecords : public PatternLines {
protected:
    PatternLinesOfRecords() {
        settings.network = false;
        clock += 1000000;
        system.read = [this](int, void* to, std::size_t) {
            const std::string bytes = chunks.front();
            chunks.pop_front();
            std::memcpy(to, bytes.data(), bytes.size());
            return static_cast<ssize_t>(bytes.size());
        };
        onWait = [this](const wait_t&) { return outcome_t{!chunks.empty(), chunks.empty(), 0}; };
    }

    /// What is printed before the frame is sent, the waits left out.
    static std::string linesAboutInput(const std::string& out) {
        std::istringstream in(out.substr(0, out.find("[DEBUG] BZ::sendCAN()")));
        std::string lines;
        for (std::string line; std::getline(in, line);) {
            lines += line.find("select") == std::string::npos ? line + "\n" : "";
        }
        return lines;
    }

    std::deque<std::string> chunks{classicRecord(0x123), frameRecord(0x321), "abc",
                                   frameRecord(4).substr(0, 9)};
};

const char* const reportOfGarbage = "trace buffer: passed over 3 bytes outside of any sound record\n";

} // namespace

TEST_F(PatternLinesOfRecords, AreOnlyTheReportOfGarbageBelowVerbosityTwo) {
    const Captured text = lines(1);

    EXPECT_EQ(text.out, "");
    EXPECT_EQ(text.err, reportOfGarbage);
}

TEST_F(PatternLinesOfRecords, ShowWhatTheReaderReturnsAndWhatIsDiscardedAtVerbosityTwo) {
    const Captured text = lines(2);

    EXPECT_EQ(linesAboutInput(text.out),
              "[DEBUG] BZ::readCAN() t=12:34:57.000789: return: 12:34:56.000789 ch2 321#112233\n"
              "[DEBUG] BZ::sendPattern() discard: 12:34:56.000789 ch2 321#112233\n"
              "[DEBUG] BZ::readCAN() incomplete buffer read\n"
              "[DEBUG] BZ::readCAN() incomplete buffer read\n");
    EXPECT_EQ(text.err, reportOfGarbage);
}

TEST_F(PatternLinesOfRecords, ShowOtherKindsAndTheBuffersReadsFromVerbosityThreeOn) {
    const Captured text = lines(3);

    EXPECT_EQ(linesAboutInput(text.out),
              "[DEBUG] BZ::getNextMessage() read 29, buffered 29\n"
              "[DEBUG] BZ::readCAN() discard: 12:34:56.000000 ch0 123#AB\n"
              "[DEBUG] BZ::getNextMessage() read 31, buffered 31\n"
              "[DEBUG] BZ::readCAN() t=12:34:57.000789: return: 12:34:56.000789 ch2 321#112233\n"
              "[DEBUG] BZ::sendPattern() discard: 12:34:56.000789 ch2 321#112233\n"
              "[DEBUG] BZ::getNextMessage() read 3, buffered 3\n"
              "[DEBUG] BZ::getNextMessage() " +
                  std::string(reportOfGarbage) +
                  "[DEBUG] BZ::readCAN() incomplete buffer read\n"
                  "[DEBUG] BZ::getNextMessage() read 9, buffered 9\n"
                  "[DEBUG] BZ::readCAN() incomplete buffer read\n");
    EXPECT_EQ(text.err, reportOfGarbage);
}

TEST_F(PatternLines, ShowTheSetsAsAFailedWaitLeftThem) {
    onWait = [](const wait_t&) { return outcome_t{false, false, ENOMEM}; };
    const Captured text = lines(2);

    EXPECT_EQ(text.out, "[DEBUG] BZ::sendPattern() select([n=8: 7],[n=8: 7],..,18446744073709551615)\n"
                        "[DEBUG] BZ::sendPattern() after select: ret=-1 rfds=[n=8: 7] wfds=[n=8: 7]\n");
    EXPECT_EQ(text.err, "[ERROR] BZ::sendPattern() select: Cannot allocate memory\n");
    EXPECT_EQ(result, -1);
}

namespace {

/// A stream whose writes leave a reason of their own in errno.
class Spoiler : public std::streambuf {
    std::streamsize xsputn(const char*, std::streamsize n) override {
        errno = ENOTTY;
        return n;
    }
};

} // namespace

TEST_F(PatternLines, LeaveTheReasonOfAFailedWaitAlone) {
    onWait = [](const wait_t&) { return outcome_t{false, false, ENOMEM}; };
    settings.verbose = 2;
    const Captured text = captured([&] {
        Spoiler spoiler;
        std::streambuf* const original = std::cout.rdbuf(&spoiler);
        run();
        std::cout.rdbuf(original);
    });

    EXPECT_EQ(text.err, "[ERROR] BZ::sendPattern() select: Cannot allocate memory\n");
}

TEST_F(PatternLines, NameTheDescriptorWhateverItsNumber) {
    for (const int fd : {0, 1023}) {
        settings.fd = fd;
        settings.verbose = 2;
        system.close = [](int) { return 0; };
        system.pselect = [](int, fd_set*, fd_set*, fd_set*, const timespec*, const sigset_t*) {
            errno = EBADF;
            return -1;
        };
        const Captured text = captured([&] { EXPECT_EQ(run(), -1); });
        const std::string set = "[n=" + std::to_string(fd + 1) + ": " + std::to_string(fd) + "]";

        EXPECT_EQ(text.out.substr(0, text.out.find('\n')),
                  "[DEBUG] BZ::sendPattern() select(" + set + "," + set + ",..,18446744073709551615)");
    }
}

TEST_F(PatternLines, AreWrittenWholeUnderTheLogLockAlone) {
    onWait = [this](const wait_t&) {
        EXPECT_FALSE(locks_t::now().log || locks_t::now().device) << "no lock is held across the wait";
        return waits.size() == 1 ? outcome_t{true, true, 0} : outcome_t{false, false, EBADF};
    };
    settings.loop = 2;
    settings.errnum = 1;
    settings.verbose = 2;
    LockProbe out(std::cout);
    LockProbe err(std::cerr);
    run();

    std::size_t ofTheSender = 0;
    for (const LockProbe::piece_t& piece : out.pieces) {
        if (piece.text.find("[DEBUG] BZ::sendPattern() ") == 0) {
            ++ofTheSender;
            EXPECT_EQ(piece.text.back(), '\n') << "a line is one piece";
            EXPECT_TRUE(piece.locks.log && !piece.locks.device) << piece.text;
        }
    }
    EXPECT_EQ(ofTheSender, 7U) << "select, after, discard, injected error, counter; select, after";
    EXPECT_GE(out.flushes, ofTheSender);
    ASSERT_FALSE(err.pieces.empty());
    for (const LockProbe::piece_t& piece : err.pieces) {
        EXPECT_TRUE(piece.locks.log && !piece.locks.device) << piece.text;
    }
}
