#include "qvtools/waitset.h"

#include "libqvutil/exception.h"
#include "libqvutil/utility.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

constexpr std::uint32_t timerTag = UINT32_MAX;
constexpr int most = 16; ///< descriptors per wait

int opened(int fd, const char* call) {
    if (fd == -1) {
        const int savedErrno = errno;
        throw QVException(std::string(call) + ": " + errorText(savedErrno));
    }
    return fd;
}

} // namespace

WaitSet::WaitSet()
    : epoll(opened(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    try {
        add(opened(timer, "timerfd_create"), timerTag);
    } catch (...) {
        close(epoll);
        throw;
    }
}

WaitSet::~WaitSet() {
    close(timer);
    close(epoll);
}

void WaitSet::add(int fd, std::uint32_t tag) {
    if (!watch(fd, tag)) {
        opened(-1, "epoll_ctl");
    }
}

void WaitSet::addInput(int fd, std::uint32_t tag) {
    if (watch(fd, tag)) {
        return;
    }
    if (errno != EPERM) { // epoll_ctl(2): returned for a regular file
        opened(-1, "epoll_ctl");
    }
    files.push_back(tag);
}

bool WaitSet::watch(int fd, std::uint32_t tag) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u32 = tag;
    return fd == -1 || epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event) == 0;
}

void WaitSet::remove(int fd, std::uint32_t tag) {
    epoll_ctl(epoll, EPOLL_CTL_DEL, fd, nullptr);
    files.erase(std::remove(files.begin(), files.end(), tag), files.end());
}

const WaitSet::tags_t& WaitSet::wait(std::int64_t moment) {
    if (moment < armed) {
        arm(moment);
    }
    return look(files.empty() ? -1 : 0);
}

const WaitSet::tags_t& WaitSet::look(int timeout) {
    epoll_event events[most];
    const int n = epoll_wait(epoll, events, most, timeout);
    ready.assign(files.begin(), files.end());
    for (int i = 0; i < n; ++i) {
        const std::uint32_t tag = events[i].data.u32;
        if (tag == timerTag) {
            arm(NEVER);
        } else {
            ready.insert(std::upper_bound(ready.begin(), ready.end(), tag), tag);
        }
    }
    return ready;
}

/// A later moment does not rearm the timer each time: a spurious wake-up costs less.
void WaitSet::arm(std::int64_t moment) {
    itimerspec setting{};
    if (moment != NEVER) {
        const std::int64_t at = std::max<std::int64_t>(moment, 1); // 0 would disarm it
        setting.it_value.tv_sec = static_cast<time_t>(at / nsPerSecond);
        setting.it_value.tv_nsec = static_cast<long>(at % nsPerSecond);
    }
    timerfd_settime(timer, TFD_TIMER_ABSTIME, &setting, nullptr);
    armed = moment;
}
