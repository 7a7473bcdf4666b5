#pragma once

#include "libqvcheck/corruption.h"
#include "libqvcheck/streamdemands.h"

#include <algorithm>

/// Keeps the accounts of streams: what a frame with a certain counter means for them. Owns nothing; the
/// counts are in the stream. Used by one thread.
///
/// After each call expected = intact + corrupted + lost + open.
template<typename Limits>
class Booking {
public:
    using stream_t = Stream<Limits>;

    /// Both outlive it.
    Booking(const demands_t& _demands, Reporter& _reporter)
        : reporter(_reporter),
          streamDemands(_demands, _reporter),
          corruption(_reporter) {}

    /// The frame is the stream's frame `counter`, which lies in its window and pushes no gap out of it.
    void take(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        if (s.empty) {
            begin(s, counter, seen);
        }
        endSilence(s, seen);
        const std::int32_t d = ahead(counter, s.window.next());
        if (d >= 0) {
            record(s, counter, seen);
        } else if (ahead(counter, s.first) < 0) {
            extend(s, counter, seen);
        } else if (s.window.arrived(counter)) {
            again(s, counter, seen);
        } else {
            fill(s, counter, seen);
        }
        heard(s, seen, d >= 0);
    }

    /// A sound frame of the stream that fits nowhere in it.
    void stray(stream_t& s, const Reading& reading, const sighting_t& seen) {
        ++s.counts.stray;
        finding_t f = streamFinding(s, FK_STRAY, seen.at.time, reading.counter(), 1);
        f.evidence = reading.evidence(reading.counter(), s.key.tag, s.key.extended, s.key.length);
        f.frame = &seen.frame;
        reporter.finding(f);
        reporter.frame(seen.frame, FT_STRAY, s.number, reading.counter());
    }

    /// Keeps a sound frame that already arrived, to be reported as repeated: more of them may be a stream.
    void keepRepeat(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        endSilence(s, seen);
        s.repeats[s.streak++] = {seen.frame, counter, seen.at};
        spoke(s, seen, false);
    }

    /// Reports the kept repeats.
    void tellRepeats(stream_t& s) {
        for (std::uint32_t i = 0; i < s.streak; ++i) {
            const repeat_t& r = s.repeats[i];
            countFrame(s, {r.frame, r.at, 0});
            tellRepeat(s, r.counter, r.at.time, 1, &r.frame);
            reporter.frame(r.frame, FT_REPEATED, s.number, r.counter);
        }
        s.counts.repeated += s.streak;
        s.streak = 0;
    }

    /// `n` frames from `counter` on were repeated; `frame`: the one to show, or null.
    void tellRepeat(stream_t& s, std::uint32_t counter, std::int64_t time, std::uint32_t n,
                    const receivedFrame_t* frame) {
        finding_t f = streamFinding(s, FK_REPEATED, time, counter, n);
        f.last = counter + n - 1;
        f.span = s.window.reaches(counter) ? time - s.window.timeOf(counter) : -1;
        f.frame = frame;
        reporter.finding(f);
    }

    /// A frame that another stream had claimed; it has already been reported.
    void adopt(stream_t& s, stream_t& from, std::uint32_t counter) {
        const arrivalTime_t at = {from.window.timeOf(counter), from.lastRecord.number};
        const bool damaged = from.window.damaged(counter);
        const std::int32_t d = ahead(counter, s.window.next());
        if (d > 0) {
            const auto absent = static_cast<std::uint32_t>(d);
            s.window.addGap({s.window.next(), absent, absent, false, false, s.last, at, s.unique});
            s.counts.open += absent;
            s.counts.expected += absent;
        }
        if (d >= 0) {
            s.window.moveOn(counter);
            ++s.counts.expected;
            s.lastRecord = at;
        } else if (gap_t* const gap = s.window.gapOf(counter)) {
            --gap->missing;
            --s.counts.open;
        } else {
            ++s.counts.late;
            s.window.mark(counter, at.time, damaged);
            return;
        }
        ++s.unique;
        ++(damaged ? s.counts.corrupted : s.counts.intact);
        s.injection.adopt(from.injection, counter, damaged);
        s.window.mark(counter, at.time, damaged);
    }

private:
    void begin(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        s.empty = false;
        s.born = seen.at;
        s.last = seen.at;
        if (!s.startDemanded) {
            s.first = counter;
            s.window.restartAt(counter);
        }
        startInjection(s);
    }

    void startInjection(stream_t& s) {
        if (s.startKnown()) {
            s.injection.startAt(s.first, s.window.next());
        }
    }

    void record(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        const std::uint32_t absent = counter - s.window.next();
        if (absent > 0) {
            s.window.addGap({s.window.next(), absent, absent, false, false, s.last, seen.at, s.unique});
            s.counts.open += absent;
        } else if (s.atRecord && seen.at.number > s.last.number && seen.clockSteps == s.lastSteps) {
            streamDemands.gap(s, seen.at.time - s.last.time);
        }
        s.window.moveOn(counter);
        s.counts.expected += std::uint64_t{absent} + 1;
        s.lastRecord = seen.at;
        const bool hit = s.injection.known() && s.injection.reach(counter);
        arrive(s, counter, seen, hit, FT_IN_ORDER);
    }

