#include "tests/fakes/fakesystem.h"

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<FakeSystem*> active{nullptr};

/// The active script for a call, or null.
template<typename Member>
auto scripted(Member member) -> decltype(&(active.load()->*member)) {
    FakeSystem* const fake = active;
    return fake != nullptr && fake->*member ? &(fake->*member) : nullptr;
}

} // namespace

FakeSystem::FakeSystem() {
    if (active.exchange(this) != nullptr) {
        std::abort(); // two scripts at a time: neither would see its calls
    }
}

FakeSystem::~FakeSystem() {
    active = nullptr;
}

// Sends a call to its script with what that takes, or to the system under the alias it was made by.
#define FORWARD_AS(result, alias, member, parameters, scripted_arguments, arguments)                         \
    extern "C" result __real_##alias parameters;                                                             \
    extern "C" result __wrap_##alias parameters;                                                             \
    extern "C" result __wrap_##alias parameters {                                                            \
        if (const auto* const script = scripted(&FakeSystem::member)) {                                      \
            return (*script)scripted_arguments;                                                              \
        }                                                                                                    \
        return __real_##alias arguments;                                                                     \
    }
#define FORWARD(result, alias, member, parameters, arguments)                                                \
    FORWARD_AS(result, alias, member, parameters, arguments, arguments)

FORWARD(int, socket, socket, (int domain, int type, int protocol), (domain, type, protocol))
FORWARD(int, bind, bind, (int fd, const sockaddr* address, socklen_t n), (fd, address, n))
FORWARD(int, close, close, (int fd), (fd))
FORWARD(ssize_t, read, read, (int fd, void* to, size_t n), (fd, to, n))
FORWARD(ssize_t, recv, recv, (int fd, void* to, size_t n, int flags), (fd, to, n, flags))
FORWARD(ssize_t, write, write, (int fd, const void* from, size_t n), (fd, from, n))
FORWARD(int, rand, rand, (), ())
FORWARD(char*, strerror, strerror, (int errnum), (errnum))
FORWARD(unsigned long long, strtoull, strtoull, (const char* text, char** end, int base), (text, end, base))
#if __GLIBC_PREREQ(2, 38)
FORWARD(unsigned long long, __isoc23_strtoull, strtoull, (const char* text, char** end, int base),
        (text, end, base))
#endif
FORWARD(char*, setlocale, setlocale, (int category, const char* locale), (category, locale))
FORWARD(std::uint64_t, _Z20getMicroSecondsOfDayv, getMicroSecondsOfDay, (), ())

#define SETSOCKOPT(alias)                                                                                    \
    FORWARD(int, alias, setsockopt, (int fd, int level, int option, const void* value, socklen_t n),         \
            (fd, level, option, value, n))
#define GETSOCKOPT(alias)                                                                                    \
    FORWARD(int, alias, getsockopt, (int fd, int level, int option, void* value, socklen_t* n),              \
            (fd, level, option, value, n))
#define PSELECT(alias)                                                                                       \
    FORWARD(int, alias, pselect,                                                                             \
            (int n, fd_set* r, fd_set* w, fd_set* e, const timespec* timeout, const sigset_t* mask),         \
            (n, r, w, e, timeout, mask))
#define CLOCK_GETTIME(alias)                                                                                 \
    FORWARD(int, alias, clock_gettime, (clockid_t clock, timespec * time), (clock, time))
#define CLOCK_NANOSLEEP(alias)                                                                               \
    FORWARD(int, alias, clock_nanosleep, (clockid_t clock, int flags, const timespec* time, timespec* rest), \
            (clock, flags, time, rest))
#define LOCALTIME_R(alias)                                                                                   \
    FORWARD(tm*, alias, localtime_r, (const std::time_t* time, tm* local), (time, local))
#define RECVMSG(alias)                                                                                       \
    FORWARD(ssize_t, alias, recvmsg, (int fd, msghdr* message, int flags), (fd, message, flags))
// ioctl and open take their last argument as a variable one. No script asks for open's.
#define IOCTL(alias)                                                                                         \
    FORWARD(int, alias, ioctl, (int fd, unsigned long request, void* argument), (fd, request, argument))
