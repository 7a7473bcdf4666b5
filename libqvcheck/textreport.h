#pragma once

#include "libqvcheck/report.h"

#include <iosfwd>
#include <string>

/// Reports a run in lines for people: findings as they are settled, then the summary and the verdict.
/// Counters are hexadecimal, like identifiers in candump.
class TextReport : public Report, public FrameWatcher {
public:
    enum detail_t {
        VERDICT, ///< the last line only
        USUAL,
        FRAMES, ///< also the frame of each finding
    };

    /// Everything referred to outlives it.
    TextReport(std::ostream& _out, const runSettings_t& _settings, detail_t _detail)
        : out(_out),
          settings(_settings),
          detail(_detail) {}

    /// Lets `frame` report every frame, with the time from the watched judge.
    void watch(Judge& _judge);

    void start(std::int64_t stamp) override;
    void stream(const streamSummary_t& stream, std::int64_t time) override;
    void finding(const finding_t& finding) override;
    void frame(const receivedFrame_t& frame, taken_t taken, std::uint16_t stream,
               std::uint32_t counter) override;
    void event(const hostEvent_t& event) override;
    void interval(const std::vector<intervalSummary_t>& pieces) override;
    void end(const runResult_t& run) override;
    bool flush() override;

private:
    void line(std::int64_t time, std::uint8_t interface, std::uint16_t stream, const std::string& text);

    std::ostream& out;
    const runSettings_t& settings;
    const detail_t detail;
    const Judge* judge = nullptr; ///< null: not every frame is reported
};
