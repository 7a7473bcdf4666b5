#pragma once

#include "libqvcheck/report.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

/// Writes a candump log of the frames around the first findings of a run, in the order in which they were
/// read, each frame once. A comment before the frame that showed a finding describes it. The first and last
/// frames of each interface are included, as are those around the birth of each stream, so that a check of
/// the log sees the same streams. Where frames are left out, a comment says how many.
///
/// A finding is reported once it is settled, and a missing frame only after the demanded wait. So the last
/// `HELD` frames are kept until no finding can refer to them. Findings about older ones are written without
/// their frames. The memory is allocated once, by the constructor: 1.6 MB.
class DumpReport : public Report {
public:
    static constexpr unsigned int MOST = 100;      ///< findings shown
    static constexpr unsigned int AROUND = 16;     ///< frames shown before and after, of the same interface
    static constexpr std::uint64_t BETWEEN = 1024; ///< frames shown while a stream was silent
    static constexpr std::uint64_t HELD = 16384;   ///< frames of all interfaces together

    /// Both outlive it.
    DumpReport(std::ostream& _out, const runSettings_t& _settings);

    /// The next frame in the order of arrival, right after it was judged. `time`: ns since the first frame of
    /// the run.
    void frame(const receivedFrame_t& frame, std::int64_t time);

    /// It is `now`, in ns since the first frame of the run: writes what no finding can refer to any more.
    void settle(std::int64_t now);

    /// The source lost `n` frames after the last one. `name`: its interface, or "any".
    void droppedBehind(const std::string& name, std::uint64_t n);

    void start(std::int64_t) override {}
    void stream(const streamSummary_t& stream, std::int64_t time) override;
    void finding(const finding_t& finding) override;
    void event(const hostEvent_t&) override {}
    void interval(const std::vector<intervalSummary_t>&) override {}
    void end(const runResult_t& run) override;
    bool flush() override;

private:
    struct held_t {
        receivedFrame_t frame;
        std::int64_t time;
        bool wanted;
    };

    /// A text, placed at the last frame of its interface up to `time`.
    struct comment_t {
        std::int64_t time;
        std::int64_t since; ///< a second moment whose frames are shown; else `time`
        std::uint64_t place;
        std::uint8_t interface;
        std::string text;
    };

    held_t& at(std::uint64_t place) { return ring[place % HELD]; }
    void tell(std::int64_t time, std::int64_t since, std::uint8_t interface, std::uint16_t stream,
              const std::string& text);
    void placeComments();
    std::optional<std::uint64_t> placeOf(std::int64_t time, std::uint8_t interface);
    void want(std::uint64_t place, std::uint8_t interface);
    void wantBetween(std::uint64_t from, std::uint64_t to, std::uint8_t interface);
    void wantLast();
    void release();
    void write(const held_t& held);
    void writeComments();
    void writeDrops(const std::string& name, std::uint64_t n);

    std::ostream& out;
    const runSettings_t& settings;
    const bool oneQueue; ///< a drop may be of any interface
    const std::int64_t patience;
    std::vector<held_t> ring;
    std::uint64_t first = 0;                  ///< place of the oldest frame held
    std::uint64_t next = 0;                   ///< place of the frame to come
    std::array<unsigned int, 256> ahead;      ///< upcoming frames of an interface that are wanted
    std::array<std::uint64_t, 256> leftOut{}; ///< frames of an interface since the last one written
    std::vector<comment_t> unplaced;
    std::vector<comment_t> comments; ///< in the order of their places
    std::uint64_t findings = 0;
    unsigned int drops = 0; ///< drops whose frames were wanted
    std::uint64_t totalDrops = 0;
};
