// Receive to file: the payload of every frame, and nothing else, into one file.

#include "tests/fakes/captured.h"
#include "tests/fakes/temporaryfolder.h"
#include "tests/unit/qvtools/recordfile.h"

#include <fstream>
#include <iterator>

#include <sys/stat.h>

namespace {

std::string contentsOf(const std::string& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

class ReceiveFile : public RecordFile {
protected:
    ReceiveFile() {
        settings.readFileName = folder / "received";
        settings.network = true;
        system.read = [this](int, void* to, std::size_t) -> ssize_t {
            if (onRead) {
                onRead();
            }
            if (incoming.empty()) {
                throw leave_t();
            }
            const canfd_frame frame = incoming.front();
            incoming.pop_front();
            std::memcpy(to, &frame, sizeof frame);
            errno = ENETDOWN;
            return frame.len == broken.len ? -1 : 72;
        };
    }

    /// A frame of `length` bytes that count from `first`.
    static canfd_frame frameOf(std::uint8_t length, std::uint8_t first, canid_t id = 0x123) {
        canfd_frame frame{};
        frame.can_id = id;
        frame.len = length;
        for (std::uint8_t i = 0; i < length; ++i) {
            frame.data[i] = static_cast<std::uint8_t>(first + i);
        }
        return frame;
    }

    /// The bytes that `frameOf` has.
    static std::string run(std::size_t length, int first) {
        std::string bytes;
        for (std::size_t i = 0; i < length; ++i) {
            bytes += static_cast<char>(first + static_cast<int>(i));
        }
        return bytes;
    }

    Captured record(unsigned short verbose = 0) {
        settings.verbose = verbose;
        const std::unique_ptr<CanDevice> made(CanDeviceTestAccess::makeWithFiles(settings));
        return captured([&] { EXPECT_THROW(CanDeviceTestAccess::threadCode(*made), leave_t); });
    }

    const canfd_frame broken{0, 65, 0, 0, 0, {}}; ///< stands for a read that fails
    TemporaryFolder folder;
    std::deque<canfd_frame> incoming;
    std::function<void()> onRead;
};

} // namespace

TEST_F(ReceiveFile, HoldsThePayloadsInTheirOrderAndNothingElse) {
    incoming = {frameOf(8, 1), frameOf(0, 0), frameOf(64, 100), frameOf(12, 7, CAN_EFF_FLAG | 5)};
    const Captured text = record();

    EXPECT_EQ(contentsOf(settings.readFileName), run(8, 1) + run(64, 100) + run(12, 7));
    EXPECT_EQ(text.out + text.err, "") << "nothing is printed at verbosity 0";
}

TEST_F(ReceiveFile, IsEmptiedAtTheStart) {
    std::ofstream(settings.readFileName) << "what an earlier run left";
    std::string atFirstRead = "not looked at";
    onRead = [&] { atFirstRead = contentsOf(settings.readFileName); };
    record();

    EXPECT_EQ(atFirstRead, "");
    EXPECT_EQ(contentsOf(settings.readFileName), "");
}

TEST_F(ReceiveFile, KeepsBytesAsTheyAreWhateverTheyMean) {
    canfd_frame frame = frameOf(6, 0);
    std::memcpy(frame.data, "\r\n\0\x1A\xFF\n", 6);
    incoming = {frame};
    record();

    EXPECT_EQ(contentsOf(settings.readFileName), std::string("\r\n\0\x1A\xFF\n", 6));
}

TEST_F(ReceiveFile, IsNotFlushedWithEachFrame) {
    incoming = {frameOf(64, 0), frameOf(64, 1), frameOf(64, 2)};
    std::string seen;
    onRead = [&] { seen += contentsOf(settings.readFileName); };
    record();

    EXPECT_EQ(seen, "") << "the bytes wait in the stream's buffer";
    EXPECT_EQ(contentsOf(settings.readFileName).size(), 192U) << "which is written at the latest at the end";
}

TEST_F(ReceiveFile, GoesOnAfterAReadThatFailed) {
    incoming = {frameOf(2, 1), broken, frameOf(2, 3)};
    const Captured text = record(1);

    EXPECT_EQ(contentsOf(settings.readFileName), "\1\2\3\4");
    EXPECT_EQ(text.out, "Msg counter: 1\rMsg counter: 2\r") << "only successful reads count";
    EXPECT_EQ(text.err, "read error: Network is down\n");
}

TEST_F(ReceiveFile, CountsItsReadsOnOneLineFromVerbosityOneOn) {
    for (unsigned short verbose = 1; verbose <= 3; ++verbose) {
        incoming = {frameOf(8, 1), frameOf(0, 0), frameOf(64, 0)};
        const Captured text = record(verbose);

        EXPECT_EQ(text.out, "Msg counter: 1\rMsg counter: 2\rMsg counter: 3\r");
        EXPECT_EQ(text.err, "");
    }
}

TEST_F(ReceiveFile, FlushesItsCounterWithoutALock) {
    incoming = {frameOf(8, 1)};
    settings.verbose = 1;
    const std::unique_ptr<CanDevice> made(CanDeviceTestAccess::makeWithFiles(settings));
    LockProbe out(std::cout);
    EXPECT_THROW(CanDeviceTestAccess::threadCode(*made), leave_t);

    ASSERT_EQ(out.pieces.size(), 1U);
    EXPECT_FALSE(out.pieces.front().locks.log || out.pieces.front().locks.device);
    EXPECT_EQ(out.flushes, 1U);
}

TEST_F(ReceiveFile, CountsReadsOfADeviceFileThatDeliveredNoFrameAndTakesRemoteRequestsAsZeros) {
    settings.network = false;
    const std::uint8_t data[] = {1, 2, 3, 4};
    std::deque<std::string> records = {
        recordText(CANExtTraceMessage(0, 0, CF_TXREQUEST, CSE_NO, CT_STANDARD, 4, 1, data)) +
            classicRecord(2) + frameRecord(3),
        frameRecord(4).substr(0, 9), frameRecord(4).substr(9)};
    system.read = [&](int, void* to, std::size_t) {
        if (records.empty()) {
            throw leave_t();
        }
        const std::string bytes = records.front();
        records.pop_front();
        std::memcpy(to, bytes.data(), bytes.size());
        return static_cast<ssize_t>(bytes.size());
    };
    const Captured text = record(1);

    EXPECT_EQ(contentsOf(settings.readFileName), std::string(4, '\0') + "\x11\x22\x33\x11\x22\x33");
    EXPECT_EQ(text.out, "Msg counter: 1\rMsg counter: 2\rMsg counter: 3\rMsg counter: 4\rMsg counter: 5\r");
}

TEST_F(ReceiveFile, LeavesNoFrameBehindInMemory) {
    reads = 0;
    system.read = [this](int, void* to, std::size_t n) -> ssize_t {
        if (++reads > 100) {
            throw leave_t();
        }
        std::memset(to, 0, n);
        return 72;
    };
    const std::unique_ptr<CanDevice> made(CanDeviceTestAccess::makeWithFiles(settings));
    const std::ptrdiff_t before = allocations::live();
    EXPECT_THROW(CanDeviceTestAccess::threadCode(*made), leave_t);

    EXPECT_EQ(allocations::live(), before);
}

TEST_F(ReceiveFile, DropsWhatCannotBeWrittenInSilence) {
    settings.readFileName = "/dev/full";
    for (std::uint8_t i = 0; i < 200; ++i) {
        incoming.push_back(frameOf(64, i));
    }
    const Captured text = record();

    EXPECT_TRUE(incoming.empty());
    EXPECT_EQ(text.out + text.err, "");
}

namespace {

class ReceiveFileUnusable : public ReceiveFile, public testing::WithParamInterface<unusable_t> {};

} // namespace

TEST_P(ReceiveFileUnusable, IsReportedAndTheThreadEnds) {
    std::ofstream(folder / "file") << "kept";
    settings.readFileName = folder / GetParam().path;
    const std::unique_ptr<CanDevice> made(CanDeviceTestAccess::makeWithFiles(settings));
    const Captured text = captured([&] { CanDeviceTestAccess::threadCode(*made); });

    EXPECT_EQ(text.err, "Cannot open " + settings.readFileName + ": " + GetParam().text + "\n");
    EXPECT_EQ(text.out, "");
    EXPECT_EQ(contentsOf(folder / "file"), "kept");
}

INSTANTIATE_TEST_SUITE_P(Reasons, ReceiveFileUnusable,
                         testing::Values(unusable_t{"in_a_folder_that_is_none", "none/file",
                                                    "No such file or directory"},
                                         unusable_t{"a_folder", ".", "Is a directory"},
                                         unusable_t{"below_a_file", "file/below", "Not a directory"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(ReceiveFile, ThatCannotBeOpenedIsReportedWithoutALock) {
    settings.readFileName = folder / "missing/file";
    const std::unique_ptr<CanDevice> recorder(CanDeviceTestAccess::makeWithFiles(settings));
    const LockProbe err(std::cerr);
    CanDeviceTestAccess::threadCode(*recorder);

    ASSERT_EQ(err.pieces.size(), 1U) << "in one insertion";
    EXPECT_FALSE(err.pieces.front().locks.log || err.pieces.front().locks.device);
}
