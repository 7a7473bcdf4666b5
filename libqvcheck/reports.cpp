#include "libqvcheck/reports.h"

void Reports::start(std::int64_t stamp) {
    for (Report* const report : all) {
        report->start(stamp);
    }
}

void Reports::stream(const streamSummary_t& stream, std::int64_t time) {
    for (Report* const report : all) {
        report->stream(stream, time);
    }
}

void Reports::finding(const finding_t& finding) {
    for (Report* const report : all) {
        report->finding(finding);
    }
}

void Reports::event(const hostEvent_t& event) {
    for (Report* const report : all) {
        report->event(event);
    }
}

void Reports::interval(const std::vector<intervalSummary_t>& pieces) {
    for (Report* const report : all) {
        report->interval(pieces);
    }
}

void Reports::end(const runResult_t& run) {
    for (Report* const report : all) {
        report->end(run);
    }
}

bool Reports::flush() {
    bool written = true;
    for (Report* const report : all) {
        written = report->flush() && written;
    }
    return written;
}
