#pragma once

#include "libqvcheck/demands.h"
#include "libqvcheck/reporter.h"
#include "libqvcheck/streamfinding.h"
#include "libqvcheck/streamtable.h"

#include <algorithm>
#include <memory>
#include <vector>

/// Puts frames and their answers together: how long the way out and back took, and what was not answered.
/// Each counter is looked at twice: when the second of the two comes, and when the answer is overdue.
template<typename Limits>
class Pairing {
public:
    using stream_t = Stream<Limits>;
    using pair_type = pair_t<Limits>;

    Pairing(const demands_t& _demands, Reporter& _reporter, StreamTable<Limits>& _table)
        : demands(_demands),
          reporter(_reporter),
          table(_table) {}

    /// Looks for the other half of a stream that has none.
    void consider(stream_t& s) {
        if (s.pair != nullptr || !s.named || s.key.role == SR_REMOTE) {
            return;
        }
        for (stream_t* const other : table.all()) {
            if (other->pair == nullptr && other->named && belong(s, *other)) {
                join(s.key.role == SR_DIRECT ? s : *other, s.key.role == SR_DIRECT ? *other : s);
                return;
            }
        }
    }

    /// The first frame with this counter came in a stream that has its other half.
    void arrived(stream_t& s, std::uint32_t counter, const arrivalTime_t& at) {
        pair_type& pair = *s.pair;
        const stream_t& other = s.key.role == SR_DIRECT ? *pair.answers : *pair.direct;
        if (pair.apart) {
            if (pair.awaited == s.key.role) { // it goes on as it was
                meet(pair);
            }
        } else if (other.has(counter)) {
            ++pair.counts.answered;
            measure(pair, s, other, counter, at);
        }
        if (s.key.role == SR_DIRECT) {
            advance(pair, at.time);
        } else if (counter - pair.next >= reach) {
            leaveAnswers(pair);
        }
    }

