// The wait as it calls the system: what it passes on, and how it goes on after a signal.

#include "libqvio/fileutils.h"
#include "tests/unit/libqvio/selectscript.h"

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using texts_t = std::vector<std::string>;

} // namespace

TEST(QvSelect, PassesItsSetsInTheirOrder) {
    FdSet r(3);
    FdSet w(4);
    FdSet e(5);
    SelectScript script;
    EXPECT_EQ(qvselect(&r, &w, &e, nullptr, nullptr), 1);

    ASSERT_EQ(script.calls.size(), 1U);
    EXPECT_EQ(script.calls[0].readSet, r.addr());
    EXPECT_EQ(script.calls[0].writeSet, w.addr());
    EXPECT_EQ(script.calls[0].exceptSet, e.addr());
}

TEST(QvSelect, PassesNullSetsOn) {
    SelectScript script;
    const timespec timeout = seconds(1);
    EXPECT_EQ(qvselect(nullptr, nullptr, nullptr, &timeout, nullptr), 1);

    ASSERT_EQ(script.calls.size(), 1U);
    EXPECT_EQ(script.calls[0].n, 0);
    EXPECT_EQ(script.calls[0].readSet, nullptr);
    EXPECT_EQ(script.calls[0].writeSet, nullptr);
    EXPECT_EQ(script.calls[0].exceptSet, nullptr);
}

TEST(QvSelect, WatchesAsManyDescriptorsAsTheLargestSetHas) {
    FdSet small(3);
    FdSet large(9);
    FdSet empty;
    SelectScript script;
    qvselect(&large, &small, &empty, nullptr, nullptr);
    qvselect(&small, &large, &empty, nullptr, nullptr);
    qvselect(&empty, &small, &large, nullptr, nullptr);
    qvselect(nullptr, &small, nullptr, nullptr, nullptr);
    large.num(20);
    qvselect(&large, nullptr, nullptr, nullptr, nullptr);

    ASSERT_EQ(script.calls.size(), 5U);
    EXPECT_EQ(script.calls[0].n, 10);
    EXPECT_EQ(script.calls[1].n, 10);
    EXPECT_EQ(script.calls[2].n, 10);
    EXPECT_EQ(script.calls[3].n, 4);
    EXPECT_EQ(script.calls[4].n, 20) << "the count that was set";
}

TEST(QvSelect, NeverWatchesMoreDescriptorsThanASetHolds) {
    FdSet over(9);
    over.num(2 * FD_SETSIZE);
    FdSet below(9);
    below.num(-1);
    SelectScript script;
    qvselect(&below, &over, nullptr, nullptr, nullptr);
    qvselect(&below, nullptr, nullptr, nullptr, nullptr);

    ASSERT_EQ(script.calls.size(), 2U);
    EXPECT_EQ(script.calls[0].n, FD_SETSIZE);
    EXPECT_EQ(script.calls[1].n, 0);
}

TEST(QvSelect, PassesTheSignalMaskAtEveryWait) {
    sigset_t mask;
    sigemptyset(&mask);
    SelectScript script({{EINTR, seconds(0)}, {EINTR, seconds(0)}});
    const timespec timeout = seconds(1);
    qvselect(nullptr, nullptr, nullptr, &timeout, &mask);
    ASSERT_EQ(script.calls.size(), 3U);
    for (const auto& call : script.calls) {
        EXPECT_EQ(call.mask, &mask);
    }
}

TEST(QvSelect, LeavesTheSignalMaskAloneWithoutOne) {
    SelectScript script;
    const timespec timeout = seconds(1);
    qvselect(nullptr, nullptr, nullptr, &timeout, nullptr);
    qvselect(nullptr, nullptr, nullptr, nullptr, nullptr);
    ASSERT_EQ(script.calls.size(), 2U);
    EXPECT_EQ(script.calls[0].mask, nullptr);
    EXPECT_EQ(script.calls[1].mask, nullptr);
}

TEST(QvSelect, WaitsForTheTimeGiven) {
    SelectScript script;
    const timespec timeout = seconds(5, 999999999);
    qvselect(nullptr, nullptr, nullptr, &timeout, nullptr);
    EXPECT_EQ(script.timeouts(), texts_t{"5s 999999999ns"});
}

