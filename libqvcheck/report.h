#pragma once

#include "libqvcheck/demands.h"
#include "libqvcheck/framesource.h"
#include "libqvcheck/hostsummary.h"
#include "libqvcheck/inputcounts.h"
#include "libqvcheck/judge.h"
#include "libqvcheck/summary.h"
#include "libqvcheck/verdict.h"

#include <string>
#include <vector>

/// What a report knows of its run from the beginning on. What it refers to outlives the report.
struct runSettings_t {
    const demands_t& demands;
    const Allowance& allowance;
    const InterfaceTable& interfaces;
    std::vector<std::string> command;    ///< the words of the command line
    std::vector<std::string> inputs;     ///< interfaces, or files as they were named
    bool recorded;                       ///< the inputs are recordings: what is lost here is the logger's
    const hostSummary_t* host = nullptr; ///< kept up to date from the start on; null for recordings
};

/// How a run ended, and what came of it.
struct runResult_t {
    summary_t summary;
    verdict_t verdict;
    std::string ended;                 ///< what ended it: "end of input", or a signal's name
    bool planned;                      ///< it was to end so
    const inputCounts_t* input;        ///< null when nothing was read from recordings
    std::vector<std::string> failures; ///< "name: reason" of inputs that could not be read to their end
};

/// A way to tell of a run. Findings come as they are settled; `end` comes last.
class Report : public FindingSink {
public:
    /// The first frame's stamp; receivedFrame_t::noTime when there is none.
    virtual void start(std::int64_t stamp) = 0;
    virtual void event(const hostEvent_t& event) = 0;
    virtual void interval(const std::vector<intervalSummary_t>& pieces) = 0;
    virtual void end(const runResult_t& run) = 0;

    /// Hands on what has been told so far. False when it could not be written.
    virtual bool flush() = 0;
};

/// The broken lines of a recording are so many that nothing can be said about it.
inline bool isTooBroken(const inputCounts_t& counts) {
    return counts.broken * 100 > counts.frames + counts.broken;
}

/// `stamp` as a date and time in UTC, "2026-11-21T16:16:40.179105Z" with `separator` 'T', no fraction and
/// " UTC" behind it with a blank. Empty when the clock of the stamps has no date: it counts from midnight or
/// from a start, and is within a year of 1970.
std::string dateText(std::int64_t stamp, char separator);
