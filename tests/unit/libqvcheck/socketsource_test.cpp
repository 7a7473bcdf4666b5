#include "libqvcheck/cansocket.h"
#include "libqvcheck/socketsource.h"
#include "tests/fakes/fakesystem.h"
#include "tests/unit/libqvcheck/scriptedsocket.h"

#include <cerrno>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct SocketSourceOnAPair : ::testing::Test {
    SocketSourceOnAPair() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
        source = std::make_unique<SocketSource>(ends[0], "can1", table);
    }
    ~SocketSourceOnAPair() override { close(ends[1]); }
    void send(const canfd_frame& frame, std::size_t size) const {
        ASSERT_EQ(::send(ends[1], &frame, size, 0), static_cast<ssize_t>(size));
    }
    receivedFrame_t next() const {
        receivedFrame_t frame{};
        EXPECT_EQ(source->read(&frame, 1), 1U);
        return frame;
    }

    int ends[2] = {-1, -1};
    InterfaceTable table;
    std::unique_ptr<SocketSource> source;
};

struct SocketSourceOnAScript : ::testing::Test {
    std::size_t read(std::size_t n) { return source.read(frames, n); }

    ScriptedSocket socket;
    InterfaceTable table;
    SocketSource source{ScriptedSocket::descriptor, "can1", table};
    receivedFrame_t frames[100];
};

} // namespace

TEST_F(SocketSourceOnAPair, DeliversAClassicFrame) {
    send({CAN_EFF_FLAG | 0x12345U, 3, 0x05, 0, 0, {1, 2, 3, 4}}, CAN_MTU);
    const receivedFrame_t frame = next();
    EXPECT_EQ(frame.canId, CAN_EFF_FLAG | 0x12345U);
    EXPECT_EQ(frame.length, 3);
    EXPECT_EQ(frame.flags, 0) << "padding in a classic frame";
    EXPECT_FALSE(frame.fd);
    EXPECT_FALSE(frame.xl);
    EXPECT_FALSE(frame.own);
    EXPECT_EQ(frame.dropped, 0U);
    EXPECT_EQ(frame.data[2], 3);
    EXPECT_EQ(table.name(frame.interface), "can1");
}

TEST_F(SocketSourceOnAPair, DeliversAnFdFrameWithoutTheKernelsOwnFlag) {
    canfd_frame sent{0x7FF, 64, CANFD_BRS | CANFD_ESI | 0x04, 0, 0, {}};
    sent.data[63] = 99;
    send(sent, CANFD_MTU);
    const receivedFrame_t frame = next();
    EXPECT_EQ(frame.canId, 0x7FFU);
    EXPECT_EQ(frame.length, 64);
    EXPECT_EQ(frame.flags, CANFD_BRS | CANFD_ESI);
    EXPECT_TRUE(frame.fd);
    EXPECT_FALSE(frame.xl);
    EXPECT_EQ(frame.data[63], 99);
}

TEST_F(SocketSourceOnAPair, CutsALengthThatTheFrameHasNoRoomFor) {
    send({1, 200, 0, 0, 0, {}}, CAN_MTU);
    EXPECT_EQ(next().length, 8);
    send({1, 200, 0, 0, 0, {}}, CANFD_MTU);
    EXPECT_EQ(next().length, 64);
}

TEST_F(SocketSourceOnAPair, TakesAFrameOfNoKnownSizeForOneToBeCountedOnly) {
    send({1, 8, 0, 0, 0, {}}, 20);
    const receivedFrame_t frame = next();
    EXPECT_TRUE(frame.xl);
    EXPECT_EQ(frame.length, 0);
}

TEST_F(SocketSourceOnAPair, DeliversFramesInOrderAcrossBatches) {
    for (std::uint32_t i = 1; i <= 100; ++i) {
        send({i, 1, 0, 0, 0, {}}, CAN_MTU);
    }
    receivedFrame_t frames[200];
    ASSERT_EQ(source->read(frames, 200), SocketSource::BATCH);
    ASSERT_EQ(source->read(frames + SocketSource::BATCH, 10), 10U);
    ASSERT_EQ(source->read(frames + SocketSource::BATCH + 10, 200), 26U);
    for (std::uint32_t i = 0; i < 100; ++i) {
        EXPECT_EQ(frames[i].canId, i + 1);
    }
    EXPECT_EQ(source->read(frames, 1), 0U) << "nothing there, and no wait for it";
    EXPECT_EQ(source->takeError(), 0);
}

TEST_F(SocketSourceOnAPair, HasNoTimeWhereTheKernelGivesNone) {
    send({1, 1, 0, 0, 0, {}}, CAN_MTU);
    EXPECT_EQ(next().time, receivedFrame_t::noTime);
}

TEST_F(SocketSourceOnAPair, ClosesItsDescriptor) {
    source.reset();
    char byte;
    EXPECT_EQ(recv(ends[1], &byte, 1, 0), 0) << "end of file";
}

TEST_F(SocketSourceOnAScript, GivesTheKernelsStampInNanosecondsAfter2038) {
    socket.queue({1, 4102444800, 123456789, 0, 0, false});
    ASSERT_EQ(read(10), 1U);
    EXPECT_EQ(frames[0].time, 4102444800123456789);
}

