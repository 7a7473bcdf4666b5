#pragma once

#include "libqvcheck/report.h"

#include <vector>

/// Passes everything on to several reports, which outlive it.
class Reports : public Report {
public:
    void add(Report& report) { all.push_back(&report); }

    void start(std::int64_t stamp) override;
    void stream(const streamSummary_t& stream, std::int64_t time) override;
    void finding(const finding_t& finding) override;
    void event(const hostEvent_t& event) override;
    void interval(const std::vector<intervalSummary_t>& pieces) override;
    void end(const runResult_t& run) override;

    /// False if any of them could not be written; the others were.
    bool flush() override;

private:
    std::vector<Report*> all;
};