#define OPEN(alias)                                                                                          \
    FORWARD_AS(int, alias, open, (const char* path, int flags, mode_t mode), (path, flags),                  \
               (path, flags, mode))
#define OPEN_2(alias) FORWARD(int, alias, open, (const char* path, int flags), (path, flags))

SETSOCKOPT(setsockopt)
GETSOCKOPT(getsockopt)
PSELECT(pselect)
CLOCK_GETTIME(clock_gettime)
CLOCK_NANOSLEEP(clock_nanosleep)
LOCALTIME_R(localtime_r)
RECVMSG(recvmsg)
IOCTL(ioctl)
OPEN(open)
OPEN(open64)
OPEN_2(__open_2)
OPEN_2(__open64_2)

#if __SIZEOF_POINTER__ == 4
SETSOCKOPT(__setsockopt64)
GETSOCKOPT(__getsockopt64)
PSELECT(__pselect64)
CLOCK_GETTIME(__clock_gettime64)
CLOCK_NANOSLEEP(__clock_nanosleep_time64)
LOCALTIME_R(__localtime64_r)
RECVMSG(__recvmsg64)
IOCTL(__ioctl_time64)
#endif

extern "C" void __real__ZN7Options6updateEv(void* options);
extern "C" void __wrap__ZN7Options6updateEv(void* options);
extern "C" void __wrap__ZN7Options6updateEv(void* options) {
    if (const auto* const script = scripted(&FakeSystem::onOptionsUpdate)) {
        (*script)();
    }
    __real__ZN7Options6updateEv(options);
}

// Fortified: the compiler adds the size of the buffer, where it knows it.
extern "C" ssize_t __real___read_chk(int, void*, size_t, size_t);
extern "C" ssize_t __wrap___read_chk(int, void*, size_t, size_t);
extern "C" ssize_t __wrap___read_chk(int fd, void* to, size_t n, size_t room) {
    if (const auto* const script = scripted(&FakeSystem::read)) {
        return (*script)(fd, to, n);
    }
    return __real___read_chk(fd, to, n, room);
}

extern "C" ssize_t __real___recv_chk(int, void*, size_t, size_t, int);
extern "C" ssize_t __wrap___recv_chk(int, void*, size_t, size_t, int);
extern "C" ssize_t __wrap___recv_chk(int fd, void* to, size_t n, size_t room, int flags) {
    if (const auto* const script = scripted(&FakeSystem::recv)) {
        return (*script)(fd, to, n, flags);
    }
    return __real___recv_chk(fd, to, n, room, flags);
}

// Our own calls have no time-out.
#define RECVMMSG(alias)                                                                                      \
    extern "C" int __real_##alias(int, mmsghdr*, unsigned int, int, timespec*);                              \
    extern "C" int __wrap_##alias(int, mmsghdr*, unsigned int, int, timespec*);                              \
    extern "C" int __wrap_##alias(int fd, mmsghdr* messages, unsigned int n, int flags, timespec* timeout) { \
        if (const auto* const script = scripted(&FakeSystem::recvmmsg)) {                                    \
            return (*script)(fd, messages, n, flags);                                                        \
        }                                                                                                    \
        return __real_##alias(fd, messages, n, flags, timeout);                                              \
    }
RECVMMSG(recvmmsg)
#if __SIZEOF_POINTER__ == 4
RECVMMSG(__recvmmsg64)
#endif

// Our own calls pass no attributes and take no result.
extern "C" int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
extern "C" int __wrap_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
extern "C" int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*function)(void*), void* argument) {
    if (const auto* const script = scripted(&FakeSystem::pthread_create)) {
        return (*script)(thread, function, argument);
    }
    return __real_pthread_create(thread, attributes, function, argument);
}

extern "C" int __real_pthread_join(pthread_t, void**);
extern "C" int __wrap_pthread_join(pthread_t, void**);
extern "C" int __wrap_pthread_join(pthread_t thread, void** result) {
    if (const auto* const script = scripted(&FakeSystem::pthread_join)) {
        return (*script)(thread);
    }
    return __real_pthread_join(thread, result);
}
