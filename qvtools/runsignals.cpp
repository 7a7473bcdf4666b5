#include "qvtools/runsignals.h"

#include "libqvcheck/hostclock.h"
#include "libqvutil/exception.h"
#include "libqvutil/utility.h"

#include <cerrno>
#include <string>

#include <sys/signalfd.h>
#include <unistd.h>

namespace {

struct name_t {
    const char* text;
    int signal;
    bool asksToEnd;
};

constexpr name_t names[] = {
    {"SIGINT", SIGINT, true},    {"SIGTERM", SIGTERM, true},  {"SIGHUP", SIGHUP, true},
    {"SIGQUIT", SIGQUIT, false}, {"SIGUSR1", SIGUSR1, false},
};

std::int64_t atOnceFrom = 0; ///< set before any handler is installed

/// signal-safety(7) allows clock_gettime, signal and raise.
void endIfDue(int signal) {
    if (monotonicNanoseconds() >= atOnceFrom) {
        std::signal(signal, SIG_DFL);
        std::raise(signal); // blocked until the handler returns
    }
}

} // namespace

RunSignals::RunSignals() : all() {
    sigemptyset(&all);
    for (const name_t& one : names) {
        sigaddset(&all, one.signal);
    }
    std::signal(SIGPIPE, SIG_IGN);
    sigprocmask(SIG_BLOCK, &all, nullptr);
    fd = signalfd(-1, &all, SFD_CLOEXEC | SFD_NONBLOCK);
    if (fd == -1) {
        const int savedErrno = errno;
        throw QVException(std::string("signalfd: ") + errorText(savedErrno));
    }
}

RunSignals::~RunSignals() {
    close(fd);
}

int RunSignals::next() {
    signalfd_siginfo info{};
    return read(fd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)
               ? static_cast<int>(info.ssi_signo)
               : 0;
}

void RunSignals::endAtOnceFrom(std::int64_t moment) {
    atOnceFrom = moment;
    struct sigaction action {};
    action.sa_handler = endIfDue;
    action.sa_flags = SA_RESTART;
    sigset_t ending;
    sigemptyset(&ending);
    for (const name_t& one : names) {
        if (one.asksToEnd) {
            sigaction(one.signal, &action, nullptr);
            sigaddset(&ending, one.signal);
        }
    }
    sigprocmask(SIG_UNBLOCK, &ending, nullptr);
}

bool RunSignals::asksToEnd(int signal) {
    for (const name_t& one : names) {
        if (one.signal == signal) {
            return one.asksToEnd;
        }
    }
    return false;
}

const char* RunSignals::name(int signal) {
    for (const name_t& one : names) {
        if (one.signal == signal) {
            return one.text;
        }
    }
    return "";
}
