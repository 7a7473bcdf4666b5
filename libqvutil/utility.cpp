#include "libqvutil/utility.h"

#include <cerrno>
#include <cstring>

namespace {

constexpr std::uint64_t microsPerSecond = 1000000;

std::uint64_t toMicros(const timespec& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * microsPerSecond +
           static_cast<std::uint64_t>(time.tv_nsec) / 1000;
}

// clock_gettime, not std::chrono::system_clock: on 32-bit ARM the C++ library uses a 32-bit time for the
// latter internally.
timespec timeOf(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return time;
}

std::uint64_t localTimeOfDay() {
    const timespec utc = timeOf(CLOCK_REALTIME);
    tm local{};
    if (localtime_r(&utc.tv_sec, &local) == nullptr) {
        return toMicros(utc) % (86400 * microsPerSecond);
    }
    const int minutes = local.tm_hour * 60 + local.tm_min;
    const auto seconds = static_cast<std::uint64_t>(minutes) * 60 + static_cast<std::uint64_t>(local.tm_sec);
    return seconds * microsPerSecond + static_cast<std::uint64_t>(utc.tv_nsec) / 1000;
}

} // namespace

const char* errorText(int errnum) {
    return std::strerror(errnum);
}

const char* progname(const char* argv0) {
    if (argv0 == nullptr) {
        return nullptr;
    }
    const char* slash = std::strrchr(argv0, '/');
    return slash == nullptr ? argv0 : slash + 1;
}

std::size_t displayWidth(const char* text) {
    std::size_t width = 0;
    for (; text != nullptr && *text != '\0'; ++text) {
        const bool continuation = (static_cast<unsigned char>(*text) & 0xC0U) == 0x80U;
        width += continuation ? 0 : 1;
    }
    return width;
}

timespec toTimespec(std::chrono::microseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timespec time{};
    time.tv_sec = static_cast<std::time_t>(seconds.count());
    time.tv_nsec = static_cast<long>((duration - seconds).count() * 1000);
    return time;
}

void microsleep(unsigned long microseconds, bool interruptible) {
    if (microseconds == 0) {
        return;
    }
    timespec rest = toTimespec(std::chrono::microseconds(microseconds));
    // A relative sleep on the monotonic clock: the kernel returns the rest after a signal.
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR && !interruptible) {
    }
}

DayClock::DayClock() : offset(localTimeOfDay() - toMicros(timeOf(CLOCK_MONOTONIC))) {}

std::uint64_t DayClock::now() const {
    return toMicros(timeOf(CLOCK_MONOTONIC)) + offset;
}

std::uint64_t getMicroSecondsOfDay() {
    static const DayClock clock;
    return clock.now();
}
