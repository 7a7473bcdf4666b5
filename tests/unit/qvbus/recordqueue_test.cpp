#include "qvbus/recordqueue.h"

#include <numeric>
#include <string>

#include <gtest/gtest.h>

namespace {

void push(RecordQueue& queue, const std::string& text) {
    queue.push(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

std::string textIn(const RecordQueue& queue) {
    return std::string(reinterpret_cast<const char*>(queue.data()), queue.size());
}

} // namespace

TEST(RecordQueue, CountsEachRecordWhenItsLastByteHasGone) {
    RecordQueue queue;
    push(queue, "one");
    push(queue, "three");
    push(queue, "two");
    EXPECT_EQ(queue.pop(2), 0U);
    EXPECT_EQ(textIn(queue), "ethreetwo");
    EXPECT_EQ(queue.pop(1), 1U);
    EXPECT_EQ(queue.pop(7), 1U);
    EXPECT_EQ(textIn(queue), "o");
    EXPECT_EQ(queue.pop(1), 1U);
    EXPECT_TRUE(queue.empty());
}

TEST(RecordQueue, CountsARecordThatHasGoneInPartAmongThoseLeft) {
    RecordQueue queue;
    push(queue, "one");
    push(queue, "two");
    queue.pop(1);
    EXPECT_EQ(queue.clear(), 2U);
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(queue.size(), 0U);
}

TEST(RecordQueue, HasRoomForAMegabyteWhateverHasPassedThroughIt) {
    RecordQueue queue;
    const std::string record(1000, 'x');
    for (int i = 0; i < 5000; ++i) {
        push(queue, record);
        queue.pop(999);
        queue.pop(1);
    }
    EXPECT_TRUE(queue.hasRoomFor(1U << 20U));
    EXPECT_FALSE(queue.hasRoomFor((1U << 20U) + 1));
    push(queue, record);
    EXPECT_FALSE(queue.hasRoomFor((1U << 20U) - 999));
}

TEST(RecordQueue, KeepsTheOrderOverAnyPieces) {
    RecordQueue queue;
    std::string given;
    std::string taken;
    std::size_t records = 0;
    for (unsigned int i = 0; i < 3000; ++i) {
        const std::string record = std::to_string(i) + ' ';
        push(queue, record);
        given += record;
        const std::size_t n = std::min<std::size_t>(queue.size(), i % 13);
        taken += textIn(queue).substr(0, n);
        records += queue.pop(n);
    }
    taken += textIn(queue);
    records += queue.pop(queue.size());
    EXPECT_EQ(taken, given);
    EXPECT_EQ(records, 3000U);
}
