#pragma once

#include <cstdint>
#include <ctime>
#include <functional>

#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/types.h>

/// Thrown by a scripted call to leave a loop that never ends.
struct leave_t {};

/// System calls that a test answers itself while an object of this class lives. A member that is empty leaves
/// its call to the system. A scripted call may throw to get out of a loop that never ends, where the C
/// library declares the call a cancellation point (read, recv, write, pselect, close, clock_nanosleep); the
/// others are declared not to throw.
///
/// One object at a time; set the members before threads run.
struct FakeSystem {
    FakeSystem();
    ~FakeSystem();
    FakeSystem(const FakeSystem&) = delete;
    FakeSystem& operator=(const FakeSystem&) = delete;

    std::function<int(int, int, int)> socket;
    std::function<int(int, unsigned long, void*)> ioctl;
    std::function<int(int, int, int, const void*, socklen_t)> setsockopt;
    std::function<int(int, int, int, void*, socklen_t*)> getsockopt;
    std::function<int(int, const sockaddr*, socklen_t)> bind;
    std::function<ssize_t(int, msghdr*, int)> recvmsg;
    std::function<int(int, mmsghdr*, unsigned int, int)> recvmmsg; // never with a time-out
    std::function<int(const char*, int)> open;
    std::function<int(int)> close;
    std::function<ssize_t(int, void*, size_t)> read;
    std::function<ssize_t(int, void*, size_t, int)> recv;
    std::function<ssize_t(int, const void*, size_t)> write;
    std::function<int(int, fd_set*, fd_set*, fd_set*, const timespec*, const sigset_t*)> pselect;
    std::function<int(clockid_t, timespec*)> clock_gettime;
    std::function<int(clockid_t, int, const timespec*, timespec*)> clock_nanosleep;
    std::function<tm*(const std::time_t*, tm*)> localtime_r;
    std::function<int(pthread_t*, void* (*)(void*), void*)> pthread_create;
    std::function<int(pthread_t)> pthread_join;
    std::function<char*(int, const char*)> setlocale;
    std::function<char*(int)> strerror;
    std::function<unsigned long long(const char*, char**, int)> strtoull;
    std::function<int()> rand;

    /// Told of, not answered for: the option table derives its widths and names.
    std::function<void()> onOptionsUpdate;

    /// The tools' own clock, in µs.
    std::function<std::uint64_t()> getMicroSecondsOfDay;
};
