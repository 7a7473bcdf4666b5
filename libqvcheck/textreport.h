#pragma once

#include "libqvcheck/report.h"

#include <iosfwd>
#include <string>

/// Tells of a run in lines for people: findings as they are settled, then the summary and the verdict.
/// Counters are hexadecimal, as identifiers are in candump.
class TextReport : public Report, public FrameWatcher {
public:
    enum detail_t {
        VERDICT, ///< the last line only
        USUAL,
        FRAMES, ///< the frame of each finding, too
    };

    /// All that is referred to outlives it.
    TextReport(std::ostream& _out, const runSettings_t& _settings, detail_t _detail)
        : out(_out),
          settings(_settings),
          detail(_detail) {}

    /// Tells the time of every frame for `frame`: the watched judge's.
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
    const Judge* judge = nullptr; ///< null: not every frame is told
};
