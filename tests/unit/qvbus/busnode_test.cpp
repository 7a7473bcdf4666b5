#include "qvbus/busnode.h"
#include "tests/fakes/fakesystem.h"
#include "tests/unit/qvbus/opened.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

const byteVec_t frame = frameRecord(0x123);

class BusNodeTest : public testing::Test {
protected:
    /// The records that the node has sent, whole.
    std::vector<byteVec_t> takeAll() {
        std::vector<byteVec_t> records;
        for (auto view = node.nextRecord(); view.finding == record::RECORD; view = node.nextRecord()) {
            records.emplace_back(view.bytes(), view.bytes() + view.size());
            node.takeRecord(view);
        }
        return records;
    }

    bool deliver() { return node.deliver(viewOf(frame), now); }

    /// Delivers until the queue is full. Returns how many records that takes.
    std::uint64_t fill() {
        std::uint64_t n = 0;
        for (; node.patienceLeft(now) == 0; ++n) {
            EXPECT_TRUE(deliver());
        }
        return n;
    }

    BusNode node{"node"};
    std::uint64_t now = 5000000;
};

} // namespace

TEST_F(BusNodeTest, IsPresentWhileAProgramHasItOpen) {
    EXPECT_FALSE(node.look());
    EXPECT_FALSE(node.isPresent());
    {
        const Opened user(node.path());
        EXPECT_FALSE(node.look());
        EXPECT_TRUE(node.isPresent());
    }
    EXPECT_TRUE(node.look()) << "it has gone";
    node.leave();
    EXPECT_FALSE(node.isPresent());
    EXPECT_FALSE(node.look());
}

TEST_F(BusNodeTest, MissesNothingWhileAbsent) {
    EXPECT_TRUE(deliver());
    EXPECT_FALSE(node.flush(now));
    EXPECT_EQ(node.received + node.missed, 0U);
    EXPECT_TRUE(Opened(node.path()).readAll().empty());
}

TEST_F(BusNodeTest, HandsOverRecordsByteForByte) {
    const Opened user(node.path());
    node.look();
    deliver();
    deliver();
    EXPECT_EQ(node.received, 0U);
    EXPECT_TRUE(node.flush(now));
    EXPECT_EQ(node.received, 2U);
    byteVec_t two = frame;
    two.insert(two.end(), frame.begin(), frame.end());
    EXPECT_EQ(user.readAll(), two);
}

TEST_F(BusNodeTest, QueuesAMegabyteForAProgramThatPauses) {
    const Opened user(node.path());
    node.look();
    // Less than the whole megabyte: what the bus has read already must find room.
    EXPECT_GT(fill() * frame.size(), 900000U);
    EXPECT_EQ(node.missed, 0U);

    std::size_t bytes = 0;
    while (node.hasQueued()) {
        node.flush(now);
        bytes += user.readAll().size();
    }
    EXPECT_EQ(bytes, node.received * frame.size());
    EXPECT_EQ(node.missed, 0U);
}

TEST_F(BusNodeTest, HoldsUpTheBusForATenthOfASecondWhenItIsFull) {
    const Opened user(node.path());
    node.look();
    EXPECT_EQ(node.patienceLeft(now), 0U);
    fill();
    EXPECT_EQ(node.patienceLeft(now), 100000U);
    EXPECT_EQ(node.patienceLeft(now + 99999), 1U);
    EXPECT_EQ(node.patienceLeft(now + 100000), 0U);
    deliver();
    EXPECT_EQ(node.patienceLeft(now + 100001), 0U) << "nor again, as long as it does not read";
}

TEST_F(BusNodeTest, IsGivenNewPatienceOnceItReads) {
    const Opened user(node.path());
    node.look();
    std::size_t room = 0; // the kernel frees the real one's in the background
    FakeSystem system;
    system.write = [&room](int, const void*, std::size_t n) {
        const std::size_t taken = std::min(std::exchange(room, 0), n);
        errno = EAGAIN;
        return taken == 0 ? ssize_t{-1} : static_cast<ssize_t>(taken);
    };
    fill();
    now += 200000;
    EXPECT_EQ(node.patienceLeft(now), 0U);
    EXPECT_FALSE(node.flush(now)) << "it has read nothing";
    EXPECT_EQ(node.patienceLeft(now), 0U);
    room = 1;
    EXPECT_TRUE(node.flush(now));
    EXPECT_EQ(node.patienceLeft(now), 100000U);
}

TEST_F(BusNodeTest, SaysOnceThatItMissesRecordsAndCountsThemAll) {
    const Opened user(node.path());
    node.look();
    while (deliver()) {
    }
    EXPECT_EQ(node.missed, 1U);
    EXPECT_TRUE(deliver());
    EXPECT_EQ(node.missed, 2U);
    node.flush(now);
    user.readAll();
    node.flush(now);
    while (deliver()) {
    }
    EXPECT_EQ(node.missed, 3U) << "it had read, so it is said again";
}