    /// A frame below the first one: the stream began earlier.
    void extend(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        const std::uint32_t between = s.first - counter - 1;
        if (between > 0) {
            s.window.addGapBelow({counter + 1, between, between, false, false, s.born, s.born, 0});
            s.counts.open += between;
        }
        s.first = counter;
        s.counts.expected += std::uint64_t{between} + 1;
        startInjection(s);
        const bool behind = seen.at.number > s.born.number;
        if (behind) {
            reordered(s, counter, seen, s.born, s.unique);
        }
        arrive(s, counter, seen, s.injection.known() && s.injection.hits(counter),
               behind ? FT_REORDERED : FT_IN_ORDER);
        s.counts.overtaken += behind && between == 0 ? 1U : 0U;
    }

    /// A missing frame arrived after all.
    void fill(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        gap_t* const gap = s.window.gapOf(counter);
        if (gap == nullptr) {
            late(s, counter, seen);
            return;
        }
        // A held frame came before the one that opened the gap, so nothing overtook it.
        const bool behind = seen.at.number > gap->opened.number;
        if (behind) {
            gap->overtaken = true;
            reordered(s, counter, seen, gap->opened, s.unique - gap->openedUnique);
        }
        --s.counts.open;
        s.counts.overtaken += --gap->missing == 0 && gap->overtaken ? 1U : 0U;
        arrive(s, counter, seen, s.injection.known() && s.injection.hits(counter),
               behind ? FT_REORDERED : FT_IN_ORDER);
    }

    /// RFC 4737: a frame is reordered if one with a higher counter came before it. Its extent is the number
    /// of frames since the earliest such one, which is the one that showed the gap.
    void reordered(stream_t& s, std::uint32_t counter, const sighting_t& seen, const arrivalTime_t& opened,
                   std::uint64_t extent) {
        finding_t f = streamFinding(s, FK_REORDERED, seen.at.time, counter, 1);
        f.extent = std::min(extent, seen.at.number - opened.number);
        f.span = seen.at.time - opened.time;
        f.frame = &seen.frame;
        ++s.counts.reordered;
        const std::uint32_t toWrap = (counter + 32) & s.key.idMask();
        s.reorderedAtWrap += toWrap <= 64 ? 1U : 0U;
        s.maxExtent = std::max(s.maxExtent, f.extent);
        s.maxLateTime = std::max(s.maxLateTime, f.span);
        reporter.finding(f);
    }

    void late(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        std::uint32_t higher = counter + 1;
        while (higher != s.window.next() && !s.window.arrived(higher)) {
            ++higher;
        }
        finding_t f = streamFinding(s, FK_LATE, seen.at.time, counter, 1);
        f.span = seen.at.time - s.window.timeOf(higher);
        f.frame = &seen.frame;
        ++s.counts.late;
        s.window.mark(counter, seen.at.time, seen.damaged != nullptr);
        reporter.finding(f);
        reporter.frame(seen.frame, FT_LATE, s.number, counter);
    }

    void again(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        if (seen.damaged != nullptr) {
            ++s.counts.corruptedRepeats;
            if (corruption.isCopy(s, counter, seen)) {
                tellRepeat(s, counter, seen.at.time, 1, &seen.frame);
            } else {
                corruption.tell(s, counter, seen);
            }
            reporter.frame(seen.frame, FT_CORRUPTED_REPEAT, s.number, counter);
            return;
        }
        ++s.counts.repeated;
        tellRepeat(s, counter, seen.at.time, 1, &seen.frame);
        reporter.frame(seen.frame, FT_REPEATED, s.number, counter);
    }

    /// The first frame with a counter. `hit`: the sender was to corrupt it.
    void arrive(stream_t& s, std::uint32_t counter, const sighting_t& seen, bool hit, taken_t taken) {
        s.window.mark(counter, seen.at.time, seen.damaged != nullptr);
        ++s.unique;
        if (seen.damaged != nullptr) {
            ++s.counts.corrupted;
            taken = corruption.injected(s, counter, seen) ? FT_INJECTED : FT_CORRUPTED;
        } else {
            ++s.counts.intact;
            if (hit) {
                corruption.uninjected(s, counter, seen.at.time);
            }
        }
        streamDemands.checkNumber(s, counter, seen.at.time);
        reporter.frame(seen.frame, taken, s.number, counter);
    }

    /// The frame is not placed yet, so the highest counter is that of the last frame before the silence.
    void endSilence(stream_t& s, const sighting_t& seen) {
        if (seen.at.number > s.last.number && seen.clockSteps == s.lastSteps) {
            streamDemands.checkSilence(s, seen.at.time);
        }
    }

    void heard(stream_t& s, const sighting_t& seen, bool wasRecord) {
        countFrame(s, seen);
        spoke(s, seen, wasRecord);
    }

    /// One more frame of the stream, of any sort.
    void countFrame(stream_t& s, const sighting_t& seen) {
        ++s.series.at(seen.at.time).frames;
        ++s.frames;
        s.own = s.own || seen.frame.own;
        s.fd = s.fd || seen.frame.fd;
        streamDemands.checkFormat(s, seen);
    }

    /// The stream is not silent.
    void spoke(stream_t& s, const sighting_t& seen, bool wasRecord) {
        s.atRecord = wasRecord;
        if (seen.at.number <= s.last.number) {
            return; // it was held, and others have come since
        }
        streamSlot_t& slot = s.series.at(seen.at.time);
        slot.longestGap = std::max(slot.longestGap, seen.at.time - s.last.time);
        s.silenceTold = false;
        s.last = seen.at;
        s.lastSteps = seen.clockSteps;
    }

    Reporter& reporter;
    StreamDemands<Limits> streamDemands;
    Corruption<Limits> corruption;
};
