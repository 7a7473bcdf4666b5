#pragma once

#include "libqvcheck/demands.h"
#include "libqvcheck/reporter.h"
#include "libqvcheck/sighting.h"
#include "libqvcheck/streamfinding.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

/// Checks a stream against the demands: its number of frames, its pace, its silences, its format. Owns
/// nothing and has no state: the counts are in the stream, and each user has its own. Used by one thread.
template<typename Limits>
class StreamDemands {
public:
    using stream_t = Stream<Limits>;

    /// Both outlive it.
    StreamDemands(const demands_t& _demands, Reporter& _reporter)
        : demands(_demands),
          reporter(_reporter),
          checksFormat(_demands.fd || _demands.brs),
          looks(_demands.paced || _demands.intervals) {}

    /// Whether a number of frames is demanded of it.
    bool countsFrames(const stream_t& s) const { return demands.loop > 0 && isDemanded(s); }
    /// The counter after its last demanded frame, if its frames are counted: from the first one seen if the
    /// start is unknown, so that the number is right, and the place of what is missing is not.
    std::uint32_t endOf(const stream_t& s) const { return s.first + demands.loop; }

    /// Whether a frame may break a demand although it is exactly the next one.
    bool looksAtEach(const stream_t& s) const {
        return demands.maxGap != 0 || (checksFormat && s.key.length != CANFD_MAX_DLEN);
    }

    /// Whether gaps are not just for their histogram.
    bool looksAtGaps() const { return looks; }

    /// ns between two consecutive frames of the stream; `last` is still the first of them.
    void gap(stream_t& s, std::int64_t gap) {
        s.gaps.add(gap);
        if (looks) {
            lookAtGap(s, gap);
        }
    }

    /// Reports a silence up to `time` that is too long, once.
    void checkSilence(stream_t& s, std::int64_t time) {
        if (demands.maxGap > 0 && !s.silenceTold && time - s.last.time > demands.maxGap) {
            finding_t f = streamFinding(s, FK_GAP, time, s.window.next() - 1, 1);
            f.before = s.last.time;
            f.span = time - s.last.time;
            s.silenceTold = true;
            reporter.finding(f);
        }
    }

    /// A frame of another format than demanded; only the first is reported.
    void checkFormat(stream_t& s, const sighting_t& seen) {
        if (checksFormat && !isFormat(seen.frame) && isFirst(s.wrongFormat)) {
            finding_t f = streamFinding(s, FK_FORMAT, seen.at.time, s.window.next() - 1, 1);
            f.frame = &seen.frame;
            reporter.finding(f);
        }
    }

    /// The first frame with a counter beyond the demanded number; only the first such frame is reported.
    void checkNumber(stream_t& s, std::uint32_t counter, std::int64_t time) {
        if (demands.loop > 0 && countsFrames(s) && ahead(counter, endOf(s)) >= 0 && isFirst(s.surplus)) {
            reporter.finding(streamFinding(s, FK_SURPLUS, time, counter, 1));
        }
    }

    /// The run is over at `time`: judges the stream by its totals.
    void close(stream_t& s, std::int64_t time) {
        checkSilence(s, time);
        tellRest(s, FK_SURPLUS, s.surplus, time);
        tellRest(s, FK_FORMAT, s.wrongFormat, time);
        checkPace(s, time);
    }

    /// The figures that need the demanded gap.
    void rate(const stream_t& s, streamSummary_t& summary) const {
        if (!demands.paced) {
            return;
        }
        summary.rated = s.gaps.count() > 0 && demands.gap > 0;
        if (summary.rated) {
            summary.ratePpm = (s.gaps.mean() / static_cast<double>(demands.gap) - 1) * 1e6;
        }
        summary.jitter = demands.jitter == 0 ? s.jitter : -1;
    }

private:
    /// Whether the demands on start, number of frames and pace apply to this stream.
    bool isDemanded(const stream_t& s) const { return demands.ids.empty() || s.demand >= 0; }

    bool isFormat(const receivedFrame_t& frame) const {
        return frame.fd && frame.length == CANFD_MAX_DLEN && (!demands.brs || (frame.flags & CANFD_BRS) != 0);
    }

    [[gnu::noinline]] void lookAtGap(stream_t& s, std::int64_t gap) {
        if (s.interval != nullptr) {
            s.interval->gaps.add(gap);
        }
        if (!demands.paced) {
            return;
        }
        const std::int64_t off = std::abs(gap - demands.gap);
        s.jitter += (static_cast<double>(off) - s.jitter) / 16;
        if (demands.eachGap && demands.lateness > 0 && off > demands.jitter + demands.lateness &&
            isDemanded(s)) {
            finding_t f = streamFinding(s, FK_PACE, s.last.time + gap, s.window.next(), 1);
            f.before = s.last.time;
            f.span = gap;
            reporter.finding(f);
        }
    }

    /// Counts one more; true if it is to be reported now.
    static bool isFirst(breach_t& breach) {
        const bool first = breach.frames++ == 0;
        breach.told += first ? 1U : 0U;
        return first;
    }

    void tellRest(const stream_t& s, findingKind_t kind, const breach_t& breach, std::int64_t time) {
        if (breach.frames > breach.told) {
            reporter.finding(streamFinding(s, kind, time, s.window.next() - 1, breach.frames - breach.told));
        }
    }

    /// How far the mean of so many gaps may be off, in ns: 5 %, or as far as the sender's jitter takes it.
    /// The mean of n gaps that are even over +-j has a standard deviation of j / sqrt(3 n); four of them are
    /// exceeded in one run of 16,000.
    double meanTolerance(std::uint64_t gaps) const {
        const double deviation =
            static_cast<double>(demands.jitter) / std::sqrt(3 * static_cast<double>(gaps));
        return std::max(static_cast<double>(demands.gap) / 20, 4 * deviation);
    }

    void checkPace(const stream_t& s, std::int64_t time) {
        constexpr std::uint64_t enough = 100;
        const std::uint64_t gaps = s.gaps.count();
        if (demands.paced && demands.gap > 0 && isDemanded(s) && gaps >= enough &&
            std::abs(s.gaps.mean() - static_cast<double>(demands.gap)) > meanTolerance(gaps)) {
            finding_t f = streamFinding(s, FK_PACE, time, s.first, 1);
            f.last = s.window.next() - 1;
            f.span = static_cast<std::int64_t>(s.gaps.mean());
            reporter.finding(f);
        }
    }

    const demands_t& demands;
    Reporter& reporter;
    const bool checksFormat;
    const bool looks; ///< at gaps, not just for their histogram
};
