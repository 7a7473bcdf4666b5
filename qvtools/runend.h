#pragma once

#include "libqvcheck/judge.h"
#include "qvtools/checkcommandline.h"

#include <cstdint>
#include <string>

/// When a check is over, and what ended it. Times are ns of the monotonic clock.
class RunEnd {
public:
    /// A time that never comes.
    static constexpr std::int64_t NEVER = INT64_MAX;

    /// The check starts `now`. `live`: its inputs are devices; a recording is read to its end.
    RunEnd(const CheckCommandLine& _line, bool _live, std::int64_t now);

    /// A signal requested the end.
    void signal(int number);

    /// The inputs are exhausted.
    void inputEnded() { end("end of input"); }

    /// The report has no reader any more.
    void outputGone() { end("output gone"); }

    /// Checks whether the findings end it.
    void found(const Judge& judge);

    /// Checks whether it is over now.
    void look(const Judge& judge, std::int64_t now);

    bool isOver() const { return !reason.empty(); }

    /// When to check next if nothing comes; NEVER: only an event can end it.
    std::int64_t due() const;

    /// "SIGINT", "end of input".
    const std::string& why() const { return reason; }

    /// It was meant to end that way; false if a signal cut short a run with an end of its own.
    bool planned() const;

    /// The exit status of a check with this verdict.
    int status(int verdict) const;

private:
    void end(const std::string& why);

    const CheckCommandLine& line;
    const bool live;
    std::int64_t overAt = NEVER;     ///< of -T
    std::int64_t idleAt = NEVER;     ///< of --idle
    std::int64_t completeAt = NEVER; ///< when a surplus frame would have arrived
    std::int64_t lastPattern = -1;
    std::string reason;
    int signalNumber = 0;
};
