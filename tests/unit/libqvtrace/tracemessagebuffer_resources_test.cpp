// What the buffer takes: memory, and the mutex it may be given.

#include "libqvtrace/tracemessagebuffer.h"
#include "tests/unit/libqvtrace/scriptedinput.h"

#include <memory>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

TEST(TraceMessageBufferMemory, IsBoundedWhateverArrives) {
    Numbers numbers(6);
    ScriptedInput input;
    Reader reader;
    input.gives({});
    reader.buffer.read();
    const std::ptrdiff_t before = allocations::live();
    for (int i = 0; i < 300; ++i) {
        // Sync bytes, headers that promise the longest body, and noise; nothing of it is ever a record.
        const byteVec_t header = headerOf(MSGID_CAN_EXT, 1024);
        input.gives(byteVec_t(numbers.below(3000), 0xA7)).gives(header).gives(numbers.bytes(2000));
    }
    reader.readAll(input);
    EXPECT_EQ(reader.messages.size(), 0U);
    EXPECT_LE(input.largestRequest, RecordScanner::CAPACITY);
    reader.reports = {};
    reader.reports.shrink_to_fit();
    input.newCalls();
    EXPECT_LE(allocations::live() - before, 8);
}

TEST(TraceMessageBufferMemory, IsTakenOnceAndThenOncePerMessage) {
    ScriptedInput input;
    for (int i = 0; i < 50; ++i) {
        input.gives(recordWith(1));
    }
    Reader reader;
    EXPECT_EQ(allocations::during([&] { reader.buffer.read(); }), 1U);
    for (int i = 0; i < 40; ++i) {
        std::unique_ptr<MessageBase> message;
        EXPECT_EQ(allocations::during([&] { message.reset(reader.buffer.getNextMessage()); }), 1U);
        EXPECT_EQ(allocations::during([&] { reader.buffer.read(); }), 0U);
    }
}

TEST(TraceMessageBufferMutex, IsHeldWhileItReadsAndFreeAfterwards) {
    std::mutex mutex;
    const auto isFree = [&mutex] {
        bool taken = false;
        std::thread([&] {
            taken = mutex.try_lock();
            if (taken) {
                mutex.unlock();
            }
        }).join();
        return taken;
    };
    Reader reader(&mutex);
    bool freeInside = true;
    {
        FakeSystem system;
        system.read = [&](int, void* to, std::size_t) {
            freeInside = isFree();
            *static_cast<std::uint8_t*>(to) = 0xEE;
            return ssize_t{1};
        };
        EXPECT_EQ(reader.buffer.read(), 1);
    }
    EXPECT_FALSE(freeInside);
    EXPECT_TRUE(isFree());
    reader.next();
    EXPECT_EQ(reader.reports.size(), 1U);
    EXPECT_TRUE(isFree()) << "left locked by a report";
}

// The thread sanitizer's build of this test is what proves the lock.
TEST(TraceMessageBufferMutex, LetsOneThreadReadAndAnotherTake) {
    std::vector<byteVec_t> records;
    for (std::uint32_t id = 0; id < 2000; ++id) {
        records.push_back(recordWith(id % 0x800));
    }
    ScriptedInput input;
    input.gives(joined(records)).ends();
    std::mutex mutex;
    Reader reader(&mutex);
    std::thread thread([&reader] {
        while (reader.buffer.read() != 0) {
            std::this_thread::yield(); // -1: full, until the other thread has taken some
        }
    });
    while (reader.messages.size() < records.size()) {
        reader.takeAll();
        std::this_thread::yield();
    }
    thread.join();
    EXPECT_EQ(reader.messages, records);
}
