#pragma once

#include "libqvcheck/report.h"

#include <array>
#include <cstdint>
#include <functional>
#include <iosfwd>

/// Keeps a line-based report readable: passes on a limited number of findings and error frames per second,
/// and then says how many more there were. Everything else passes.
class FindingLimit : public Report {
public:
    static constexpr unsigned int MOST = 20;

    /// `_clock` returns ns and never goes back. Everything referred to outlives it.
    FindingLimit(Report& _report, std::ostream& _out, std::function<std::int64_t()> _clock);

    void start(std::int64_t stamp) override { report.start(stamp); }
    void stream(const streamSummary_t& stream, std::int64_t time) override { report.stream(stream, time); }
    void finding(const finding_t& finding) override;
    void event(const hostEvent_t& event) override;
    void interval(const std::vector<intervalSummary_t>& pieces) override { report.interval(pieces); }
    void end(const runResult_t& run) override;

    /// Reports what was held back, once the second is over.
    bool flush() override;

private:
    bool hasRoom();
    void tellRest();

    Report& report;
    std::ostream& out;
    std::function<std::int64_t()> clock;
    std::int64_t secondEnds = 0;
    unsigned int told = 0;
    bool any = false; ///< something was held back
    std::array<std::uint64_t, FK_NUM> heldBack{};
    std::uint64_t errorFrames = 0;
};
