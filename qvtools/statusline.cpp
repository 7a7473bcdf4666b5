#include "qvtools/statusline.h"

#include "qvtools/runend.h"

#include <cstdlib>
#include <iostream>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr std::int64_t every = 250000000;

bool isWanted(const CheckCommandLine& line) {
    return line.files.empty() && line.quiet == 0 && isatty(STDERR_FILENO) == 1;
}

std::size_t terminalWidth() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

/// no-color.org: set and not empty.
bool wantsColour() {
    const char* const refused = std::getenv("NO_COLOR");
    return refused == nullptr || *refused == '\0';
}

} // namespace

StatusLine::StatusLine(const CheckCommandLine& line, const Judge& _judge, const RunClock& _clock,
                       std::int64_t now)
    : judge(_judge),
      clock(_clock),
      next(isWanted(line) ? now + every : RunEnd::NEVER) {}

void StatusLine::tick(std::int64_t now) {
    if (now < next) {
        return;
    }
    next = now + every;
    const summary_t summary = judge.summary();
    std::cerr << liveLine(summary, clock.at(now), rate.at(now, summary.pattern), terminalWidth(),
                          wantsColour())
              << "\033[K\r" << std::flush;
    shown = true;
}

void StatusLine::hide() {
    if (shown) {
        std::cerr << "\033[K" << std::flush;
        shown = false;
    }
}

void StatusLine::print(std::int64_t now) {
    hide();
    const summary_t summary = judge.summary();
    std::cerr << liveLine(summary, clock.at(now), rate.at(now, summary.pattern), 0, false) << std::endl;
}
