#pragma once

#include "libqvcheck/liveline.h"
#include "qvtools/checkcommandline.h"
#include "qvtools/runclock.h"

#include <cstdint>

/// The state of a check on standard error: on a terminal a line that is redrawn four times a second, and on
/// request a line of its own. Times are ns of the monotonic clock.
class StatusLine {
public:
    /// The check starts `now`. All three outlive it.
    StatusLine(const CheckCommandLine& line, const Judge& _judge, const RunClock& _clock, std::int64_t now);

    /// Redraws the line if that is due.
    void tick(std::int64_t now);

    /// When to call `tick`; RunEnd::NEVER if no line is shown.
    std::int64_t due() const { return next; }

    /// Erases the line before other output.
    void hide();

    /// Prints it once, uncut, with a line end.
    void print(std::int64_t now);

private:
    const Judge& judge;
    const RunClock& clock;
    FrameRate rate;
    std::int64_t next;
    bool shown = false;
};
