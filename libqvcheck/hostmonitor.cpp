#include "libqvcheck/hostmonitor.h"

#include "libqvcheck/softnetdrops.h"

void HostMonitor::read(std::int64_t from, std::int64_t now) {
    linkMessage_t message;
    while (links.next(message)) {
        host.link(message, from, now);
    }
}

void HostMonitor::sample(std::int64_t now) {
    links.request();
    read(now, now);
    host.softnet(softnetDrops(), now);
}
