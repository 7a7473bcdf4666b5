#include "libqvutil/exception.h"
#include "qvtools/waitset.h"

#include <cstdio>

#include <gtest/gtest.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

typedef WaitSet::tags_t tags_t;

/// A moment that is over.
constexpr std::int64_t past = 1;

struct WaitSetTest : ::testing::Test {
    WaitSetTest() {
        for (auto& ends : pipes) {
            EXPECT_EQ(pipe(ends), 0);
        }
    }
    ~WaitSetTest() override {
        for (const auto& ends : pipes) {
            close(ends[0]);
            close(ends[1]);
        }
    }
    void makeReadable(std::size_t n) { ASSERT_EQ(write(pipes[n][1], "x", 1), 1); }

    WaitSet set;
    int pipes[20][2];
};

} // namespace

TEST_F(WaitSetTest, TellsWhatIsReadableInAscendingOrderOfTheTags) {
    set.add(pipes[0][0], 7);
    set.add(pipes[1][0], 3);
    set.add(pipes[2][0], 5);
    makeReadable(0);
    makeReadable(1);
    EXPECT_EQ(set.wait(WaitSet::NEVER), (tags_t{3, 7}));
    EXPECT_EQ(set.wait(WaitSet::NEVER), (tags_t{3, 7})) << "as long as it is not read";
}

TEST_F(WaitSetTest, ReturnsWithoutATagAtItsMoment) {
    set.add(pipes[0][0], 1);
    EXPECT_EQ(set.wait(past), tags_t());
    EXPECT_EQ(set.wait(past), tags_t()) << "a second one as well";
}

TEST_F(WaitSetTest, ReturnsAtAMomentThatComesBeforeTheOneSetEarlier) {
    set.add(pipes[0][0], 1);
    makeReadable(0);
    EXPECT_EQ(set.wait(INT64_MAX - 1), tags_t{1});
    char byte;
    ASSERT_EQ(read(pipes[0][0], &byte, 1), 1);
    EXPECT_EQ(set.wait(past), tags_t());
}

TEST_F(WaitSetTest, WaitsOnAfterAMomentThatIsOver) {
    EXPECT_EQ(set.wait(past), tags_t());
    const int later = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    set.add(later, 1);
    constexpr itimerspec inTenMilliseconds{{0, 0}, {0, 10000000}};
    ASSERT_EQ(timerfd_settime(later, 0, &inTenMilliseconds, nullptr), 0);
    EXPECT_EQ(set.wait(WaitSet::NEVER), tags_t{1});
    close(later);
}

TEST_F(WaitSetTest, TellsWhatIsReadableBesideAMomentThatIsOver) {
    set.add(pipes[0][0], 1);
    makeReadable(0);
    EXPECT_EQ(set.wait(past), tags_t{1});
}

TEST_F(WaitSetTest, TellsWhatIsReadableNowWithoutWaiting) {
    set.add(pipes[0][0], 1);
    EXPECT_EQ(set.readable(), tags_t());
    makeReadable(0);
    EXPECT_EQ(set.readable(), tags_t{1});
}

TEST_F(WaitSetTest, LetsEachOfManyHaveItsTurn) {
    constexpr std::uint32_t many = 20;
    for (std::uint32_t i = 0; i < many; ++i) {
        set.add(pipes[i][0], i);
        makeReadable(i);
    }
    std::vector<bool> told(many);
    for (int i = 0; i < 2; ++i) {
        for (const std::uint32_t tag : set.wait(WaitSet::NEVER)) {
            told[tag] = true;
        }
    }
    EXPECT_EQ(told, std::vector<bool>(many, true));
}

TEST_F(WaitSetTest, HasARegularFileReadableUntilItIsRemoved) {
    std::FILE* const file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    set.add(pipes[0][0], 1);
    set.addInput(fileno(file), 2);
    EXPECT_EQ(set.wait(WaitSet::NEVER), tags_t{2});
    makeReadable(0);
    EXPECT_EQ(set.wait(WaitSet::NEVER), (tags_t{1, 2}));
    set.remove(fileno(file), 2);
    EXPECT_EQ(set.wait(WaitSet::NEVER), tags_t{1});
    std::fclose(file);
}

TEST_F(WaitSetTest, RefusesARegularFileWhereOnlyAnInputMayBeOne) {
    std::FILE* const file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    EXPECT_THROW(set.add(fileno(file), 1), QVException);
    EXPECT_EQ(set.wait(past), tags_t());
    std::fclose(file);
}

TEST_F(WaitSetTest, WaitsNoMoreForWhatWasRemoved) {
    set.add(pipes[0][0], 1);
    set.add(-1, 2);
    makeReadable(0);
    set.remove(pipes[0][0], 1);
    EXPECT_EQ(set.wait(past), tags_t());
}
