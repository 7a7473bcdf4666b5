// Writes that fail: one bare line under the lock of the class, and the frame is gone.

#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/framewriter.h"

#include <cerrno>
#include <iostream>
#include <ostream>
#include <stdexcept>
#include <string>

namespace {

struct failed_write_t {
    const char* name;
    bool canFd;
    ssize_t count;
    int errnum;
    const char* err;
    friend void PrintTo(const failed_write_t& row, std::ostream* out) { *out << row.name; }
};

class FrameWriterFailure : public FrameWriter, public testing::WithParamInterface<failed_write_t> {};

} // namespace

TEST_P(FrameWriterFailure, IsOneBareLineUnderTheClassLockAndNoSecondWrite) {
    settings.canFd = GetParam().canFd;
    count = GetParam().count;
    errnum = GetParam().errnum;
    watch = true;
    const LockProbe out(std::cout);
    const LockProbe err(std::cerr);

    EXPECT_EQ(send(messageOf(CT_STANDARD, 0x123, 8), 1), -1);

    EXPECT_EQ(writes, 1);
    EXPECT_TRUE(locks.device);
    EXPECT_FALSE(locks.log);
    EXPECT_TRUE(out.pieces.empty());
    ASSERT_EQ(err.pieces.size(), 1U);
    EXPECT_EQ(err.pieces.front().text, GetParam().err);
    EXPECT_TRUE(err.pieces.front().locks.device);
    EXPECT_FALSE(err.pieces.front().locks.log);
    EXPECT_GE(err.flushes, 1U);
    EXPECT_FALSE(locks_t::now().device) << "released at the end";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FrameWriterFailure,
    testing::Values(
        failed_write_t{"queue_full", false, -1, ENOBUFS, "write error: No buffer space available\n"},
        failed_write_t{"network_down", true, -1, ENETDOWN, "write error: Network is down\n"},
        failed_write_t{"signal", true, -1, EINTR, "write error: Interrupted system call\n"},
        failed_write_t{"short_classic", false, 10, 0, "write: incomplete CAN frame\n"},
        failed_write_t{"one_byte_short", false, 15, 0, "write: incomplete CAN frame\n"},
        failed_write_t{"short_fd", true, 71, 0, "write: incomplete CAN frame\n"},
        failed_write_t{"classic_bytes_of_an_fd_frame", true, 16, 0, "write: incomplete CAN frame\n"},
        failed_write_t{"nothing", true, 0, 0, "write: incomplete CAN frame\n"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(FrameWriter, BreaksTheErrorStreamWhenTheSystemHasNoTextForTheReason) {
    count = -1;
    errnum = ENOBUFS;
    int asked = 0;
    system.strerror = [&asked](int number) -> char* {
        asked = number;
        return nullptr;
    };
    const Captured text = captured([&] { EXPECT_EQ(send(messageOf(CT_STANDARD, 1, 1)), -1); });

    EXPECT_EQ(text.err, "write error: ");
    EXPECT_FALSE(text.errGood);
    EXPECT_EQ(asked, ENOBUFS);
}

TEST_F(FrameWriter, ReleasesTheClassLockWhenTheWriteIsLeftByAnException) {
    system.write = [](int, const void*, std::size_t) -> ssize_t { throw std::runtime_error("left"); };

    EXPECT_THROW(send(messageOf(CT_STANDARD, 1, 1)), std::runtime_error);
    EXPECT_FALSE(locks_t::now().device);
}
