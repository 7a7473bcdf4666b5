#include "qvtools/retry.h"

#include "libqvutil/utility.h"

std::atomic<unsigned int> Retry::instances{0};

void Retry::failed() {
    const std::uint64_t now = getMicroSecondsOfDay();
    const std::uint64_t pause = SPACING * instances;
    const bool again = last != 0 && now - last <= 2 * pause;
    at = again ? now + pause : 0;
    last = now;
}

std::uint64_t Retry::remaining() const {
    if (at == 0) {
        return 0;
    }
    const std::uint64_t now = getMicroSecondsOfDay();
    return now < at ? at - now : 0;
}

void Retry::wait() {
    microsleep(static_cast<unsigned long>(remaining()), false);
    at = 0;
}
