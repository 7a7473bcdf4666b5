#pragma once

#include "libqvcheck/demands.h"
#include "libqvcheck/reporter.h"
#include "libqvcheck/stream.h"

#include <cstdlib>

/// A frame on its way into a stream.
struct sighting_t {
    const receivedFrame_t& frame;
    arrivalTime_t at;
    std::uint64_t clockSteps;         ///< of its interface up to it
    const Reading* damaged = nullptr; ///< how it reads, when it is not as it was sent
};

/// Keeps the accounts of streams: what a frame at a certain counter means for them, and what is lost.
///
/// After each call expected = intact + corrupted + lost + open.
template<typename Limits>
class Booking {
public:
    using stream_t = Stream<Limits>;

    Booking(const demands_t& _demands, Reporter& _reporter)
        : demands(_demands),
          reporter(_reporter),
          checksFormat(_demands.fd || _demands.brs),
          looksAtGaps(_demands.paced || _demands.intervals) {}

    /// The frame is the stream's frame `counter`, which lies in its window. No gap leaves the window by it.
    void take(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        if (s.empty) {
            begin(s, counter, seen);
        }
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

    /// A demanded stream was first heard at `counter`, far above its first frame.
    void beginLate(stream_t& s, std::uint32_t counter, const arrivalTime_t& at) {
        s.empty = false;
        s.born = at;
        s.last = at;
        const std::uint32_t absent = counter - s.first;
        s.counts.expected += absent;
        s.window.restartAt(counter);
        s.injection.startAt(s.first, counter);
        lose(s, s.first, absent, at, at);
    }

    /// The next frame of a steady stream, as it was sent: what `take` would do.
    void takeNext(stream_t& s, const receivedFrame_t& frame, const arrivalTime_t& at,
                  std::uint64_t clockSteps) {
        const std::uint32_t counter = s.window.next();
        const std::int64_t gap = at.time - s.last.time;
        if (clockSteps == s.lastSteps) {
            neighbours(s, gap);
        }
        s.window.step(at.time);
        ++s.counts.expected;
        ++s.counts.intact;
        s.own |= frame.own;
        ++s.unique;
        ++s.frames;
        s.last = s.lastRecord = at;
        s.lastSteps = clockSteps;
        streamSlot_t& slot = s.series.at(at.time);
        ++slot.frames;
        if (gap > slot.longestGap) {
            slot.longestGap = gap;
        }
        reporter.frame(frame, FT_IN_ORDER, s.number, counter);
    }

    /// Decides which of the stream's next frames may be taken by `takeNext`.
    void checkSteady(stream_t& s) const {
        s.steady = s.named && s.atRecord && s.parent == nullptr && s.child == nullptr && s.streak == 0 &&
                   !s.silenceTold && demands.maxGap == 0 && (!checksFormat || s.key.length == CANFD_MAX_DLEN);
        const std::uint32_t next = s.window.next();
        std::int32_t frames = INT32_MAX;
        if (s.injection.known()) {
            frames = ahead(s.injection.nextHit(), next);
        }
        if (countsFrames(s)) {
            frames = std::min(frames, ahead(endOf(s), next));
        }
        s.steadyUntil = next + static_cast<std::uint32_t>(frames);
    }

    /// A sound frame of the stream that fits no place of it.
    void stray(stream_t& s, const Reading& reading, const sighting_t& seen) {
        ++s.counts.stray;
        finding_t f = about(s, FK_STRAY, seen.at.time, reading.counter(), 1);
        f.evidence = reading.evidence(reading.counter(), s.key.tag, s.key.extended, s.key.length);
        f.frame = &seen.frame;
        reporter.finding(f);
        reporter.frame(seen.frame, FT_STRAY, s.number, reading.counter());
    }

    /// The frames up to `counter`, which lies ahead, are left out of the recording: they count as arrived,
    /// and nowhere. The last of them may come yet: damaged ones are decided later.
    void passOver(stream_t& s, std::uint32_t counter, const arrivalTime_t& at) {
        tellRepeats(s);
        while (s.window.hasGaps()) {
            giveUpOldest(s);
        }
        const std::uint32_t kept = std::min(counter - s.window.next(), Limits::step);
        const std::uint32_t low = counter - kept;
        const std::uint32_t passed = std::min(low - s.window.next(), Limits::window);
        s.window.moveOn(low - 1);
        for (std::uint32_t i = 1; i <= passed; ++i) {
            s.window.mark(low - i, s.last.time, false);
        }
        s.window.addGap({low, kept, kept, false, s.last, at, s.unique, true});
        s.window.moveOn(counter - 1);
        s.counts.open += kept;
        s.counts.expected += kept;
        s.atRecord = false;
        s.silenceTold = true;
    }

    /// The oldest gap is lost for good.
    void giveUpOldest(stream_t& s) {
        const gap_t gap = s.window.oldest();
        s.window.dropOldest();
        if (gap.leftOut) {
            s.counts.open -= gap.missing;
            s.counts.expected -= gap.missing;
            return;
        }
        if (gap.missing == 0) {
            return;
        }
        for (std::uint32_t i = 0; i < gap.size; ++i) {
            const std::uint32_t begin = i;
            while (i < gap.size && !s.window.arrived(gap.low + i)) {
                ++i;
            }
            if (i > begin) {
                s.counts.open -= i - begin;
                lose(s, gap.low + begin, i - begin, gap.before, gap.opened);
            }
        }
    }

    /// Frames that never came, outside the window or counted as open no more.
    void lose(stream_t& s, std::uint32_t low, std::uint32_t n, const arrivalTime_t& before,
              const arrivalTime_t& after) {
        finding_t f = about(s, FK_LOST, after.time, low, n);
        f.last = low + n - 1;
        f.before = before.time;
        f.span = after.time - before.time;
        f.injected = s.injection.lost(low, n) > 0;
        s.counts.lost += n;
        const std::uint32_t follows = followersIn(s, low, n);
        s.follows += follows;
        s.causes[LC_BEFORE] += follows;
        if (follows == n) {
            return; // told of the frames
        }
        f.count = n - follows;
        f.causes =
            reporter.blame({s.key.interface, f.count, before.number, after.number, before.time, after.time});
        blameThisHost(s, low, n, f.causes);
        for (std::size_t cause = 0; cause < f.causes.size(); ++cause) {
            s.causes[cause] += f.causes[cause];
        }
        s.counts.overrun += overrunOf(f.causes);
        if (isAnswered(s) && demands.answer) {
            f.count = overrunOf(f.causes); // the rest is told as unanswered
            f.causes[LC_BUS] = f.causes[LC_BEFORE] = 0;
            s.pair->excused += f.count;
        }
        if (f.count > 0) {
            reporter.finding(f);
        }
    }

    /// A sound frame that came already waits to be told as repeated: more of them may be a stream.
    void keepRepeat(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        s.repeats[s.streak++] = {seen.frame, counter, seen.at};
        heard(s, seen, false);
    }

    /// Frames that wait to be told as repeated are told.
    void tellRepeats(stream_t& s) {
        for (std::uint32_t i = 0; i < s.streak; ++i) {
            const repeat_t& r = s.repeats[i];
            tellRepeat(s, r.counter, r.at.time, 1, &r.frame);
            reporter.frame(r.frame, FT_REPEATED, s.number, r.counter);
        }
        s.counts.repeated += s.streak;
        s.streak = 0;
    }

    void tellRepeat(stream_t& s, std::uint32_t counter, std::int64_t time, std::uint32_t n,
                    const receivedFrame_t* frame) {
        finding_t f = about(s, FK_REPEATED, time, counter, n);
        f.last = counter + n - 1;
        f.span = s.window.reaches(counter) ? time - s.window.timeOf(counter) : -1;
        f.frame = frame;
        reporter.finding(f);
    }

    /// A silence of the stream up to `time` that is too long, told once.
    void checkSilence(stream_t& s, std::int64_t time) {
        if (demands.maxGap > 0 && !s.silenceTold && time - s.last.time > demands.maxGap) {
            finding_t f = about(s, FK_GAP, time, s.window.next() - 1, 1);
            f.before = s.last.time;
            f.span = time - s.last.time;
            s.silenceTold = true;
            reporter.finding(f);
        }
    }

    /// A frame that another stream took for its own; it was told before.
    void adopt(stream_t& s, stream_t& from, std::uint32_t counter) {
        const arrivalTime_t at = {from.window.timeOf(counter), from.lastRecord.number};
        const bool damaged = from.window.damaged(counter);
        const std::int32_t d = ahead(counter, s.window.next());
        if (d > 0) {
            const auto absent = static_cast<std::uint32_t>(d);
            s.window.addGap({s.window.next(), absent, absent, false, s.last, at, s.unique});
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

    /// The run is over, nothing is open: what its end and its whole say.
    void close(stream_t& s, const arrivalTime_t& end) {
        if (countsFrames(s)) {
            closeNumber(s, end);
        }
        checkSilence(s, end.time);
        tellRest(s, FK_SURPLUS, s.surplus, end.time);
        tellRest(s, FK_FORMAT, s.wrongFormat, end.time);
        checkPace(s, end.time);
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

    finding_t about(const stream_t& s, findingKind_t kind, std::int64_t time, std::uint32_t counter,
                    std::uint64_t n) const {
        finding_t f{};
        f.kind = kind;
        f.interface = s.key.interface;
        f.stream = s.number;
        f.time = time;
        f.first = counter;
        f.last = counter;
        f.count = n;
        return f;
    }

    /// Do the demands on a stream's start and number of frames hold for this one?
    bool isDemanded(const stream_t& s) const { return demands.ids.empty() || s.demand >= 0; }
    bool countsFrames(const stream_t& s) const {
        return demands.loop > 0 && demands.loop <= INT32_MAX && s.startKnown() && isDemanded(s);
    }
    std::uint32_t endOf(const stream_t& s) const {
        return s.first + static_cast<std::uint32_t>(demands.loop);
    }

private:
    /// What is missing of the demanded number is lost, but for demanded answers that may yet come.
    void closeNumber(stream_t& s, const arrivalTime_t& end) {
        std::uint32_t low = s.window.next();
        if (isAnswered(s) && demands.answer) {
            const std::uint32_t decided = s.pair->next;
            loseRest(s, low, ahead(decided, endOf(s)) < 0 ? decided : endOf(s), end);
            const std::uint32_t asked = s.pair->direct->window.next();
            low = ahead(asked, low) > 0 ? asked : low;
        }
        loseRest(s, low, endOf(s), end);
    }

    void loseRest(stream_t& s, std::uint32_t low, std::uint32_t high, const arrivalTime_t& end) {
        if (ahead(high, low) > 0) {
            s.counts.expected += high - low;
            lose(s, low, high - low, s.last, end);
        }
    }

    /// A stream of answers whose frames are seen.
    static bool isAnswered(const stream_t& s) { return s.pair != nullptr && s.key.role == SR_ANSWER; }

    /// How many of `n` counters from `low` on are in a stream's window and fit. A loss may be billions long,
    /// the window is not.
    template<typename Fits>
    static std::uint32_t countReached(const stream_t& s, std::uint32_t low, std::uint32_t n, Fits fits) {
        const std::uint32_t begin = n > Limits::window ? s.window.next() - Limits::window : low;
        std::uint32_t count = 0;
        for (std::uint32_t i = 0; i < std::min<std::uint32_t>(n, Limits::window); ++i) {
            const std::uint32_t x = begin + i;
            count += x - low < n && s.window.reaches(x) && fits(x) ? 1U : 0U;
        }
        return count;
    }

    /// Lost answers to frames that are lost themselves.
    std::uint32_t followersIn(const stream_t& s, std::uint32_t low, std::uint32_t n) const {
        if (!isAnswered(s)) {
            return 0;
        }
        const stream_t& direct = *s.pair->direct;
        return countReached(direct, low, n, [&direct](std::uint32_t x) { return !direct.has(x); }) +
               (countsFrames(direct) ? countBehind(direct, low, n) : 0);
    }

    /// How many of `n` counters from `low` on lie behind a stream's last frame.
    static std::uint32_t countBehind(const stream_t& s, std::uint32_t low, std::uint32_t n) {
        const std::int32_t behind = ahead(low + n, s.window.next());
        return behind > 0 ? std::min(static_cast<std::uint32_t>(behind), n) : 0;
    }

    /// Lost frames that were answered have been on the bus: what no stronger evidence explains, this host
    /// missed.
    static void blameThisHost(const stream_t& s, std::uint32_t low, std::uint32_t n, lossShares_t& causes) {
        std::uint64_t answered = 0;
        if (s.pair != nullptr && s.key.role == SR_DIRECT) {
            const stream_t& answers = *s.pair->answers;
            answered = countReached(answers, low, n, [&answers](std::uint32_t x) { return answers.has(x); });
        }
        for (const lossCause_t weaker : {LC_BEFORE, LC_INPUT, LC_BUS}) {
            const std::uint64_t moved = std::min(answered, causes[weaker]);
            causes[weaker] -= moved;
            causes[LC_UNSEEN] += moved;
            answered -= moved;
        }
    }

    /// The first frame of them was told when it came.
    void tellRest(const stream_t& s, findingKind_t kind, std::uint64_t frames, std::int64_t time) {
        if (frames > 1) {
            reporter.finding(about(s, kind, time, s.window.next() - 1, frames - 1));
        }
    }

    void checkPace(const stream_t& s, std::int64_t time) {
        constexpr std::uint64_t enough = 100;
        const double gap = static_cast<double>(demands.gap);
        if (demands.paced && demands.gap > 0 && isDemanded(s) && s.gaps.count() >= enough &&
            std::abs(s.gaps.mean() - gap) > gap / 20) {
            finding_t f = about(s, FK_PACE, time, s.first, 1);
            f.last = s.window.next() - 1;
            f.span = static_cast<std::int64_t>(s.gaps.mean());
            reporter.finding(f);
        }
    }

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
            s.window.addGap({s.window.next(), absent, absent, false, s.last, seen.at, s.unique});
            s.counts.open += absent;
        } else if (s.atRecord && seen.at.number > s.last.number && seen.clockSteps == s.lastSteps) {
            neighbours(s, seen.at.time - s.last.time);
        }
        s.window.moveOn(counter);
        s.counts.expected += std::uint64_t{absent} + 1;
        s.lastRecord = seen.at;
        const bool hit = s.injection.known() && s.injection.reach(counter);
        arrive(s, counter, seen, hit, FT_IN_ORDER);
    }

    void neighbours(stream_t& s, std::int64_t gap) {
        s.gaps.add(gap);
        if (looksAtGaps) {
            lookAtGap(s, gap);
        }
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
        if (demands.lateness > 0 && off > demands.jitter + demands.lateness && isDemanded(s)) {
            finding_t f = about(s, FK_PACE, s.last.time + gap, s.window.next(), 1);
            f.before = s.last.time;
            f.span = gap;
            reporter.finding(f);
        }
    }

    /// A frame from below the first one: the stream began earlier.
    void extend(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        const std::uint32_t between = s.first - counter - 1;
        if (between > 0) {
            s.window.addGapBelow({counter + 1, between, between, false, s.born, s.born, 0});
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

    /// A missing frame came after all.
    void fill(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        gap_t* const gap = s.window.gapOf(counter);
        if (gap == nullptr) {
            late(s, counter, seen);
            return;
        }
        // A frame that was held came before the one that opened the gap: nothing overtook it.
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

    /// RFC 4737: a frame is reordered when one with a higher counter came before it, and its extent is the
    /// number of frames since the earliest such one, which is the one that showed the gap.
    void reordered(stream_t& s, std::uint32_t counter, const sighting_t& seen, const arrivalTime_t& opened,
                   std::uint64_t extent) {
        finding_t f = about(s, FK_REORDERED, seen.at.time, counter, 1);
        f.extent = std::min(extent, seen.at.number - opened.number);
        f.span = seen.at.time - opened.time;
        f.frame = &seen.frame;
        ++s.counts.reordered;
        const std::uint32_t toWrap = (counter + 32) & (s.idValues() - 1);
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
        finding_t f = about(s, FK_LATE, seen.at.time, counter, 1);
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
            tellDamage(s, counter, seen);
            reporter.frame(seen.frame, FT_CORRUPTED_REPEAT, s.number, counter);
            return;
        }
        ++s.counts.repeated;
        tellRepeat(s, counter, seen.at.time, 1, &seen.frame);
        reporter.frame(seen.frame, FT_REPEATED, s.number, counter);
    }

    /// A counter's first frame. `hit`: the sender was told to corrupt it.
    void arrive(stream_t& s, std::uint32_t counter, const sighting_t& seen, bool hit, taken_t taken) {
        s.window.mark(counter, seen.at.time, seen.damaged != nullptr);
        ++s.unique;
        if (seen.damaged != nullptr) {
            ++s.counts.corrupted;
            taken = corrupted(s, counter, seen) ? FT_INJECTED : FT_CORRUPTED;
        } else {
            ++s.counts.intact;
            if (hit) {
                s.injection.missed();
                reporter.finding(about(s, FK_UNINJECTED, seen.at.time, counter, 1));
            }
        }
        if (demands.loop > 0 && countsFrames(s) && ahead(counter, endOf(s)) >= 0 && s.surplus++ == 0) {
            reporter.finding(about(s, FK_SURPLUS, seen.at.time, counter, 1));
        }
        reporter.frame(seen.frame, taken, s.number, counter);
    }

    /// True when the sender was told to.
    bool corrupted(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        const evidence_t evidence = seen.damaged->evidence(counter, s.key.tag, s.key.extended, s.key.length);
        if (s.injection.damaged(counter, evidence)) {
            reporter.injected(seen.at.time);
            return true;
        }
        s.hurts[counter % s.hurts.size()] = {counter, evidence.differing, evidence.bytes[0]};
        if (isEcho(s, counter, evidence)) {
            ++s.pair->counts.echoedDamage;
            return false;
        }
        tellDamage(s, counter, seen);
        return false;
    }

    /// The answer to a frame that was damaged in the same way.
    static bool isEcho(const stream_t& s, std::uint32_t counter, const evidence_t& evidence) {
        if (s.pair == nullptr || s.key.role != SR_ANSWER) {
            return false;
        }
        const auto& hurts = s.pair->direct->hurts;
        return hurts[counter % hurts.size()].sameAs(counter, evidence);
    }

    void tellDamage(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        finding_t f = about(s, FK_CORRUPTED, seen.at.time, counter, 1);
        f.evidence = seen.damaged->evidence(counter, s.key.tag, s.key.extended, s.key.length);
        f.frame = &seen.frame;
        reporter.finding(f);
    }

    void heard(stream_t& s, const sighting_t& seen, bool wasRecord) {
        streamSlot_t& slot = s.series.at(seen.at.time);
        ++slot.frames;
        ++s.frames;
        s.own = s.own || seen.frame.own;
        s.fd = s.fd || seen.frame.fd;
        if (checksFormat && (!seen.frame.fd || seen.frame.length != CANFD_MAX_DLEN ||
                             (demands.brs && (seen.frame.flags & CANFD_BRS) == 0))) {
            wrongFormat(s, seen);
        }
        s.atRecord = wasRecord;
        if (seen.at.number <= s.last.number) {
            return; // it was held, and others came since
        }
        slot.longestGap = std::max(slot.longestGap, seen.at.time - s.last.time);
        if (seen.clockSteps == s.lastSteps) {
            checkSilence(s, seen.at.time);
        }
        s.silenceTold = false;
        s.last = seen.at;
        s.lastSteps = seen.clockSteps;
    }

    void wrongFormat(stream_t& s, const sighting_t& seen) {
        if (s.wrongFormat++ == 0) {
            finding_t f = about(s, FK_FORMAT, seen.at.time, s.window.next() - 1, 1);
            f.frame = &seen.frame;
            reporter.finding(f);
        }
    }

    const demands_t& demands;
    Reporter& reporter;
    bool checksFormat;
    bool looksAtGaps; ///< more than their histogram
};
