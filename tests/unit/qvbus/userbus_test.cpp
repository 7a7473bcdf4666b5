#include "libqvutil/exception.h"
#include "qvbus/userbus.h"
#include "tests/fakes/fakesystem.h"
#include "tests/fakes/temporaryfolder.h"
#include "tests/unit/qvbus/opened.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

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
        out = testing::internal::GetCapturedStdout();
        err = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(result);
    }

    std::string name(int i) const { return folder / "node" + std::to_string(i); }

    TemporaryFolder folder;
    UserBus bus;
    int stop[2];
    int users[3];
    std::thread runner;
    bool result = false;
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

TEST(UserBus, LosesNothingBetweenNodesThatReadThoughTheyAreSlow) {
    FakeSystem system;
    system.getMicroSecondsOfDay = [] { return std::uint64_t{1000000}; }; // no node runs out of its time
    const TemporaryFolder folder;
    UserBus bus(folder / "node", 2, false);
    int stop[2];
    ASSERT_EQ(pipe(stop), 0);
    std::thread runner([&] { EXPECT_TRUE(bus.run(stop[0])); });
    const int sender = open((folder / "node0").c_str(), O_RDWR | O_NOCTTY);
    const int reader = open((folder / "node1").c_str(), O_RDWR | O_NOCTTY);
    constexpr std::uint32_t count = 40000; // 1.4 MB: more than the queue and the terminals hold
    std::atomic<std::uint32_t> written{0};
    std::thread writer([sender, &written] {
        for (std::uint32_t id = 0; id < count; ++id, ++written) {
            const byteVec_t record = frameRecord(id);
            EXPECT_EQ(write(sender, record.data(), record.size()), static_cast<ssize_t>(record.size()));
        }
    });
    while (written < 26000) { // what the bus keeps for a node is all but full
        std::this_thread::yield();
    }
    byteVec_t got(36);
    for (std::uint32_t id = 0; id < count; ++id) {
        for (std::size_t have = 0; have < got.size();) {
            const ssize_t n =
                read(reader, got.data() + have,
                     std::min<std::size_t>(got.size() - have, 4)); // so it is slower than the sender
            ASSERT_GT(n, 0);
            have += static_cast<std::size_t>(n);
        }
        ASSERT_EQ(got, frameRecord(id));
    }
    writer.join();
    ASSERT_EQ(write(stop[1], "", 1), 1);
    runner.join();
    for (const int fd : {sender, reader, stop[0], stop[1]}) {
        close(fd);
    }
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
    std::thread runner([&] { EXPECT_TRUE(bus.run(stop[0])); });
    byteVec_t got(record.size());
    EXPECT_EQ(read(reader, got.data(), got.size()), static_cast<ssize_t>(record.size()));
    EXPECT_EQ(got, record);
    runner.join();
    close(reader);
    close(stop[0]);
}

TEST_F(RunningBus, HandsOnARecordWithAnInvalidBodyAndCountsIt) {
    MessageBase broken(MSGID_CAN_EXT, 0);
    const std::uint8_t body[] = {1, 2, 3};
    broken.readBody(body, sizeof body);
    const byteVec_t record = recordOf(broken);
    put(0, record);
    EXPECT_EQ(take(1, record.size()), record);
    finish();
    EXPECT_EQ(err, "");
    EXPECT_THAT(out, testing::HasSubstr(name(0) + " message of kind 11, 3 bytes 01 02 03\n"));
    EXPECT_THAT(out, testing::HasSubstr(name(0) + ": 1 sent, 0 received, 0 missed\n"));
}

TEST(UserBus, LeavesNothingBehindWhenOneNameIsTaken) {
    const TemporaryFolder folder;
    ASSERT_EQ(symlink("/dev/null", (folder / "node1").c_str()), 0);
    EXPECT_THROW(UserBus(folder / "node", 2, false), QVException);
    EXPECT_NE(access((folder / "node0").c_str(), F_OK), 0);
    EXPECT_EQ(access((folder / "node1").c_str(), F_OK), 0);
}
