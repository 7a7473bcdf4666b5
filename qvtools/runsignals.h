#pragma once

#include <csignal>
#include <cstdint>

/// The signals of a check, as something to wait for. SIGINT, SIGTERM and SIGHUP ask it to end, SIGQUIT and
/// SIGUSR1 for a line on how it stands. They are blocked from the construction on. SIGPIPE is ignored: output
/// that nobody reads is met where it is written.
class RunSignals {
public:
    RunSignals();
    ~RunSignals();
    RunSignals(const RunSignals&) = delete;
    RunSignals& operator=(const RunSignals&) = delete;

    int descriptor() const { return fd; }

    /// The next signal that has come, 0 when none has. Does not wait.
    int next();

    /// From `moment` on, in ns of the monotonic clock, a signal that asks to end does so at once. Until then
    /// it is ignored: timeout(1) signals a process and then its group, so both reach it. For one run of a
    /// process.
    static void endAtOnceFrom(std::int64_t moment);

    static bool asksToEnd(int signal);

    /// "SIGINT".
    static const char* name(int signal);

private:
    sigset_t all;
    int fd;
};