    /// Decides on the answers that are overdue at `now`, a time on the frames' interface.
    void advance(pair_type& pair, std::int64_t now) {
        const stream_t& direct = *pair.direct;
        if (isAwaited(pair, now)) {
            return;
        }
        leaveWindow(pair);
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

    /// The same for all pairs, by the clock of each.
    void advanceAll(std::int64_t stamp) {
        for (const auto& pair : pairs) {
            advance(*pair, pair->direct->clock->timeAt(stamp));
        }
    }

    /// The end: what is not overdue stays open.
    void finish() {
        for (const auto& pair : pairs) {
            advance(*pair, std::max(pair->direct->clock->time(), pair->answers->clock->time()));
            decideSeen(*pair, pair->answers->window.next()); // later ones were answered
            tellUnanswered(*pair);
        }
        for (stream_t* const s : table.all()) {
            if (demands.answer && s->key.role == SR_DIRECT && s->pair == nullptr && s->unique > 0) {
                tell(*s, FK_UNANSWERED, s->first, s->window.next() - 1,
                     s->counts.intact + s->counts.corrupted, 0);
            }
        }
    }

    /// The stream hands its account on to `n`. What is known of frames that are not in the new window is
    /// lost, and what it decides is decided now. `goesOn`: it is the same run.
    void handOver(stream_t& s, const stream_t& n, bool goesOn) {
        if (s.pair == nullptr || s.pair->apart) {
            return;
        }
        pair_type& pair = *s.pair;
        decideSeen(pair, goesOn ? n.window.next() - Limits::window : pair.direct->window.next());
        if (!goesOn) {
            tellUnanswered(pair);
        }
    }

    /// The stream took an account over; `begin`: its own first counter.
    void tookOver(stream_t& s, std::uint32_t begin, bool goesOn) {
        if (s.pair == nullptr) {
            return;
        }
        pair_type& pair = *s.pair;
        if (goesOn) {
            countAnswered(pair, begin);
        } else if (pair.apart && pair.awaited == s.key.role) {
            meet(pair);
        } else {
            pair.apart = true;
            pair.awaited = s.key.role == SR_DIRECT ? SR_ANSWER : SR_DIRECT;
            pair.since = pair.direct->clock->time();
        }
    }

    void addTo(summary_t& summary) const {
        for (const auto& pair : pairs) {
            pairSummary_t s = pair->counts;
            s.direct = pair->direct->number;
            s.answers = pair->answers->number;
            s.roundTrips = &pair->roundTrips;
            summary.pairs.push_back(s);
        }
    }

private:
    /// How far back counters may stay undecided: a frame may move a window on by as much as is near.
    static constexpr std::uint32_t reach = Limits::window - Limits::near;

    static bool belong(const stream_t& a, const stream_t& b) {
        return a.key.role != b.key.role && b.key.role != SR_REMOTE && a.key.extended == b.key.extended &&
               a.key.length == b.key.length && a.key.tag == b.key.tag &&
               apart(a.window.next(), b.window.next()) < Limits::window;
    }

    void join(stream_t& direct, stream_t& answers) {
        pairs.push_back(std::make_unique<pair_type>(direct, answers));
        pair_type& pair = *pairs.back();
        direct.pair = answers.pair = &pair;
        meet(pair);
    }

    /// Both halves are of the same run from now on.
    static void meet(pair_type& pair) {
        pair.apart = false;
        countAnswered(pair, pair.direct->first);
    }

    /// Counts what came while the two were not yet a pair.
    static void countAnswered(pair_type& pair, std::uint32_t begin) {
        const stream_t& direct = *pair.direct;
        const std::uint32_t end = direct.window.next();
        const std::uint32_t n = ahead(end, begin) > 0 ? std::min(end - begin, Limits::window) : 0;
        for (std::uint32_t x = end - n; x != end; ++x) {
            pair.counts.answered += direct.has(x) && pair.answers->has(x) ? 1U : 0U;
        }
    }

    /// Are the answers expected to begin anew as their frames did? Not for longer than one may take, unless
    /// there is a stream that may turn out to be them.
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

    void measure(pair_type& pair, const stream_t& s, const stream_t& other, std::uint32_t counter,
                 const arrivalTime_t& at) {
        const std::int64_t earlier = other.window.timeOf(counter);
        if (earlier <= other.clock->lastStep()) {
            return; // a clock was set in between
        }
        const std::int64_t since = (at.time + s.clock->offset()) - (earlier + other.clock->offset());
        const std::int64_t roundTrip = s.key.role == SR_ANSWER ? since : -since;
        constexpr std::int64_t resolution = 1000; // recordings have microseconds
        if (roundTrip < -resolution) {
            ++pair.counts.early;
            tell(*pair.answers, FK_EARLY, counter, counter, 1, roundTrip);
            return;
        }
        pair.roundTrips.add(roundTrip);
        pair.longest = std::max(pair.longest, roundTrip);
        if (demands.maxRtt > 0 && roundTrip > demands.maxRtt) {
            ++pair.counts.slow;
            tell(*pair.answers, FK_SLOW, counter, counter, 1, roundTrip);
        }
    }

    /// Counters that are about to leave the frames' window without a decision are decided by what is known.
    void leaveWindow(pair_type& pair) { decideTo(pair, pair.direct->window.next() - reach); }

    /// Counters that leave the answers' window: their frames are no longer heard, others would decide them.
    void leaveAnswers(pair_type& pair) {
        if (!pair.apart) {
            decideSeen(pair, pair.answers->window.next() - reach);
        }
    }

    /// Decides on the counters below `end` as far as frames were seen.
    void decideSeen(pair_type& pair, std::uint32_t end) {
        const std::uint32_t seen = pair.direct->window.next();
        decideTo(pair, ahead(seen, end) < 0 ? seen : end);
    }

    void decideTo(pair_type& pair, std::uint32_t end) {
        if (ahead(end - 2 * Limits::window, pair.next) > 0) { // of those before nothing is known
            pair.next = end - 2 * Limits::window;
        }
        if (ahead(end, pair.next) > 0) {
            decide(pair, end - 1);
        }
    }

    /// An answer to one of these is missing and not yet given up.
    static bool mayCome(stream_t& answers, std::uint32_t low, std::uint32_t high) {
        for (std::uint32_t x = low; x != high + 1; ++x) {
            if (!answers.has(x) && answers.window.gapOf(x) != nullptr) {
                return true;
            }
        }
        return false;
    }

    /// The answer came, perhaps in a stream that has yet to turn out to be the same sender.
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
                unanswered(pair, pair.next);
            } else if (answered) {
                tellUnanswered(pair);
            }
        }
    }

    void unanswered(pair_type& pair, std::uint32_t counter) {
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

    /// A run of unanswered frames is over.
    void tellUnanswered(pair_type& pair) {
        if (pair.missing > 0 && demands.answer) {
            tell(*pair.direct, FK_UNANSWERED, pair.firstMissing, pair.lastMissing, pair.missing, 0);
        }
        pair.missing = 0;
    }

    void tell(const stream_t& s, findingKind_t kind, std::uint32_t first, std::uint32_t last, std::uint64_t n,
              std::int64_t span) {
        finding_t f = streamFinding(s, kind, s.clock->time(), first, n);
        f.last = last;
        f.span = span;
        reporter.finding(f);
    }

    const demands_t& demands;
    Reporter& reporter;
    StreamTable<Limits>& table;
    std::vector<std::unique_ptr<pair_type>> pairs;
};
