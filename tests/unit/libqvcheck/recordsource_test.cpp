#include "libqvcheck/recordsource.h"
#include "tests/fakes/fakesystem.h"
#include "tests/fakes/recordof.h"
#include "tests/fakes/temporaryfolder.h"

#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct RecordSourceOnAPair : ::testing::Test {
    RecordSourceOnAPair() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
        table.indexOf("another");
        source = std::make_unique<RecordSource>(ends[0], "/tmp/node2", table);
        system.clock_gettime = [this](clockid_t clock, timespec* time) {
            EXPECT_EQ(clock, CLOCK_REALTIME);
            *time = {4102444800 + clockReadings++, 5};
            return 0;
        };
    }
    ~RecordSourceOnAPair() override { hangUp(); }

    void hangUp() {
        if (ends[1] != -1) {
            close(ends[1]);
        }
        ends[1] = -1;
    }
    void write(const byteVec_t& bytes) const {
        ASSERT_EQ(::write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    static byteVec_t record(std::uint32_t canId) {
        return recordOf(CANExtTraceMessage(77, 3, CF_STANDARD, CSE_NO, CT_STANDARD, 0, canId, nullptr));
    }
    std::size_t read(std::size_t n = 8) { return source->read(frames, n); }

    int ends[2] = {-1, -1};
    int clockReadings = 0;
    InterfaceTable table;
    std::unique_ptr<RecordSource> source;
    FakeSystem system;
    receivedFrame_t frames[8];
};

} // namespace

TEST_F(RecordSourceOnAPair, GivesFramesTheDeviceAsTheirInterfaceAndTheTimeOfTheirArrival) {
    write(record(0x123));
    ASSERT_EQ(read(), 1U);
    EXPECT_EQ(frames[0].canId, 0x123U);
    EXPECT_EQ(frames[0].time, 4102444800000000005);
    EXPECT_EQ(table.name(frames[0].interface), "/tmp/node2");
    EXPECT_EQ(table.size(), 2U) << "no interface for the record's channel";
}

TEST_F(RecordSourceOnAPair, HasNothingWhileNothingIsThere) {
    EXPECT_EQ(read(), 0U);
    EXPECT_FALSE(source->ended());
}

TEST_F(RecordSourceOnAPair, DeliversWhatOneReadBroughtUnderOneTime) {
    byteVec_t bytes = record(1);
    for (const std::uint32_t id : {2U, 3U}) {
        const byteVec_t next = record(id);
        bytes.insert(bytes.end(), next.begin(), next.end());
    }
    write(bytes);
    ASSERT_EQ(read(2), 2U);
    write(record(4));
    ASSERT_EQ(source->read(frames + 2, 2), 1U) << "what came since is for another read of the device";
    EXPECT_EQ(frames[2].canId, 3U);
    EXPECT_EQ(frames[2].time, frames[0].time);
}

TEST_F(RecordSourceOnAPair, JoinsARecordThatComesInPieces) {
    const byteVec_t bytes = record(0x123);
    write({bytes.begin(), bytes.begin() + 5});
    EXPECT_EQ(read(), 0U);
    write({bytes.begin() + 5, bytes.end()});
    ASSERT_EQ(read(), 1U);
    EXPECT_EQ(frames[0].time, 4102444801000000005) << "when the rest came";
    EXPECT_EQ(source->passedOver(), 0U);
}

TEST_F(RecordSourceOnAPair, CountsBytesOfNoRecord) {
    write({1, 2, 3});
    write(record(0x123));
    ASSERT_EQ(read(), 1U);
    EXPECT_EQ(source->passedOver(), 3U);
}

TEST_F(RecordSourceOnAPair, EndsWhenTheOtherSideCloses) {
    write(record(0x123));
    hangUp();
    EXPECT_EQ(read(), 1U);
    EXPECT_FALSE(source->ended()) << "there may be more";
    EXPECT_EQ(read(), 0U);
    EXPECT_TRUE(source->ended());
    EXPECT_EQ(source->error(), 0);
}

TEST_F(RecordSourceOnAPair, KeepsTheReasonOfAFailure) {
    system.read = [](int, void*, size_t) -> ssize_t {
        errno = EIO;
        return -1;
    };
    EXPECT_EQ(read(), 0U);
    EXPECT_TRUE(source->ended());
    EXPECT_EQ(source->error(), EIO);
}

TEST_F(RecordSourceOnAPair, ClosesItsDescriptor) {
    source.reset();
    char byte;
    EXPECT_EQ(::read(ends[1], &byte, 1), 0);
}

TEST(RecordSource, OpensADeviceWithoutWaitingForAWriter) {
    const TemporaryFolder folder;
    const std::string fifo = folder / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int fd = RecordSource::open(fifo);
    ASSERT_NE(fd, -1);
    EXPECT_EQ(fcntl(fd, F_GETFL) & (O_NONBLOCK | O_ACCMODE), O_NONBLOCK | O_RDONLY);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    close(fd);
    EXPECT_EQ(RecordSource::open(folder / "nothing"), -1);
    EXPECT_EQ(errno, ENOENT);
}