TEST_F(BusNodeTest, CountsWhatItsProgramLeftUnreadAsMissed) {
    {
        const Opened user(node.path());
        node.look();
        deliver();
    }
    EXPECT_TRUE(node.look());
    node.leave();
    EXPECT_EQ(node.missed, 1U);
    EXPECT_FALSE(node.hasQueued());
    const Opened next(node.path());
    node.look();
    EXPECT_FALSE(node.flush(now));
    EXPECT_TRUE(next.readAll().empty());
}

TEST_F(BusNodeTest, CountsWhatIsNotReadAtTheEndAsMissed) {
    const Opened user(node.path());
    node.look();
    const std::uint64_t all = fill();
    node.flush(now);
    std::array<char, 100> bytes; // two records and a part of one
    ASSERT_EQ(read(user.fd, bytes.data(), bytes.size()), 100);
    EXPECT_GT(node.pending(), 900000U);
    node.giveUp();
    EXPECT_EQ(node.received, 2U);
    EXPECT_EQ(node.received + node.missed, all);
    EXPECT_TRUE(user.readAll().empty());
    EXPECT_EQ(node.pending(), 0U);
}

TEST_F(BusNodeTest, CountsNothingAsMissedAtTheEndThatItsProgramHasRead) {
    const Opened user(node.path());
    node.look();
    deliver();
    deliver();
    node.flush(now);
    EXPECT_EQ(node.pending(), 72U);
    EXPECT_EQ(user.readAll().size(), 72U);
    EXPECT_EQ(node.pending(), 0U);
    node.giveUp();
    EXPECT_EQ(node.received, 2U);
    EXPECT_EQ(node.missed, 0U);
}

TEST_F(BusNodeTest, StartsTheNextProgramInARawTerminal) {
    Opened(node.path()).makeCooked(); // there and gone before the bus looked
    EXPECT_FALSE(node.look());
    EXPECT_TRUE(Opened(node.path()).isRaw());
    Opened(node.path()).makeCooked();
    const Opened quick(node.path());
    node.look();
    EXPECT_TRUE(quick.isRaw()) << "the next one came before the bus looked";
    quick.makeCooked();
    node.look();
    EXPECT_FALSE(quick.isRaw()) << "what a program does while it is there is its own affair";
}

TEST_F(BusNodeTest, StillReadsWhatAProgramWroteBeforeItWent) {
    ASSERT_TRUE(Opened(node.path()).put(frame));
    EXPECT_FALSE(node.look());
    EXPECT_TRUE(node.isPresent());
    EXPECT_EQ(node.receive(), frame.size());
    EXPECT_TRUE(node.look());
    EXPECT_EQ(takeAll(), std::vector<byteVec_t>({frame}));
    EXPECT_EQ(node.sent, 1U);
}

TEST_F(BusNodeTest, FindsASoundRecordBehindATornOneWhenItsProgramHasGone) {
    CANExtTraceMessage longer;
    longer.resetPattern(1, true);
    byteVec_t bytes = recordOf(longer);
    bytes.resize(20);
    bytes.insert(bytes.end(), frame.begin(), frame.end());
    ASSERT_TRUE(Opened(node.path()).put(bytes));
    node.look();
    node.receive();
    EXPECT_TRUE(takeAll().empty());
    EXPECT_EQ(node.takeReport(false), "");
    node.endInput();
    EXPECT_EQ(takeAll(), std::vector<byteVec_t>({frame}));
    EXPECT_EQ(node.takeReport(true), "trace buffer: passed over 20 bytes outside of any sound record");
    EXPECT_EQ(node.takeReport(true), "");
}

TEST_F(BusNodeTest, ReportsWhatItsProgramLeftUnfinishedAndForgetsItForTheNext) {
    byteVec_t bytes = {'?', '?'};
    bytes.insert(bytes.end(), frame.begin(), frame.begin() + 7);
    ASSERT_TRUE(Opened(node.path()).put(bytes));
    node.look();
    node.receive();
    EXPECT_TRUE(takeAll().empty());
    EXPECT_EQ(node.takeReport(true),
              "trace buffer: passed over 2 bytes outside of any sound record; the input "
              "ended inside a record, after 7 bytes");
    EXPECT_TRUE(node.look());
    node.leave();
    ASSERT_TRUE(Opened(node.path()).put(frame));
    node.look();
    node.receive();
    EXPECT_EQ(takeAll(), std::vector<byteVec_t>({frame}));
    EXPECT_EQ(node.takeReport(true), "");
}
