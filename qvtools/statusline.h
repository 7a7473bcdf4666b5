#pragma once

#include "libqvcheck/liveline.h"
#include "qvtools/checkcommandline.h"
#include "qvtools/runclock.h"

#include <cstdint>

/// How a check stands, on standard error: on a terminal a line that is written anew four times a second, and
/// a line of its own whenever somebody asks. Times are ns of the monotonic clock.
class StatusLine {
public:
    /// The check starts `now`. All three outlive it.
    StatusLine(const CheckCommandLine& line, const Judge& _judge, const RunClock& _clock, std::int64_t now);

    /// Writes the line anew if that is due.
    void tick(std::int64_t now);

    /// When to call `tick`; RunEnd::NEVER where no line is shown.
    std::int64_t due() const { return next; }

    /// Takes the line away: something else is to be written.
    void hide();

    /// Writes it once, whole, with a line end.
    void print(std::int64_t now);

private:
    const Judge& judge;
    const RunClock& clock;
    FrameRate rate;
    std::int64_t next;
    bool shown = false;
};
