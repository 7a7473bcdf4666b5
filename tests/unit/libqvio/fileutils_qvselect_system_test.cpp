// The wait on real descriptors. No case waits for time to pass.

#include "libqvio/fileutils.h"

#include <cerrno>
#include <csignal>
#include <ctime>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace {

/// Two sockets that hear each other.
class Pair {
public:
    Pair() {
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
            throw std::system_error(errno, std::generic_category(), "socketpair");
        }
    }
    ~Pair() {
        ::close(fds[0]);
        ::close(fds[1]);
    }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    int near() const { return fds[0]; }
    int far() const { return fds[1]; }
    void send() const { ASSERT_EQ(::write(far(), "x", 1), 1); }

private:
    int fds[2];
};

constexpr timespec atOnce{};

} // namespace

TEST(QvSelectOnTheSystem, ReturnsAtOnceWithoutTimeOutWhenItsDescriptorIsReadable) {
    const Pair pair;
    pair.send();
    FdSet r(pair.near());
    EXPECT_EQ(qvselect(&r, nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(r.isSet(pair.near()));
}

TEST(QvSelectOnTheSystem, ReturnsZeroAtATimeOutAndLeavesNoDescriptorSet) {
    const Pair pair;
    FdSet r(pair.near());
    FdSet e(pair.near());
    EXPECT_EQ(qvselect(&r, nullptr, &e, &atOnce, nullptr), 0);
    EXPECT_FALSE(r.isSet(pair.near()));
    EXPECT_FALSE(e.isSet(pair.near()));
}

TEST(QvSelectOnTheSystem, LeavesTheReadyDescriptorsAloneSet) {
    const Pair ready;
    const Pair quiet;
    ready.send();
    FdSet r(ready.near());
    r.set(quiet.near());
    const int n = r.n;

    EXPECT_EQ(qvselect(&r, nullptr, nullptr, nullptr, nullptr), 1);

    EXPECT_TRUE(r.isSet(ready.near()));
    EXPECT_FALSE(r.isSet(quiet.near()));
    EXPECT_EQ(r.n, n) << "a wait leaves the count as it was";
}

TEST(QvSelectOnTheSystem, CountsTheReadyDescriptorsOfAllSets) {
    const Pair pair;
    pair.send();
    FdSet r(pair.near());
    FdSet w(pair.near());
    FdSet e(pair.near());
    EXPECT_EQ(qvselect(&r, &w, &e, &atOnce, nullptr), 2);
    EXPECT_TRUE(r.isSet(pair.near()));
    EXPECT_TRUE(w.isSet(pair.near()));
    EXPECT_FALSE(e.isSet(pair.near()));
}

TEST(QvSelectOnTheSystem, WaitsForRoomToWrite) {
    const Pair pair;
    FdSet w(pair.near());
    EXPECT_EQ(qvselect(nullptr, &w, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(w.isSet(pair.near()));
}

TEST(QvSelectOnTheSystem, TakesNoSetsAtAll) {
    EXPECT_EQ(qvselect(nullptr, nullptr, nullptr, &atOnce, nullptr), 0);
}

TEST(QvSelectOnTheSystem, FailsForAClosedDescriptor) {
    int closed = -1;
    {
        const Pair pair;
        closed = pair.near();
    }
    FdSet r(closed);
    EXPECT_EQ(qvselect(&r, nullptr, nullptr, &atOnce, nullptr), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(QvSelectOnTheSystem, FailsForATimeOutThatIsNone) {
    timespec negative{};
    negative.tv_sec = -1;
    EXPECT_EQ(qvselect(nullptr, nullptr, nullptr, &negative, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

namespace {

int toWake = -1;
volatile std::sig_atomic_t caught = 0;

void wake(int) {
    caught = ::write(toWake, "x", 1) == 1 ? 1 : 0;
}

/// Takes SIGUSR1 with `wake`, which writes to `fd`, and keeps it blocked, for one test.
class BlockedSignal {
public:
    explicit BlockedSignal(int fd) {
        toWake = fd;
        caught = 0;
        struct sigaction action {};
        action.sa_handler = wake;
        sigaction(SIGUSR1, &action, &oldAction);
        sigset_t signal;
        sigemptyset(&signal);
        sigaddset(&signal, SIGUSR1);
        pthread_sigmask(SIG_BLOCK, &signal, &before);
    }
    ~BlockedSignal() {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        sigaction(SIGUSR1, &oldAction, nullptr);
    }
    BlockedSignal(const BlockedSignal&) = delete;
    BlockedSignal& operator=(const BlockedSignal&) = delete;

    sigset_t before;

private:
    struct sigaction oldAction;
};

} // namespace

// The wait alone lets the signal in. It is interrupted, and only by going on it sees what the handler wrote.
TEST(QvSelectOnTheSystem, LetsASignalInThroughTheMaskAndGoesOn) {
    const Pair pair;
    FdSet r(pair.near());
    const BlockedSignal signal(pair.far());
    raise(SIGUSR1);
    ASSERT_EQ(caught, 0) << "blocked until the wait";
    timespec limit{};
    limit.tv_sec = 60;

    EXPECT_EQ(qvselect(&r, nullptr, nullptr, &limit, &signal.before), 1);

    EXPECT_EQ(caught, 1);
    EXPECT_TRUE(r.isSet(pair.near()));
}
