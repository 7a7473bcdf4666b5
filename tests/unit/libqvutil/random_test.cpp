// The random draw, with a scripted rand().

#include "libqvutil/random.h"
#include "tests/fakes/fakesystem.h"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace {

using number_t = unsigned long long;

constexpr int highestRand = 0x7FFFFFFF;
constexpr number_t highest = std::numeric_limits<number_t>::max();

/// The draw when rand() gives `r`.
number_t draw(int r, number_t lo, number_t hi) {
    FakeSystem fake;
    fake.rand = [r] { return r; };
    return randomRange<number_t>(lo, hi);
}

/// How often rand() is asked for one draw.
int asked(number_t lo, number_t hi) {
    FakeSystem fake;
    int n = 0;
    fake.rand = [&n] { return ++n; };
    randomRange<number_t>(lo, hi);
    return n;
}

} // namespace

TEST(RandomRange, ReachesBothEnds) {
    EXPECT_EQ(draw(0, 10, 19), 10U);
    EXPECT_EQ(draw(highestRand, 10, 19), 19U);
    EXPECT_EQ(draw(0, 0, 1), 0U);
    EXPECT_EQ(draw(highestRand, 0, 1), 1U);
    EXPECT_EQ(draw(highestRand, 0, 0x7FFFFFFF), 0x7FFFFFFFU);
}

TEST(RandomRange, GivesEachValueAnEqualShare) {
    constexpr int quarter = 1 << 29;
    EXPECT_EQ(draw(quarter - 1, 100, 103), 100U);
    EXPECT_EQ(draw(quarter, 100, 103), 101U);
    EXPECT_EQ(draw(2 * quarter - 1, 100, 103), 101U);
    EXPECT_EQ(draw(2 * quarter, 100, 103), 102U);
    EXPECT_EQ(draw(3 * quarter, 100, 103), 103U);
}

TEST(RandomRange, DrawsOnceFromTheSystem) {
    EXPECT_EQ(asked(10, 19), 1);
}

TEST(RandomRange, GivesTheLowerBoundOfARangeThatIsEmptyOrTurnedRound) {
    EXPECT_EQ(draw(highestRand, 7, 7), 7U);
    EXPECT_EQ(draw(highestRand, 8, 7), 8U);
    EXPECT_EQ(draw(highestRand, highest, 0), highest);
    EXPECT_EQ(draw(highestRand, highest, highest), highest);
}

TEST(RandomRange, DoesNotDrawWhereThereIsNoChoice) {
    EXPECT_EQ(asked(7, 7), 0);
    EXPECT_EQ(asked(8, 7), 0);
}

TEST(RandomRange, GivesTheLowerBoundForTheWholeRange) {
    EXPECT_EQ(draw(0, 0, highest), 0U);
    EXPECT_EQ(draw(highestRand, 0, highest), 0U);
}

TEST(RandomRange, SpreadsTheRandomNumberOverWideRanges) {
    EXPECT_EQ(draw(1, 0, (number_t{1} << 62) - 1), number_t{1} << 31);
    EXPECT_EQ(draw(highestRand, 0, (number_t{1} << 62) - 1), (number_t{1} << 62) - (number_t{1} << 31));
}

TEST(RandomRange, StaysWithinRangesThatNoDoubleHoldsExactly) {
    for (const number_t lo : {number_t{0}, number_t{1}, number_t{12345}}) {
        for (const number_t hi :
             {(number_t{1} << 53) + 1, (number_t{1} << 63) - 1, (number_t{1} << 63) + 1, highest - 1}) {
            EXPECT_EQ(draw(0, lo, hi), lo) << lo << " to " << hi;
            EXPECT_GT(draw(highestRand, lo, hi), hi / 2) << lo << " to " << hi;
            EXPECT_LE(draw(highestRand, lo, hi), hi) << lo << " to " << hi;
        }
    }
}

TEST(RandomRange, DrawsInNarrowTypesToo) {
    FakeSystem fake;
    fake.rand = [] { return highestRand; };
    EXPECT_EQ(randomRange<std::uint32_t>(0xFFFFFF00, 0xFFFFFFFE), 0xFFFFFFFEU);
}
