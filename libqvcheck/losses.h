#pragma once

#include "libqvcheck/streamdemands.h"

#include <algorithm>

/// Books the frames that are given up as lost, finds the causes, and reports those that nothing else
/// explains. `Demultiplexer::inspect` decides when by time, `Joiner` by the window. Owns nothing; the counts
/// are in the stream. Used by one thread.
template<typename Limits>
class Losses {
public:
    using stream_t = Stream<Limits>;

    /// Both outlive it.
    Losses(const demands_t& _demands, Reporter& _reporter)
        : demands(_demands),
          reporter(_reporter),
          streamDemands(_demands, _reporter) {}

    /// Gives up the oldest gap for good. There must be one.
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

    void giveUpAll(stream_t& s) {
        while (s.window.hasGaps()) {
            giveUpOldest(s);
        }
    }

    /// `n` frames from `low` on that never came, outside the window or no longer counted as open. They were
    /// missing from `before` to `after`.
    void lose(stream_t& s, std::uint32_t low, std::uint32_t n, const arrivalTime_t& before,
              const arrivalTime_t& after) {
        finding_t f = streamFinding(s, FK_LOST, after.time, low, n);
        f.last = low + n - 1;
        f.before = before.time;
        f.span = after.time - before.time;
        f.injected = s.injection.lost(low, n) > 0;
        s.counts.lost += n;
        const std::uint32_t follows = followersIn(s, low, n);
        s.follows += follows;
        s.causes[LC_BEFORE] += follows;
        if (follows == n) {
            return; // reported for the frames themselves
        }
        f.count = n - follows;
        f.causes = blame(s, low, n,
                         {s.key.interface, f.count, before.number, after.number, before.time, after.time});
        if (isAnswered(s) && demands.answer) {
            f.count = overrunOf(f.causes); // the rest is reported as unanswered
            f.causes[LC_BUS] = f.causes[LC_BEFORE] = 0;
            s.pair->excused += f.count;
        }
        if (f.count > 0) {
            reporter.finding(f);
        }
    }

    /// A demanded stream is first heard at `counter`, far above its first frame.
    void loseStart(stream_t& s, std::uint32_t counter, const arrivalTime_t& at) {
        s.empty = false;
        s.born = at;
        s.last = at;
        const std::uint32_t absent = counter - s.first;
        s.counts.expected += absent;
        s.window.restartAt(counter);
        s.injection.startAt(s.first, counter);
        lose(s, s.first, absent, at, at);
    }

    /// The run is over: what is missing of the demanded number is lost, except for demanded answers that may
    /// still come.
    void loseRest(stream_t& s, const arrivalTime_t& end) {
        if (!streamDemands.countsFrames(s)) {
            return;
        }
        const std::uint32_t high = streamDemands.endOf(s);
        std::uint32_t low = s.window.next();
        if (isAnswered(s) && demands.answer) {
            const std::uint32_t decided = s.pair->next;
            loseBehind(s, low, ahead(decided, high) < 0 ? decided : high, end);
            const std::uint32_t asked = s.pair->direct->window.next();
            low = ahead(asked, low) > 0 ? asked : low;
        }
        loseBehind(s, low, high, end);
    }

private:
    void loseBehind(stream_t& s, std::uint32_t low, std::uint32_t high, const arrivalTime_t& end) {
        if (ahead(high, low) > 0) {
            s.counts.expected += high - low;
            lose(s, low, high - low, s.last, end);
        }
    }

    /// A stream of answers to frames that are also seen.
    static bool isAnswered(const stream_t& s) { return s.pair != nullptr && s.key.role == SR_ANSWER; }

    /// How many of `n` counters from `low` on are in a stream's window and fit. A loss may span billions of
    /// counters, the window does not.
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

    /// Lost answers to frames that were themselves lost.
    std::uint32_t followersIn(const stream_t& s, std::uint32_t low, std::uint32_t n) const {
        if (!isAnswered(s)) {
            return 0;
        }
        const stream_t& direct = *s.pair->direct;
        return countReached(direct, low, n, [&direct](std::uint32_t x) { return !direct.has(x); }) +
               (streamDemands.countsFrames(direct) ? countBehind(direct, low, n) : 0);
    }

    /// How many of `n` counters from `low` on follow a stream's last frame.
    static std::uint32_t countBehind(const stream_t& s, std::uint32_t low, std::uint32_t n) {
        const std::int32_t behind = ahead(low + n, s.window.next());
        return behind > 0 ? std::min(static_cast<std::uint32_t>(behind), n) : 0;
    }

    /// Books what lost these frames.
    lossShares_t blame(stream_t& s, std::uint32_t low, std::uint32_t n, const loss_t& loss) {
        lossShares_t causes = reporter.blame(loss);
        blameThisHost(s, low, n, causes);
        for (std::size_t cause = 0; cause < causes.size(); ++cause) {
            s.causes[cause] += causes[cause];
        }
        s.counts.overrun += overrunOf(causes);
        return causes;
    }

    /// Lost frames that were answered were on the bus: unless stronger evidence explains them, this host
    /// missed them.
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

    const demands_t& demands;
    Reporter& reporter;
    const StreamDemands<Limits> streamDemands;
};
