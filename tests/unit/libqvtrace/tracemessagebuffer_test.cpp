// Reading and taking: what each operation gives back, and what stays buffered.

#include "libqvtrace/tracemessagebuffer.h"
#include "tests/unit/libqvtrace/scriptedinput.h"

#include <cerrno>
#include <memory>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

TEST(TraceMessageBuffer, HasNoMessageBeforeAnythingIsRead) {
    Reader reader;
    EXPECT_EQ(reader.buffer.getNextMessage(), nullptr);
    EXPECT_EQ(reader.buffer.counts().added, 0U);
}

TEST(TraceMessageBuffer, RefusesToReadWithoutADescriptor) {
    TraceMessageBuffer buffer(nullptr);
    EXPECT_EQ(buffer.read(), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(TraceMessageBuffer, DeliversTheMessageOfTheKindThatTheToolTakes) {
    ScriptedInput input;
    input.gives(recordWith(0x123));
    Reader reader;
    EXPECT_EQ(reader.buffer.read(), 36);
    const std::unique_ptr<MessageBase> message(reader.buffer.getNextMessage());
    const auto* const can = dynamic_cast<CANExtTraceMessage*>(message.get());
    ASSERT_NE(can, nullptr);
    EXPECT_EQ(can->getCanId(), 0x123U);
    EXPECT_EQ(can->getNumDataBytes(), 8);
    EXPECT_EQ(reader.buffer.getNextMessage(), nullptr);
}

TEST(TraceMessageBuffer, DeliversRecordsThatCameTogetherOneByOneAndInOrder) {
    const std::vector<byteVec_t> records = {recordWith(1, 0), recordWith(2, 64), recordWith(3, 8)};
    ScriptedInput input;
    input.gives(joined(records));
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.messages, records);
    EXPECT_EQ(reader.reports, lines_t());
    EXPECT_EQ(reader.buffer.counts().taken, sizeOf(records));
}

TEST(TraceMessageBuffer, MakesOneCallForOneRead) {
    ScriptedInput input;
    input.gives(part(recordWith(1), 0, 10)).gives(part(recordWith(1), 10, 36));
    Reader reader;
    EXPECT_EQ(reader.buffer.read(), 10);
    EXPECT_EQ(input.newCalls(), lines_t({"read"}));
    EXPECT_EQ(reader.buffer.getNextMessage(), nullptr);
    EXPECT_EQ(reader.buffer.read(), 26);
    EXPECT_EQ(reader.next(), recordWith(1));
}

TEST(TraceMessageBuffer, HandsOverMessagesThatOutliveIt) {
    ScriptedInput input;
    input.gives(recordWith(0x123));
    std::unique_ptr<MessageBase> message;
    {
        Reader reader;
        reader.buffer.read();
        message.reset(reader.buffer.getNextMessage());
    }
    EXPECT_EQ(recordOf(*message), recordWith(0x123));
}

TEST(TraceMessageBuffer, ReadsAgainAfterASignal) {
    ScriptedInput input;
    input.fails(EINTR).fails(EINTR).gives(recordWith(1));
    Reader reader;
    EXPECT_EQ(reader.buffer.read(), 36);
    EXPECT_EQ(input.newCalls(), lines_t({"read", "read", "read"}));
}

TEST(TraceMessageBuffer, RefusesToReadWhenItIsFullAndGoesOnWhenMessagesAreTaken) {
    std::vector<byteVec_t> records;
    for (std::uint32_t id = 0; id < 150; ++id) {
        records.push_back(recordWith(id));
    }
    ScriptedInput input;
    input.gives(joined(records));
    Reader reader;
    ASSERT_EQ(reader.buffer.read(), 4096);
    input.newCalls();
    for (int i = 0; i < 3; ++i) {
        errno = 0;
        EXPECT_EQ(reader.buffer.read(), -1);
        EXPECT_EQ(errno, ENOBUFS);
    }
    EXPECT_EQ(input.newCalls(), lines_t()) << "a full buffer is no reason to nap";

    reader.takeAll();
    reader.readAll(input);
    EXPECT_EQ(reader.messages, records);
    EXPECT_EQ(reader.reports, lines_t());
}

TEST(TraceMessageBuffer, ReadsFromARealDescriptorAndLeavesItOpen) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    {
        Reader reader;
        reader.buffer.setFD(ends[0]);
        const byteVec_t record = recordWith(0x123);
        ASSERT_EQ(write(ends[1], record.data(), record.size()), 36);
        EXPECT_EQ(reader.buffer.read(), 36);
        EXPECT_EQ(reader.next(), record);
        close(ends[1]);
        EXPECT_EQ(reader.buffer.read(), 0);
    }
    EXPECT_EQ(close(ends[0]), 0);
}
