// The file sender: a file in frames of 64 bytes, once.

#include "tests/fakes/lockprobe.h"
#include "tests/fakes/recordof.h"
#include "tests/unit/qvtools/sendfile.h"

#include <poll.h>

#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct size_t_row {
    std::size_t bytes;
    std::vector<std::size_t> pieces;
};

class SendFileSize : public SendFile, public testing::WithParamInterface<size_t_row> {};

} // namespace

TEST_P(SendFileSize, IsSentInPiecesOf64BytesWithAShortOrEmptyOneLast) {
    fill(counting(GetParam().bytes));
    const Captured text = send();

    EXPECT_EQ(result, 0);
    ASSERT_EQ(sent.size(), GetParam().pieces.size());
    std::size_t offset = 0;
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(sent[i], frame(counting(GetParam().bytes).substr(offset, GetParam().pieces[i])))
            << "frame " << i;
        offset += GetParam().pieces[i];
    }
    EXPECT_EQ(offset, GetParam().bytes);
    EXPECT_EQ(text.out + text.err, "");
}

INSTANTIATE_TEST_SUITE_P(Bytes, SendFileSize,
                         testing::Values(size_t_row{0, {0}}, size_t_row{1, {1}}, size_t_row{10, {10}},
                                         size_t_row{63, {63}}, size_t_row{64, {64, 0}},
                                         size_t_row{65, {64, 1}}, size_t_row{128, {64, 64, 0}},
                                         size_t_row{130, {64, 64, 2}}),
                         [](const auto& row) { return std::to_string(row.param.bytes); });

TEST_F(SendFile, IsCutIn64BytesOnAClassicDeviceToo) {
    settings.canFd = false;
    fill(counting(130));
    send();

    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(hexadecimal(sent[0].data(), sent[0].size()), "2301000040000000 0001020304050607");
    EXPECT_EQ(hexadecimal(sent[1].data(), sent[1].size()), "2301000040000000 4041424344454647");
    EXPECT_EQ(hexadecimal(sent[2].data(), sent[2].size()), "2301000002000000 8081000000000000");
}

TEST_F(SendFile, StampsAFrameWhenItsBytesHaveBeenRead) {
    ASSERT_EQ(mkfifo(settings.sendFileName.c_str(), 0600), 0);
    const auto writer =
        static_cast<int>(syscall(SYS_openat, AT_FDCWD, settings.sendFileName.c_str(), O_RDWR));
    ASSERT_EQ(syscall(SYS_write, writer, std::string(64, 'x').data(), 64), 64);
    bool taken = false;
    system.getMicroSecondsOfDay = [&] {
        pollfd pipe{writer, POLLIN, 0};
        taken = poll(&pipe, 1, 0) == 0;
        return std::uint64_t{0};
    };
    system.write = [](int, const void*, std::size_t) -> ssize_t { throw leave_t(); };
    const auto sender = device();
    EXPECT_THROW(CanDeviceTestAccess::sendFile(*sender), leave_t);
    close(writer);

    EXPECT_TRUE(taken);
}

TEST_F(SendFile, ThatCannotBeOpenedIsReportedWithoutALock) {
    settings.sendFileName = folder / "missing";
    const LockProbe err(std::cerr);
    EXPECT_EQ(CanDeviceTestAccess::sendFile(*device()), -1);

    ASSERT_EQ(err.pieces.size(), 1U) << "in one insertion";
    EXPECT_FALSE(err.pieces.front().locks.log || err.pieces.front().locks.device);
}

namespace {

struct identifier_t {
    const char* name;
    canid_t given;
    canid_t sent;
};

class SendFileIdentifier : public SendFile, public testing::WithParamInterface<identifier_t> {};

} // namespace

TEST_P(SendFileIdentifier, IsTheSameInEveryFrame) {
    settings.canId = GetParam().given;
    fill(counting(70));
    send();

    const bool remote = (GetParam().given & CAN_RTR_FLAG) != 0;
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0], frame(remote ? std::string(64, '\0') : counting(64), GetParam().sent));
    EXPECT_EQ(sent[1], frame(remote ? std::string(6, '\0') : counting(70).substr(64), GetParam().sent));
}