TEST(QvSelect, GoesOnWithoutLimitAfterASignal) {
    FdSet r(3);
    SelectScript script({{EINTR, seconds(0)}, {EINTR, seconds(0)}});
    EXPECT_EQ(qvselect(&r, nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(script.timeouts(), (texts_t{"none", "none", "none"}));
    EXPECT_EQ(script.calls[2].readSet, r.addr());
    EXPECT_EQ(script.calls[2].n, 4);
}

namespace {

struct rest_t {
    const char* name;
    timespec timeout;
    timespec start;
    timespec interrupted;
    const char* rest;
};

const rest_t rests[] = {
    {"whole_seconds", seconds(5), seconds(100), seconds(102), "3s 0ns"},
    {"borrows_a_second", seconds(5), seconds(100, 100000000), seconds(101, 300000000), "3s 800000000ns"},
    {"carries_a_second", seconds(5, 900000000), seconds(100, 800000000), seconds(102, 100000000),
     "4s 600000000ns"},
    {"carries_to_a_whole_second", seconds(1, 500000000), seconds(7, 500000000), seconds(8), "1s 0ns"},
    {"last_nanosecond", seconds(1), seconds(7), seconds(7, 999999999), "0s 1ns"},
    {"no_time_has_passed", seconds(0, 7), seconds(7, 9), seconds(7, 9), "0s 7ns"},
    {"all_time_has_passed", seconds(1), seconds(7, 5), seconds(8, 5), "0s 0ns"},
    {"a_nanosecond_too_late", seconds(1), seconds(7, 5), seconds(8, 6), "0s 0ns"},
    {"seconds_too_late", seconds(1, 5), seconds(7), seconds(11, 999999999), "0s 0ns"},
};

} // namespace

class QvSelectRest : public testing::TestWithParam<rest_t> {};

TEST_P(QvSelectRest, IsWaitedForAfterASignal) {
    const rest_t& row = GetParam();
    FdSet r(3);
    SelectScript script({{EINTR, row.interrupted}}, row.start);

    EXPECT_EQ(qvselect(&r, nullptr, nullptr, &row.timeout, nullptr), 1);

    EXPECT_EQ(script.timeouts(), (texts_t{text(row.timeout), row.rest}));
    EXPECT_EQ(script.calls[1].readSet, r.addr());
    EXPECT_EQ(script.calls[1].n, 4);
}

INSTANTIATE_TEST_SUITE_P(Rows, QvSelectRest, testing::ValuesIn(rests),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(QvSelect, CountsTheRestFromItsStartAtEverySignal) {
    SelectScript script({{EINTR, seconds(11)}, {EINTR, seconds(13)}, {EINTR, seconds(30)}}, seconds(10));
    const timespec timeout = seconds(5);
    EXPECT_EQ(qvselect(nullptr, nullptr, nullptr, &timeout, nullptr), 1);
    EXPECT_EQ(script.timeouts(), (texts_t{"5s 0ns", "4s 0ns", "2s 0ns", "0s 0ns"}));
    EXPECT_EQ(text(timeout), "5s 0ns") << "the caller's";
}

TEST(QvSelect, EndsAtAnotherErrorWithItsNumber) {
    const timespec timeout = seconds(5);
    for (const timespec* const limit : {&timeout, static_cast<const timespec*>(nullptr)}) {
        for (const int errnum : {EBADF, EINVAL, ENOMEM, EAGAIN}) {
            SelectScript script({{errnum, seconds(0)}});
            EXPECT_EQ(qvselect(nullptr, nullptr, nullptr, limit, nullptr), -1);
            EXPECT_EQ(errno, errnum);
            EXPECT_EQ(script.calls.size(), 1U);
        }
    }
}

TEST(QvSelect, EndsAtAnErrorThatFollowsASignal) {
    SelectScript script({{EINTR, seconds(1)}, {EBADF, seconds(2)}});
    const timespec timeout = seconds(5);
    EXPECT_EQ(qvselect(nullptr, nullptr, nullptr, &timeout, nullptr), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(script.calls.size(), 2U);
}
