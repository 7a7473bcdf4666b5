#pragma once

#include "libqvcheck/report.h"

#include <cstdint>
#include <iosfwd>

/// Reports a run in JSON, one object per line, as docs/check.schema.json describes. Times are seconds with
/// nine decimals, counters are numbers.
class JsonReport : public Report {
public:
    /// Incremented when a field changes its meaning.
    static constexpr int version = 1;

    /// Reported findings; further ones are only counted, in the summary.
    static constexpr std::uint64_t mostFindings = 10000;

    /// Everything referred to outlives it.
    JsonReport(std::ostream& _out, const runSettings_t& _settings) : out(_out), settings(_settings) {}

    void start(std::int64_t stamp) override;
    void stream(const streamSummary_t& stream, std::int64_t time) override;
    void finding(const finding_t& finding) override;
    void event(const hostEvent_t& event) override;
    void interval(const std::vector<intervalSummary_t>& pieces) override;
    void end(const runResult_t& run) override;
    bool flush() override;

private:
    std::ostream& out;
    const runSettings_t& settings;
    std::int64_t firstStamp = receivedFrame_t::noTime;
    std::uint64_t findings = 0;
};