INSTANTIATE_TEST_SUITE_P(Rows, SendFileIdentifier,
                         testing::Values(identifier_t{"standard", 0x7FF, 0x7FF},
                                         identifier_t{"zero_stays_zero", 0, 0},
                                         identifier_t{"cut_to_11_bits", 0x12345, 0x345},
                                         identifier_t{"extended", 0x9FFFFFFF, 0x9FFFFFFF},
                                         identifier_t{"extended_zero", 0x80000000, 0x80000000},
                                         identifier_t{"error_flag_is_dropped", 0x20000123, 0x123},
                                         identifier_t{"remote", 0x40000123, 0x40000123},
                                         identifier_t{"remote_extended", 0xC0012345, 0xC0012345}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(SendFile, PausesAfterEveryFrameTheLastIncluded) {
    settings.timegap = 5000;
    fill(counting(130));
    send();

    EXPECT_EQ(steps, "wswsws");
}

TEST_F(SendFile, CountsAndPausesForAFrameThatCouldNotBeWritten) {
    settings.timegap = 5000;
    fail = true;
    fill(counting(130));
    const Captured text = send();

    EXPECT_EQ(result, 0);
    EXPECT_EQ(steps, "wswsws");
    const std::string line = "write error: No buffer space available\n";
    EXPECT_EQ(text.err, line + line + line);
}

TEST_F(SendFile, StartsAgainAtTheTopOfTheFileWhenItIsCalledAgain) {
    fill(counting(70));
    send();
    send();

    ASSERT_EQ(sent.size(), 4U);
    EXPECT_EQ(sent[2], sent[0]);
    EXPECT_EQ(sent[3], sent[1]);
}

TEST_F(SendFile, StampsEachMessageWithTheTimeAfterItsRead) {
    settings.network = false;
    settings.channel = 5; // is not of this mode
    std::uint64_t clock = 41;
    system.getMicroSecondsOfDay = [&clock] { return ++clock; };
    fill(counting(70));
    send();

    ASSERT_EQ(sent.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        canfd_frame piece{};
        piece.can_id = 0x123;
        piece.len = i == 0 ? 64 : 6;
        std::memcpy(piece.data, counting(70).data() + 64 * i, piece.len);
        EXPECT_EQ(sent[i], recordText(CANExtTraceMessage(42 + i, 0, piece)));
    }
}

TEST_F(SendFile, TakesAFolderForAFileWithoutContent) {
    settings.sendFileName = folder / ".";
    const Captured text = send();

    EXPECT_EQ(sent, std::vector<std::string>({frame("")}))
        << "the read fails, and makes a frame as at an end";
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(result, 0);
}

TEST_F(SendFile, IsWhatTheThreadOfADeviceWithAFileRuns) {
    fill(counting(10));
    CanDeviceTestAccess::threadCode(*device());

    EXPECT_EQ(sent.size(), 1U);
}

namespace {

class SendFileUnusable : public SendFile, public testing::WithParamInterface<unusable_t> {};

} // namespace

TEST_P(SendFileUnusable, IsReportedAndNothingIsSent) {
    fill("x");
    settings.sendFileName = folder / GetParam().path;
    const Captured text = send(3);

    EXPECT_EQ(text.err, "Cannot open " + settings.sendFileName + ": " + GetParam().text + "\n");
    EXPECT_EQ(text.out, "");
    EXPECT_EQ(result, -1);
    EXPECT_TRUE(sent.empty());
}

INSTANTIATE_TEST_SUITE_P(Reasons, SendFileUnusable,
                         testing::Values(unusable_t{"missing", "none", "No such file or directory"},
                                         unusable_t{"below_a_file", "file/below", "Not a directory"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(SendFile, ReportsAFileThatItMayNotRead) {
    fill("x");
    ASSERT_EQ(chmod(settings.sendFileName.c_str(), 0), 0);
    const bool root = geteuid() == 0;
    if (root) { // who may read anything, unless as somebody else
        ASSERT_EQ(chmod((folder / ".").c_str(), 0755), 0);
        setfsuid(65534);
    }
    const Captured text = send();
    if (root) {
        setfsuid(0);
    }

    EXPECT_EQ(text.err, "Cannot open " + settings.sendFileName + ": Permission denied\n");
    EXPECT_EQ(result, -1);
}

TEST_F(SendFile, BreaksTheErrorStreamWhenTheSystemHasNoTextForTheReason) {
    settings.sendFileName = folder / "none";
    system.strerror = [](int) -> char* { return nullptr; };
    const Captured text = send();

    EXPECT_EQ(text.err, "Cannot open " + settings.sendFileName + ": ");
    EXPECT_FALSE(text.errGood);
}
