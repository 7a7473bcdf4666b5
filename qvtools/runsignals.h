#pragma once

#include <csignal>
#include <cstdint>

/// The signals of a check as a descriptor to wait for. SIGINT, SIGTERM and SIGHUP request its end, SIGQUIT
/// and SIGUSR1 a status line. They are blocked from construction on. SIGPIPE is ignored: output without a
/// reader is noticed when it is written.
class RunSignals {
public:
    RunSignals();
    ~RunSignals();
    RunSignals(const RunSignals&) = delete;
    RunSignals& operator=(const RunSignals&) = delete;

    int descriptor() const { return fd; }

    /// The next pending signal, 0 if there is none. Does not wait.
    int next();

    /// From `moment` on, in ns of the monotonic clock, a signal that requests the end takes effect at once.
    /// Until then it is ignored: timeout(1) signals a process and then its group, so both signals arrive. For
    /// one run per process.
    static void endAtOnceFrom(std::int64_t moment);

    static bool asksToEnd(int signal);

    /// "SIGINT".
    static const char* name(int signal);

private:
    sigset_t all;
    int fd;
};
