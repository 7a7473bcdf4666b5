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

/// What a report knows about its run from the beginning. Everything referred to outlives the report.
struct runSettings_t {
    const demands_t& demands;
    const Allowance& allowance;
    const InterfaceTable& interfaces;
    std::vector<std::string> command;    ///< the words of the command line
    std::vector<std::string> inputs;     ///< interfaces, or files as they were named
    bool recorded;                       ///< the inputs are recordings: losses here are the logger's
    const hostSummary_t* host = nullptr; ///< kept up to date from the start; null for recordings
};

/// How a run ended, and its results.
struct runResult_t {
    summary_t summary;
    verdict_t verdict;
    std::string ended;                 ///< what ended it: "end of input", or a signal's name
    bool planned;                      ///< it was meant to end that way
    const inputCounts_t* input;        ///< null if no recording was read
    std::vector<std::string> failures; ///< "name: reason" of inputs that could not be read to the end
};

/// A way to report a run. Findings come as they are settled; `end` comes last.
class Report : public FindingSink {
public:
    /// The first frame's stamp; receivedFrame_t::noTime if there is none.
    virtual void start(std::int64_t stamp) = 0;
    virtual void event(const hostEvent_t& event) = 0;
    virtual void interval(const std::vector<intervalSummary_t>& pieces) = 0;
    virtual void end(const runResult_t& run) = 0;

    /// Writes out what has been reported so far. False if that failed.
    virtual bool flush() = 0;
};

/// So many lines of the recording are broken that nothing can be said about it.
inline bool isTooBroken(const inputCounts_t& counts) {
    return counts.broken * 100 > counts.frames + counts.broken;
}

/// `stamp` as a date and time in UTC: "2026-11-21T16:16:40.179105Z" with `separator` 'T', without the
/// fraction and with " UTC" at the end if it is a blank. Empty if the clock of the stamps has no date: it
/// counts from midnight or from a start, and is within a year of 1970.
std::string dateText(std::int64_t stamp, char separator);
