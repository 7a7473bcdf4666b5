#pragma once

#include "libqvcheck/demands.h"
#include "libqvcheck/reporter.h"
#include "libqvcheck/streamfinding.h"
#include "libqvcheck/streamtable.h"

/// Decides which frames were not answered: each counter of a pair once and in ascending order, when its
/// answer is overdue or when the windows that contain it move on. Owns nothing; the counts are in the pair.
/// Used by one thread.
template<typename Limits>
class Unanswered {
public:
    using stream_t = Stream<Limits>;
    using pair_type = pair_t<Limits>;

    /// All outlive it.
    Unanswered(const demands_t& _demands, Reporter& _reporter, const StreamTable<Limits>& _table)
        : demands(_demands),
          reporter(_reporter),
          table(_table) {}

    /// Decides on the answers that are overdue at `now`, a time on the frames' interface.
    void decideOverdue(pair_type& pair, std::int64_t now) {
        const stream_t& direct = *pair.direct;
        if (isAwaited(pair, now)) {
            return;
        }
        decideTo(pair, direct.window.next() - reach); // these are about to leave the window
        while (pair.next != direct.window.next()) {
            const std::uint32_t low = pair.next;
            std::uint32_t high = low; // the first counter from here on that was seen
            while (high != direct.window.next() && !direct.has(high)) {
                ++high;
            }
            if (high == direct.window.next() || direct.window.timeOf(high) + demands.wait > now ||
                mayCome(*pair.answers, low, high)) {
                return;
            }
            decide(pair, high);
        }
    }

    /// An answer came: decides on counters that leave the answers' window if their frames are no longer
    /// heard, as otherwise the frames trigger it.
    void decideLeaving(pair_type& pair, std::uint32_t counter) {
        if (counter - pair.next >= reach && !pair.apart) {
            decideSeen(pair, pair.answers->window.next() - reach);
        }
    }

    /// Decides on the counters below `end`, as far as frames were seen.
    void decideSeen(pair_type& pair, std::uint32_t end) {
        const std::uint32_t seen = pair.direct->window.next();
        decideTo(pair, ahead(seen, end) < 0 ? seen : end);
    }

    /// A run of unanswered frames is over.
    void tell(pair_type& pair) {
        if (pair.missing > 0) {
            tell(*pair.direct, pair.firstMissing, pair.lastMissing, pair.missing);
        }
        pair.missing = 0;
    }

    /// A stream without any answers, at the end.
    void tellAll(const stream_t& s) {
        if (s.key.role == SR_DIRECT && s.pair == nullptr && s.unique > 0) {
            tell(s, s.first, s.window.next() - 1, s.counts.intact + s.counts.corrupted);
        }
    }

private:
    /// How far back counters may stay undecided: a frame may advance a window by up to `near`.
    static constexpr std::uint32_t reach = Limits::window - Limits::near;

    /// Whether the answers are expected to restart as their frames did. For no longer than an answer may
    /// take, unless there is a stream that may turn out to be them.
    bool isAwaited(pair_type& pair, std::int64_t now) const {
        if (!pair.apart || pair.awaited == SR_DIRECT) {
            return pair.apart;
        }
        const streamKey_t& key = pair.answers->key;
        for (const stream_t* s = table.first(key); s != nullptr; s = table.after(*s)) {
            if (s->key == key && !s->named) {
                return true;
            }
        }
        pair.apart = now - pair.since < demands.wait;
        return pair.apart;
    }

    void decideTo(pair_type& pair, std::uint32_t end) {
        if (ahead(end - 2 * Limits::window, pair.next) > 0) { // nothing is known about older ones
            pair.next = end - 2 * Limits::window;
        }
        if (ahead(end, pair.next) > 0) {
            decide(pair, end - 1);
        }
    }

    /// An answer to one of these is missing but not yet given up.
    static bool mayCome(stream_t& answers, std::uint32_t low, std::uint32_t high) {
        for (std::uint32_t x = low; x != high + 1; ++x) {
            if (!answers.has(x) && answers.window.gapOf(x) != nullptr) {
                return true;
            }
        }
        return false;
    }

    /// The answer came, perhaps in a stream not yet known to be the same sender's.
    bool hasAnswer(const stream_t& answers, std::uint32_t counter) const {
        if (answers.has(counter)) {
            return true;
        }
        const stream_t* s = table.first(answers.key);
        while (s != nullptr && (s->named || !s->has(counter) || ahead(s->first, answers.window.next()) < 0)) {
            s = table.after(*s);
        }
        return s != nullptr;
    }

    /// Decides on the counters up to `last` inclusive.
    void decide(pair_type& pair, std::uint32_t last) {
        const stream_t& direct = *pair.direct;
        const std::uint32_t known = pair.answers->window.next() - Limits::window;
        for (; pair.next != last + 1; ++pair.next) {
            const bool seen = direct.has(pair.next);
            const bool answered = hasAnswer(*pair.answers, pair.next);
            pair.counts.unseen += !seen && answered ? 1U : 0U;
            if (seen && !answered && ahead(pair.next, known) >= 0) {
                count(pair, pair.next);
            } else if (answered) {
                tell(pair);
            }
        }
    }

    void count(pair_type& pair, std::uint32_t counter) {
        if (pair.excused > 0) {
            --pair.excused;
            return;
        }
        ++pair.counts.unanswered;
        if (pair.missing == 0) {
            pair.firstMissing = counter;
            const std::int64_t gap = pair.direct->meanGap();
            pair.counts.queueHint = pair.counts.queueHint || (gap > 0 && pair.longest > 200 * gap);
            pair.longest = 0;
        }
        pair.lastMissing = counter;
        ++pair.missing;
    }

    void tell(const stream_t& s, std::uint32_t first, std::uint32_t last, std::uint64_t n) {
        if (demands.answer) {
            finding_t f = streamFinding(s, FK_UNANSWERED, s.clock->time(), first, n);
            f.last = last;
            reporter.finding(f);
        }
    }

    const demands_t& demands;
    Reporter& reporter;
    const StreamTable<Limits>& table;
};
