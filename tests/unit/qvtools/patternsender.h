#pragma once

#include "tests/fakes/allocations.h"
#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/scripteddevice.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/socket.h>

/// What `k`-th frame (from 0) of a pattern looks like on the socket: the closed form.
inline std::string patternFrame(canid_t canId, bool canFd, bool brs, std::uint64_t k) {
    const std::uint32_t mask = (canId & CAN_EFF_FLAG) != 0 ? CAN_EFF_MASK : CAN_SFF_MASK;
    const auto counter = static_cast<std::uint32_t>((canId & mask) + k);
    canfd_frame frame{};
    frame.can_id = (counter & mask) == 0 ? 1 : counter & mask;
    frame.can_id |= canId & (CAN_EFF_FLAG | CAN_RTR_FLAG);
    frame.len = canFd ? 64 : 8;
    frame.flags = brs ? 1 : 0;
    for (unsigned int i = 0; i < frame.len && (canId & CAN_RTR_FLAG) == 0; ++i) {
        frame.data[i] = static_cast<std::uint8_t>(i < 4 ? counter >> (24 - 8 * i) : i - 4 + k);
    }
    return std::string(reinterpret_cast<const char*>(&frame), canFd ? 72 : 16);
}

/// Bytes as a frame for a message of failure: the index of the first that differs, and both in hexadecimal.
inline std::string difference(const std::string& seen, const std::string& expected) {
    if (seen == expected) {
        return "";
    }
    std::size_t i = 0;
    while (i < seen.size() && i < expected.size() && seen[i] == expected[i]) {
        ++i;
    }
    return "byte " + std::to_string(i) + " of " + hexadecimal(seen.data(), seen.size()) +
           " differs from the expected " + hexadecimal(expected.data(), expected.size());
}

/// A pattern sender on a scripted socket and clock. Unless told otherwise, the socket takes every frame and
/// delivers none, and a wait with a time-out takes just that long.
class PatternSender : public ScriptedDevice {
protected:
    /// A wait as it was asked for.
    struct wait_t {
        int n;
        bool reading;
        bool writing;
        bool limited;
        std::int64_t seconds;
        std::int64_t nanos;

        bool operator==(const wait_t& o) const {
            return n == o.n && reading == o.reading && writing == o.writing && limited == o.limited &&
                   seconds == o.seconds && nanos == o.nanos;
        }
    };

    /// What a scripted wait says.
    struct outcome_t {
        bool readable = false;
        bool writable = false;
        int errnum = 0; ///< not 0: the wait fails
    };

    static constexpr wait_t due{descriptor + 1, true, true, false, 0, 0};
    static constexpr wait_t early(std::int64_t seconds, std::int64_t nanos) {
        return {descriptor + 1, true, false, true, seconds, nanos};
    }

    PatternSender() {
        settings.pattern = true;
        system.getMicroSecondsOfDay = [this] { return clock; };
        system.pselect = [this](int n, fd_set* r, fd_set* w, fd_set* e, const timespec* t,
                                const sigset_t* mask) { return wait(n, r, w, e, t, mask); };
        system.read = [this](int fd, void* to, std::size_t n) { return deliver(fd, to, n); };
        system.recv = [this](int fd, void* to, std::size_t n, int flags) {
            EXPECT_EQ(flags, MSG_DONTWAIT) << "a sender never blocks in a read";
            return deliver(fd, to, n);
        };
        system.write = [this](int fd, const void* from, std::size_t n) { return take(fd, from, n); };
    }

    int run() { return run(*make()); }
    int run(CanDevice& device) { return CanDeviceTestAccess::sendPattern(device); }

    /// The default outcome of a wait.
    outcome_t passTime(const wait_t& asked) {
        if (asked.limited) {
            clock += static_cast<std::uint64_t>(asked.seconds * 1000000 + asked.nanos / 1000);
        }
        return {false, asked.writing, 0};
    }

    std::string expected(std::uint64_t k) const {
        return patternFrame(settings.canId, settings.canFd, settings.brs, k);
    }

    /// The frames from number `first` on have to be the pattern's from there.
    void expectPattern(std::size_t first = 0) {
        for (std::size_t k = first; k < frames.size(); ++k) {
            ASSERT_EQ(difference(frames[k], expected(k)), "") << "frame " << k;
        }
    }

    std::uint64_t clock = 1000;                           ///< µs
    std::function<outcome_t(const wait_t&)> onWait;       ///< in place of the default
    std::function<int()> onSecondLook = [] { return 1; }; ///< the result of the look before a read
    std::function<ssize_t(void*)> onRead;                 ///< in place of an FD frame of 4 bytes
    std::function<ssize_t(std::size_t)> onWrite;          ///< in place of taking the frame
    bool recording = true;                                ///< waits and frames are kept, which takes memory
    std::vector<wait_t> waits;
    std::vector<std::string> frames;
    int secondLooks = 0;
    int reads = 0;

private:
    int wait(int n, fd_set* r, fd_set* w, fd_set* e, const timespec* t, const sigset_t* mask) {
        const allocations::Pause pause;
        EXPECT_EQ(e, nullptr);
        EXPECT_EQ(mask, nullptr);
        EXPECT_NE(r, nullptr);
        if (w == nullptr) {
            EXPECT_FALSE(settings.network) << "a socket needs no second look";
            EXPECT_TRUE(n == descriptor + 1 && FD_ISSET(descriptor, r) && t != nullptr && t->tv_sec == 0 &&
                        t->tv_nsec == 0)
                << "the second look never blocks";
            ++secondLooks;
            return onSecondLook();
        }
        const wait_t asked{n,
                           FD_ISSET(descriptor, r),
                           FD_ISSET(descriptor, w),
                           t != nullptr,
                           t == nullptr ? 0 : t->tv_sec,
                           t == nullptr ? 0 : t->tv_nsec};
        if (recording) {
            waits.push_back(asked);
        }
        const outcome_t outcome = onWait ? onWait(asked) : passTime(asked);
        if (outcome.errnum != 0) {
            errno = outcome.errnum;
            return -1;
        }
        FD_ZERO(r);
        FD_ZERO(w);
        return mark(r, outcome.readable) + mark(w, outcome.writable);
    }

    static int mark(fd_set* set, bool ready) {
        if (ready) {
            FD_SET(descriptor, set);
        }
        return ready ? 1 : 0;
    }

    ssize_t deliver(int fd, void* to, std::size_t n) {
        const allocations::Pause pause;
        EXPECT_EQ(fd, descriptor);
        EXPECT_EQ(n, 72U);
        ++reads;
        if (onRead) {
            return onRead(to);
        }
        canfd_frame frame{};
        frame.can_id = 0x321;
        frame.len = 4;
        std::memcpy(frame.data, "\xDE\xAD\xBE\xEF", 4);
        std::memcpy(to, &frame, sizeof frame);
        return 72;
    }

    ssize_t take(int fd, const void* from, std::size_t n) {
        const allocations::Pause pause;
        EXPECT_EQ(fd, descriptor);
        if (recording) {
            frames.emplace_back(static_cast<const char*>(from), n);
        }
        return onWrite ? onWrite(n) : static_cast<ssize_t>(n);
    }
};
