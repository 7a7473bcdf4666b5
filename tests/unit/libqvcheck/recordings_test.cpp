#include "libqvcheck/recordings.h"
#include "libqvtrace/canexttracemessage.h"
#include "tests/fakes/recordof.h"
#include "tests/fakes/temporaryfolder.h"
#include "tests/unit/libqvcheck/framenote.h"

#include <fstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

typedef std::vector<std::string> strings_t;

class RecordingsTest : public testing::Test {
protected:
    std::string file(const char* name, const std::string& text) {
        std::ofstream(folder / name, std::ios::binary) << text;
        return folder / name;
    }

    /// The notes of all frames, read `n` at a time.
    static strings_t readAll(Recordings& recordings, std::size_t n = 64) {
        strings_t notes;
        std::vector<receivedFrame_t> frames(n);
        while (!recordings.ended()) {
            const std::size_t got = recordings.read(frames.data(), n);
            for (std::size_t i = 0; i < got; ++i) {
                notes.push_back(noteOf(frames[i]));
            }
        }
        return notes;
    }

    TemporaryFolder folder;
    InterfaceTable interfaces;
};

} // namespace

TEST_F(RecordingsTest, AreReadOneBehindTheOtherEachInItsForm) {
    Recordings recordings({file("log", "(1.0) can0 001#\n"), file("trace", recordText(CANExtTraceMessage())),
                           file("text", "rcvd 00:00:00.000000 ch1 002#\n"), file("empty", "")},
                          interfaces);
    EXPECT_EQ(readAll(recordings),
              (strings_t{"00000001#", "80000000# interface 1", "00000002# interface 2"}));
    EXPECT_EQ(recordings.counts().frames, 3U);
    EXPECT_TRUE(recordings.failures().empty());
}

TEST_F(RecordingsTest, GiveEachFrameOnceHoweverManyAreTakenAtATime) {
    std::string log;
    strings_t notes;
    for (int i = 100; i < 400; ++i) {
        log += "(1.0) can0 " + std::to_string(i) + "#\n";
        notes.push_back("00000" + std::to_string(i) + "#");
    }
    for (const std::size_t n : {1U, 7U, 300U, 1000U}) {
        Recordings recordings({file("log", log)}, interfaces);
        EXPECT_EQ(readAll(recordings, n), notes) << n;
    }
}

TEST_F(RecordingsTest, TakeALogThatBeginsWithACommentOrWithDroppedFramesForOne) {
    for (const char* const first :
         {"# 11.292207 s1 lost 31\n", "DROPCOUNT: dropped 2 CAN frames on 'can0' socket (total drops 2)\n"}) {
        Recordings recordings({file("log", std::string(first) + "(1.0) can0 001#\n")}, interfaces);
        EXPECT_EQ(readAll(recordings).size(), 1U) << first;
    }
}

TEST_F(RecordingsTest, NoteAFileThatCannotBeReadAndReadTheOthers) {
    Recordings recordings({folder / "nothing", file("log", "(1.0) can0 001#\n"), folder / "."}, interfaces);
    EXPECT_EQ(readAll(recordings), strings_t{"00000001#"});
    EXPECT_EQ(recordings.failures(),
              (strings_t{folder / "nothing: No such file or directory", folder / ".: Is a directory"}));
}

TEST_F(RecordingsTest, NameTheFileAndLineOfTheFirstBrokenLine) {
    const std::string second = file("second", "(1.0) can0 001#\n(1.0) broken\n");
    Recordings recordings({file("first", "(1.0) can0 001#\n"), second, file("third", "(\n")}, interfaces);
    readAll(recordings);
    EXPECT_EQ(recordings.counts().broken, 2U);
    EXPECT_EQ(recordings.counts().firstBroken, second + ":2");
}

TEST_F(RecordingsTest, GiveWhatIsThereWithoutWaitingForMore) {
    const std::string path = folder / "pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int writer = open(path.c_str(), O_RDWR | O_CLOEXEC);
    Recordings recordings({path}, interfaces);
    receivedFrame_t frames[8];
    EXPECT_EQ(recordings.read(frames, 8), 0U) << "opens it";
    const auto feed = [&](const std::string& piece) {
        EXPECT_EQ(write(writer, piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
        return recordings.read(frames, 8);
    };
    EXPECT_EQ(feed("(1.0) can0 001#\n(1.0) can0 002#\n(1.0) ca"), 2U);
    EXPECT_EQ(feed("n0 003#"), 0U);
    EXPECT_FALSE(recordings.ended());
    EXPECT_EQ(feed("11\n"), 1U);
    EXPECT_EQ(noteOf(frames[0]), "00000003#11");
    EXPECT_GE(recordings.descriptor(), 0);
    close(writer);
}

TEST_F(RecordingsTest, WaitForTheSecondByteWhereTheFirstDoesNotTellTheForm) {
    const std::string path = folder / "pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int writer = open(path.c_str(), O_RDWR | O_CLOEXEC);
    Recordings recordings({path}, interfaces);
    receivedFrame_t frame;
    EXPECT_EQ(recordings.read(&frame, 1), 0U) << "opens it";
    const std::string bytes = recordText(CANExtTraceMessage());
    EXPECT_EQ(write(writer, bytes.data(), 1), 1);
    EXPECT_EQ(recordings.read(&frame, 1), 0U);
    EXPECT_EQ(write(writer, bytes.data() + 1, bytes.size() - 1), static_cast<ssize_t>(bytes.size() - 1));
    EXPECT_EQ(recordings.read(&frame, 1), 1U);
    close(writer);
}

TEST_F(RecordingsTest, OpenAPipeThatNobodyWritesToWithoutWaiting) {
    const std::string path = folder / "pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    Recordings recordings({path}, interfaces);
    receivedFrame_t frame;
    EXPECT_EQ(recordings.read(&frame, 1), 0U);
    EXPECT_FALSE(recordings.ended());
    EXPECT_GE(recordings.descriptor(), 0) << "to be waited for";
}

TEST_F(RecordingsTest, HandOnWhatIsBufferedWithoutTouchingTheDescriptor) {
    Recordings recordings({file("log", "(1.0) can0 001#\n(1.0) can0 002#\n(1.0) can0 003#\n")}, interfaces);
    receivedFrame_t frames[2];
    EXPECT_EQ(recordings.readBuffered(frames, 2), 0U);
    EXPECT_EQ(recordings.read(frames, 2), 0U) << "opens it";
    EXPECT_EQ(recordings.readBuffered(frames, 2), 0U);
    EXPECT_EQ(recordings.read(frames, 2), 2U);
    EXPECT_EQ(recordings.readBuffered(frames, 2), 1U);
    EXPECT_EQ(recordings.readBuffered(frames, 2), 0U);
    EXPECT_FALSE(recordings.ended());
}
