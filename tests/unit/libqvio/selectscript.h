#pragma once

#include "libqvio/fileutils.h"
#include "tests/fakes/fakesystem.h"

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

inline timespec seconds(std::time_t whole, long nanos = 0) {
    timespec time{};
    time.tv_sec = whole;
    time.tv_nsec = nanos;
    return time;
}

inline std::string text(const timespec& time) {
    return std::to_string(time.tv_sec) + "s " + std::to_string(time.tv_nsec) + "ns";
}

/// pselect and the monotonic clock as a test scripts them: the waits fail with the given error numbers in
/// turn, the one after the last finds one descriptor ready. A wait takes the time given next to its error.
class SelectScript {
public:
    struct wait_t {
        int errnum;
        timespec clockAfter;
    };

    explicit SelectScript(std::vector<wait_t> _waits = {}, timespec _clock = seconds(0))
        : waits(std::move(_waits)),
          clock(_clock) {
        fake.clock_gettime = [this](clockid_t id, timespec* time) {
            EXPECT_EQ(id, CLOCK_MONOTONIC);
            *time = clock;
            return 0;
        };
        fake.pselect = [this](int n, fd_set* r, fd_set* w, fd_set* e, const timespec* timeout,
                              const sigset_t* mask) {
            calls.push_back({n, r, w, e, timeout == nullptr ? "none" : text(*timeout), mask});
            return answer();
        };
    }

    struct call_t {
        int n;
        fd_set* readSet;
        fd_set* writeSet;
        fd_set* exceptSet;
        std::string timeout; ///< "none" for no limit
        const sigset_t* mask;
    };
    std::vector<call_t> calls;

    std::vector<std::string> timeouts() const {
        std::vector<std::string> texts;
        for (const call_t& call : calls) {
            texts.push_back(call.timeout);
        }
        return texts;
    }

private:
    int answer() {
        if (calls.size() > waits.size()) {
            return 1;
        }
        const wait_t& wait = waits[calls.size() - 1];
        clock = wait.clockAfter;
        errno = wait.errnum;
        return -1;
    }

    std::vector<wait_t> waits;
    timespec clock;
    FakeSystem fake;
};
