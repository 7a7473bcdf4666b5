// Messages to the device file: one record in one write.

#include "libqvutil/hexdump.h"
#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/framewriter.h"
#include "tests/unit/qvtools/recordfile.h"

#include <cerrno>
#include <memory>
#include <sstream>
#include <string>

namespace {

class RecordWriter : public FrameWriter {
protected:
    RecordWriter() { settings.network = false; }
};

std::string hexadecimalRecord(const CANExtTraceMessage& message) {
    const std::string bytes = recordText(message);
    return hexadecimal(bytes.data(), bytes.size());
}

} // namespace

TEST_F(RecordWriter, WritesTheWholeRecordAtOnceWhateverTheFrameOptions) {
    const CANExtTraceMessage message = messageOf(CT_EXTENDED, 0x123, 12);
    for (const bool fd : {false, true}) {
        settings.canFd = settings.brs = fd;
        const Captured text = captured([&] { EXPECT_EQ(send(message), 0); });

        EXPECT_EQ(written, hexadecimalRecord(message));
        EXPECT_EQ(text.out + text.err, "");
    }
    EXPECT_EQ(writes, 2);
}

TEST_F(RecordWriter, ShowsTheMessageAndTheRecordsBytesFromVerbosityTwoOn) {
    const CANExtTraceMessage message = messageOf(CT_STANDARD, 0x123, 3);
    const Captured text = captured([&] { EXPECT_EQ(send(message, 2), 0); });

    const std::string record = recordText(message);
    std::ostringstream dump;
    hexdump(dump, record.begin(), record.end(), "raw", 16, HEXDUMP_PREFIX_NONE, true);
    EXPECT_EQ(text.out, "[DEBUG] BZ::sendCAN() send: 12:34:56.000789 ch2 123#111213\n" + dump.str());
    EXPECT_EQ(text.err, "");
}

TEST_F(RecordWriter, PrintsNothingBelowVerbosityTwo) {
    const Captured text = captured([&] { EXPECT_EQ(send(messageOf(CT_STANDARD, 0x123, 3), 1), 0); });

    EXPECT_EQ(text.out + text.err, "");
}

TEST_F(RecordWriter, TakesMemoryForTheRecordAlone) {
    settings.verbose = 1;
    const std::unique_ptr<CanDevice> device = make();
    const CANExtTraceMessage message = messageOf(CT_STANDARD, 0x123, 64);
    CanDeviceTestAccess::sendCAN(*device, message); // the script's own notes have grown by now
    const std::ptrdiff_t before = allocations::live();

    EXPECT_EQ(allocations::during([&] { CanDeviceTestAccess::sendCAN(*device, message); }), 1U);
    EXPECT_EQ(allocations::live(), before);
}

TEST_F(RecordWriter, CallsAShortWriteIncompleteAndAFailedOneByItsReason) {
    const CANExtTraceMessage message = messageOf(CT_STANDARD, 0x123, 3);
    count = static_cast<ssize_t>(recordText(message).size()) - 1;
    const Captured incomplete = captured([&] { EXPECT_EQ(send(message), -1); });
    count = -1;
    errnum = ENOSPC;
    const Captured failed = captured([&] { EXPECT_EQ(send(message), -1); });

    EXPECT_EQ(incomplete.err, "write: incomplete CAN frame\n");
    EXPECT_EQ(failed.err, "write error: No space left on device\n");
    EXPECT_EQ(incomplete.out + failed.out, "");
    EXPECT_EQ(writes, 2) << "none is tried again";
}

TEST_F(RecordWriter, HoldsTheClassLockDuringTheWrite) {
    watch = true;
    send(messageOf(CT_STANDARD, 0x123, 3));

    EXPECT_TRUE(locks.device);
    EXPECT_FALSE(locks.log);
}
