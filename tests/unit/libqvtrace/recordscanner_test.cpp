// Records in a stream of bytes, without any descriptor.

#include "libqvtrace/recordscanner.h"
#include "tests/unit/libqvtrace/tracebytes.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

namespace {

class RecordScannerTest : public testing::Test {
protected:
    void add(const byteVec_t& bytes) {
        std::uint8_t* const room = scanner.room();
        ASSERT_LE(bytes.size(), scanner.roomSize());
        std::copy(bytes.begin(), bytes.end(), room);
        scanner.added(bytes.size());
    }

    /// The records that are found, whole.
    std::vector<byteVec_t> takeAll() {
        std::vector<byteVec_t> records;
        for (;;) {
            const record::view_t view = scanner.next();
            if (view.finding != record::RECORD) {
                return records;
            }
            const std::uint8_t* const first = view.body - record::headerSize;
            records.emplace_back(first, first + view.size());
            scanner.take(view);
        }
    }

    RecordScanner scanner;
};

const byteVec_t one = recordWith(1);
const byteVec_t two = recordWith(2);
const byteVec_t torn = firstOf(recordWith(9, 64), 20); ///< the rest, 72 bytes, never comes
const std::vector<byteVec_t> none;

} // namespace

TEST_F(RecordScannerTest, FindsNothingBeforeAnythingWasAdded) {
    EXPECT_EQ(scanner.next().finding, record::INCOMPLETE);
    scanner.ended();
    EXPECT_EQ(scanner.next().finding, record::INCOMPLETE);
    EXPECT_EQ(scanner.buffered(), 0U);
}

TEST_F(RecordScannerTest, KeepsARecordUntilItIsTaken) {
    add(one + two);
    EXPECT_EQ(scanner.next().body, scanner.next().body);
    EXPECT_EQ(takeAll(), std::vector<byteVec_t>({one, two}));
    EXPECT_EQ(scanner.counts().taken, one.size() + two.size());
}

TEST_F(RecordScannerTest, CountsADroppedRecordAsDropped) {
    add(one);
    scanner.drop(scanner.next());
    EXPECT_EQ(scanner.counts().dropped, one.size());
    EXPECT_EQ(scanner.counts().taken, 0U);
    EXPECT_EQ(scanner.buffered(), 0U);
}

TEST_F(RecordScannerTest, HasRoomForTheRestOfAnyRecordOnceAllFoundOnesAreTaken) {
    add(byteVec_t(RecordScanner::CAPACITY - 8, 0xEE) + headerOf(500, 1024));
    EXPECT_EQ(takeAll(), none);
    scanner.room();
    EXPECT_GE(scanner.roomSize(), record::maxSize);
}

TEST_F(RecordScannerTest, WaitsForTheEndOfARecordAsLongAsTheStreamGoesOn) {
    add(torn + two);
    EXPECT_EQ(takeAll(), none);
    EXPECT_EQ(scanner.buffered(), torn.size() + two.size());
}

TEST_F(RecordScannerTest, FindsWhatIsSoundBehindEachTornRecordOnceTheStreamHasEnded) {
    add(torn + two + torn + one + firstOf(one, 5));
    EXPECT_EQ(takeAll(), std::vector<byteVec_t>({two}))
        << "what fills the first record's length does not check";
    scanner.ended();
    EXPECT_EQ(takeAll(), std::vector<byteVec_t>({one}));
    EXPECT_EQ(scanner.counts().dropped, 2 * torn.size());
    EXPECT_EQ(scanner.buffered(), 5U);
}

TEST_F(RecordScannerTest, CompletesATornRecordWhenTheStreamGoesOnAfterAnEnd) {
    add(firstOf(one, 20));
    scanner.ended();
    EXPECT_EQ(takeAll(), none);
    add(part(one, 20, one.size()));
    EXPECT_EQ(takeAll(), std::vector<byteVec_t>({one}));
}

TEST_F(RecordScannerTest, WaitsAgainWhenTheStreamGoesOnAfterAnEnd) {
    scanner.ended();
    add(torn + two);
    EXPECT_EQ(takeAll(), none) << "the end lay before these bytes";
}
