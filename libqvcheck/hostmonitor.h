#pragma once

#include "libqvcheck/hostwatch.h"
#include "libqvcheck/linkstatus.h"

#include <cstdint>
#include <string>
#include <vector>

/// Asks this host's kernel what happens to the interfaces of a check, and passes it on to a HostWatch. Times
/// are ns since the first frame of the run.
class HostMonitor {
public:
    HostMonitor(const std::vector<std::string>& names, InterfaceTable& interfaces, Causes& causes,
                HostWatch::tell_t tell)
        : host(names, interfaces, causes, std::move(tell)) {}

    /// Readable after a change of an interface; -1 without rtnetlink.
    int descriptor() const { return links.descriptor(); }

    /// Reads the pending changes. They happened between `from` and `now`.
    void read(std::int64_t from, std::int64_t now);

    /// Reads all counters.
    void sample(std::int64_t now);

    HostWatch& watch() { return host; }

private:
    LinkStatus links;
    HostWatch host;
};
