#include "libqvtrace/canexttracemessage.h"
#include "libqvutil/exception.h"
#include "qvtools/userbus.h"
#include "tests/fakes/temporaryfolder.h"

#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

byteVec_t recordOf(const MessageBase& message) {
    byteVec_t record;
    message.createByteArray(record, true, true);
    return record;
}

byteVec_t frameRecord(std::uint32_t id) {
    CANExtTraceMessage message;
    message.resetPattern(id, false);
    return recordOf(message);
}

/// A bus of three nodes that runs on a thread of its own, and the three programs on it.
class RunningBus : public testing::Test {
protected:
    RunningBus() : bus(folder / "node", 3, true) {
        if (pipe(stop) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        for (int i = 0; i < 3; ++i) {
            users[i] = open((folder / "node" + std::to_string(i)).c_str(), O_RDWR | O_NOCTTY);
        }
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        runner = std::thread([this] { result = bus.run(stop[0]); });
    }

    ~RunningBus() override {
        for (const int fd : {users[0], users[1], users[2], stop[0], stop[1]}) {
            close(fd);
        }
    }

    void put(int user, const byteVec_t& bytes) {
        ASSERT_EQ(write(users[user], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    /// Blocks until `n` bytes have come.
    byteVec_t take(int user, std::size_t n) {
        byteVec_t bytes(n);
        for (std::size_t have = 0; have < n;) {
            const ssize_t got = read(users[user], bytes.data() + have, n - have);
            if (got <= 0) {
                ADD_FAILURE() << "read gives " << got << " after " << have << " bytes";
                break;
            }
            have += static_cast<std::size_t>(got);
        }
        return bytes;
    }

    /// Ends the bus and takes what it wrote.
    void finish() {
        EXPECT_EQ(write(stop[1], "", 1), 1);
        runner.join();
        bus.printCounts();
        out = testing::internal::GetCapturedStdout();
        err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(result, 0);
    }

    std::string name(int i) const { return folder / "node" + std::to_string(i); }

    TemporaryFolder folder;
    UserBus bus;
    int stop[2];
    int users[3];
    std::thread runner;
    int result = -1;
    std::string out;
    std::string err;
};

} // namespace

TEST_F(RunningBus, HandsEachRecordToAllOthersAndNotBack) {
    const byteVec_t first = frameRecord(0x101);
    const byteVec_t second = frameRecord(0x102);
    put(0, first);
    EXPECT_EQ(take(1, first.size()), first);
    EXPECT_EQ(take(2, first.size()), first);
    put(1, second);
    // Had node 0 got its own record back, it would come first.
    EXPECT_EQ(take(0, second.size()), second);
    EXPECT_EQ(take(2, second.size()), second);
    finish();
    EXPECT_EQ(err, "");
    EXPECT_THAT(out, testing::HasSubstr(name(0) + ": 1 sent, 1 received, 0 missed\n"));
    EXPECT_THAT(out, testing::HasSubstr(name(1) + ": 1 sent, 1 received, 0 missed\n"));
    EXPECT_THAT(out, testing::HasSubstr(name(2) + ": 0 sent, 2 received, 0 missed\n"));
}

TEST_F(RunningBus, PrintsEachRecordWithTheNodeItCameFrom) {
    const byteVec_t record = frameRecord(0x123);
    put(2, record);
    take(0, record.size());
    finish();
    EXPECT_THAT(out, testing::HasSubstr(name(2) + " 00:00:00.000000 ch0 123#0000012300010203\n"));
}

TEST_F(RunningBus, PassesRecordsOfOtherKinds) {
    MessageBase other(static_cast<msgid_t>(77), 0);
    const std::uint8_t body[] = {1, 2, 3};
    other.readBody(body, sizeof body);
    const byteVec_t record = recordOf(other);
    put(0, record);
    EXPECT_EQ(take(1, record.size()), record);
    finish();
}

TEST_F(RunningBus, ReportsGarbageWithTheNodeItCameFromAndGoesOn) {
    byteVec_t bytes = {'?', '?'};
    const byteVec_t record = frameRecord(5);
    bytes.insert(bytes.end(), record.begin(), record.end());
    put(1, bytes);
    EXPECT_EQ(take(0, record.size()), record);
    finish();
    EXPECT_EQ(err, name(1) + ": trace buffer: passed over 2 bytes outside of any sound record\n");
}

TEST_F(RunningBus, JoinsARecordThatIsWrittenInPieces) {
    const byteVec_t record = frameRecord(6);
    put(0, byteVec_t(record.begin(), record.begin() + 9));
    put(0, byteVec_t(record.begin() + 9, record.end()));
    EXPECT_EQ(take(2, record.size()), record);
    finish();
    EXPECT_EQ(err, "");
}

TEST(UserBus, PassesOnWhatWasWrittenBeforeItWasAskedToEnd) {
    const TemporaryFolder folder;
    UserBus bus(folder / "node", 2, false);
    const byteVec_t record = frameRecord(7);
    const int writer = open((folder / "node0").c_str(), O_RDWR | O_NOCTTY);
    const int reader = open((folder / "node1").c_str(), O_RDWR | O_NOCTTY);
    ASSERT_EQ(write(writer, record.data(), record.size()), static_cast<ssize_t>(record.size()));
    close(writer);
    int stop[2];
    ASSERT_EQ(pipe(stop), 0);
    close(stop[1]); // readable from the start
    EXPECT_EQ(bus.run(stop[0]), 0);
    byteVec_t got(record.size());
    EXPECT_EQ(read(reader, got.data(), got.size()), static_cast<ssize_t>(record.size()));
    EXPECT_EQ(got, record);
    close(reader);
    close(stop[0]);
}

TEST(UserBus, LeavesNothingBehindWhenOneNameIsTaken) {
    const TemporaryFolder folder;
    ASSERT_EQ(symlink("/dev/null", (folder / "node1").c_str()), 0);
    EXPECT_THROW(UserBus(folder / "node", 2, false), QVException);
    EXPECT_NE(access((folder / "node0").c_str(), F_OK), 0);
    EXPECT_EQ(access((folder / "node1").c_str(), F_OK), 0);
}