TEST_F(SocketSourceOnAScript, TellsTheDropsBeforeEachFrame) {
    socket.queue({1, 1, 0, 0, 0, false});
    socket.queue({2, 1, 0, 1722, 0, false});
    socket.queue({3, 1, 0, 1722, 0, false});
    socket.queue({4, 1, 0, 1725, 0, false});
    ASSERT_EQ(read(10), 4U);
    EXPECT_EQ(frames[0].dropped, 0U);
    EXPECT_EQ(frames[1].dropped, 1722U);
    EXPECT_EQ(frames[2].dropped, 0U);
    EXPECT_EQ(frames[3].dropped, 3U);
}

TEST_F(SocketSourceOnAScript, CountsDropsOverTheCountersWrap) {
    socket.drops = 0x7FFFFFFF;
    EXPECT_EQ(source.takeDropped(), 0x7FFFFFFFU);
    socket.drops = 0xFFFFFFFE;
    EXPECT_EQ(source.takeDropped(), 0x7FFFFFFFU);
    socket.queue({1, 1, 0, 2, 0, false});
    ASSERT_EQ(read(1), 1U);
    EXPECT_EQ(frames[0].dropped, 4U);
}

TEST_F(SocketSourceOnAScript, TellsDropsBehindTheLastFrameOnce) {
    socket.queue({1, 1, 0, 5, 0, false});
    ASSERT_EQ(read(1), 1U);
    socket.drops = 12;
    EXPECT_EQ(source.takeDropped(), 7U);
    EXPECT_EQ(source.takeDropped(), 0U);
    socket.queue({2, 1, 0, 9, 0, false}); // queued before it was asked
    socket.queue({3, 1, 0, 14, 0, false});
    ASSERT_EQ(read(2), 2U);
    EXPECT_EQ(frames[0].dropped, 0U);
    EXPECT_EQ(frames[1].dropped, 2U);
}

TEST_F(SocketSourceOnAScript, MarksFramesOfThisHost) {
    socket.queue({1, 1, 0, 0, 0, true});
    socket.queue({2, 1, 0, 0, 0, false});
    ASSERT_EQ(read(2), 2U);
    EXPECT_TRUE(frames[0].own);
    EXPECT_FALSE(frames[1].own);
}

TEST_F(SocketSourceOnAScript, OffersTheWholeRoomAtEachRead) {
    for (const std::uint32_t drops : {0U, 7U}) { // what is told of the second needs more room
        socket.queue({1, 1, 0, drops, 0, true});
        ASSERT_EQ(read(1), 1U);
    }
    EXPECT_EQ(frames[0].dropped, 7U);
}

TEST_F(SocketSourceOnAScript, AsksForOneFrameWhereFramesComeOneByOneAndForMoreAtEvery16thRead) {
    for (std::uint32_t i = 0; i < 33; ++i) {
        socket.queue({i, 1, 0, 0, 0, false});
        ASSERT_EQ(read(10), 1U);
    }
    std::vector<unsigned int> wanted(33, 1);
    wanted[0] = wanted[16] = wanted[32] = 10;
    EXPECT_EQ(socket.asked, wanted);
    EXPECT_EQ(read(10), 0U) << "none is there";
}

TEST_F(SocketSourceOnAScript, AsksForManyFromTheFirstReadThatFindsMoreThanOneUntilOneFindsNoMore) {
    socket.queue({0, 1, 0, 0, 0, false});
    ASSERT_EQ(read(10), 1U);
    for (std::uint32_t i = 0; i < 100; ++i) {
        socket.queue({i, 1, 0, 0, 0, false});
    }
    std::size_t sum = 0;
    while (const std::size_t n = read(10)) {
        EXPECT_EQ(frames[0].canId, sum);
        sum += n;
    }
    EXPECT_EQ(sum, 100U);
    EXPECT_EQ(socket.asked.size(), 1U + 15U + 9U + 1U);
}

TEST_F(SocketSourceOnAScript, DeliversIntoWhateverRoomItIsGiven) {
    receivedFrame_t others[3];
    for (std::uint32_t i = 1; i <= 6; ++i) {
        socket.queue({i, i, 0, 0, 0, false});
    }
    ASSERT_EQ(source.read(others, 1), 1U);
    ASSERT_EQ(source.read(frames, 2), 2U);
    ASSERT_EQ(source.read(others, 3), 3U);
    EXPECT_EQ(frames[1].canId, 3U);
    for (std::uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(others[i].canId, 4 + i);
        EXPECT_EQ(others[i].time, std::int64_t{4 + i} * 1000000000);
    }
}

TEST_F(SocketSourceOnAScript, KeepsTheErrorOfAFailedReadUntilItIsTaken) {
    socket.fail(ENETDOWN);
    EXPECT_EQ(read(1), 0U);
    EXPECT_EQ(source.takeError(), ENETDOWN);
    EXPECT_EQ(source.takeError(), 0);
    socket.fail(EINTR);
    EXPECT_EQ(read(1), 0U);
    EXPECT_EQ(source.takeError(), 0);
}

TEST(SocketSourceOfAllInterfaces, GivesEachFrameItsOwnInterface) {
    ScriptedSocket socket;
    InterfaceTable table;
    SocketSource source(ScriptedSocket::descriptor, anyInterface, table);
    socket.queue({1, 1, 0, 0, 1, false}); // the loopback interface has index 1 everywhere
    socket.queue({2, 1, 0, 0, 4711, false});
    socket.queue({3, 1, 0, 0, 1, false});
    receivedFrame_t frames[3];
    ASSERT_EQ(source.read(frames, 3), 3U);
    EXPECT_EQ(table.name(frames[0].interface), "lo");
    EXPECT_EQ(table.name(frames[1].interface), "if4711");
    EXPECT_EQ(frames[2].interface, frames[0].interface);
    EXPECT_EQ(table.size(), 2U);
}
