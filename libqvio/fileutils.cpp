#include "libqvio/fileutils.h"

#include <algorithm>
#include <cerrno>

namespace {

int raised(int n, const FdSet* set) {
    return set == nullptr || set->n <= n ? n : set->n;
}

constexpr long nanosPerSecond = 1000000000;

timespec monotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

/// The rest of `timeout` since `start`, not below 0.
timespec remaining(const timespec& timeout, const timespec& start) {
    const timespec now = monotonicNow();
    timespec rest{};
    rest.tv_sec = timeout.tv_sec - (now.tv_sec - start.tv_sec);
    rest.tv_nsec = timeout.tv_nsec - (now.tv_nsec - start.tv_nsec);
    if (rest.tv_nsec < 0) {
        rest.tv_nsec += nanosPerSecond;
        --rest.tv_sec;
    } else if (rest.tv_nsec >= nanosPerSecond) {
        rest.tv_nsec -= nanosPerSecond;
        ++rest.tv_sec;
    }
    return rest.tv_sec < 0 ? timespec{} : rest;
}

/// The wait with a time-out. Not inlined: a frame that is due waits without one and should not pay for it.
[[gnu::noinline]] int selectFor(const timespec& timeout, int n, FdSet* readSet, FdSet* writeSet,
                                FdSet* exceptSet, const sigset_t* mask) {
    const timespec start = monotonicNow();
    timespec rest = timeout;
    for (;;) {
        const int ret = pselect(n, readSet, writeSet, exceptSet, &rest, mask);
        if (ret != -1 || errno != EINTR) {
            return ret;
        }
        rest = remaining(timeout, start);
    }
}

} // namespace

int qvselect(FdSet* readSet, FdSet* writeSet, FdSet* exceptSet, const timespec* timeout,
             const sigset_t* mask) {
    // Never above the capacity of a set: the kernel would read past it.
    const int n =
        std::min(raised(raised(raised(0, readSet), writeSet), exceptSet), static_cast<int>(FD_SETSIZE));
    if (timeout != nullptr) {
        return selectFor(*timeout, n, readSet, writeSet, exceptSet, mask);
    }
    int ret;
    do {
        ret = pselect(n, readSet, writeSet, exceptSet, nullptr, mask);
    } while (ret == -1 && errno == EINTR); // the kernel leaves the sets unchanged on failure
    return ret;
}
