// The sleep, with a scripted system call: no test waits.

#include "libqvutil/utility.h"
#include "tests/fakes/fakesystem.h"

#include <cerrno>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct answer_t {
    int result;
    timespec rest; ///< what is left, reported along with EINTR
};

timespec time(std::time_t seconds, long nanos) {
    timespec made{};
    made.tv_sec = seconds;
    made.tv_nsec = nanos;
    return made;
}

std::string text(const timespec& time) {
    return std::to_string(time.tv_sec) + "s " + std::to_string(time.tv_nsec) + "ns";
}

using texts_t = std::vector<std::string>;

/// The times that a sleep asks the system for, when the calls are answered as given and 0 from then on.
texts_t asked(unsigned long microseconds, bool interruptible, const std::vector<answer_t>& answers = {}) {
    texts_t times;
    FakeSystem fake;
    fake.clock_nanosleep = [&](clockid_t clock, int flags, const timespec* wanted, timespec* rest) {
        EXPECT_EQ(clock, CLOCK_MONOTONIC);
        EXPECT_EQ(flags, 0) << "relative";
        const std::size_t call = times.size();
        times.push_back(text(*wanted));
        if (call >= answers.size()) {
            return 0;
        }
        if (answers[call].result == EINTR) {
            *rest = answers[call].rest;
        }
        return answers[call].result;
    };
    microsleep(microseconds, interruptible);
    return times;
}

const std::vector<answer_t> twoSignals = {{EINTR, time(1, 500000001)}, {EINTR, time(0, 3)}};

} // namespace

TEST(Microsleep, AsksForTheWholeTime) {
    EXPECT_EQ(asked(1, false), texts_t{"0s 1000ns"});
    EXPECT_EQ(asked(999999, false), texts_t{"0s 999999000ns"});
    EXPECT_EQ(asked(2500000, false), texts_t{"2s 500000000ns"});
    EXPECT_EQ(asked(2500000, true), texts_t{"2s 500000000ns"});
}

TEST(Microsleep, TakesTheLongestTimeOf32Bits) {
    EXPECT_EQ(asked(0xFFFFFFFF, false), texts_t{"4294s 967295000ns"});
}

TEST(Microsleep, MakesNoCallForZero) {
    EXPECT_EQ(asked(0, false), texts_t());
    EXPECT_EQ(asked(0, true), texts_t());
}

TEST(Microsleep, GoesOnWithTheRestAfterASignal) {
    EXPECT_EQ(asked(2500000, false, twoSignals), (texts_t{"2s 500000000ns", "1s 500000001ns", "0s 3ns"}));
}

TEST(Microsleep, EndsAtASignalWhenInterruptible) {
    EXPECT_EQ(asked(2500000, true, twoSignals), texts_t{"2s 500000000ns"});
}

TEST(Microsleep, DoesNotRetryAfterAnotherError) {
    EXPECT_EQ(asked(5, false, {{EINVAL, {}}}), texts_t{"0s 5000ns"});
}
