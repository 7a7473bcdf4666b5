#pragma once

#include "libqvcheck/unanswered.h"

#include <algorithm>
#include <memory>
#include <vector>

/// Matches frames with their answers: how long the round trip took, and what was not answered. Each counter
/// is checked twice: when the second of the two comes, and when the answer is overdue. Owns the pairs. Used
/// by one thread.
template<typename Limits>
class Pairing {
public:
    using stream_t = Stream<Limits>;
    using pair_type = pair_t<Limits>;

    /// All outlive it.
    Pairing(const demands_t& _demands, Reporter& _reporter, const StreamTable<Limits>& _table)
        : demands(_demands),
          reporter(_reporter),
          table(_table),
          unanswered(_demands, _reporter, _table) {}

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

    /// The first frame with this counter came in a stream that is paired.
    void arrived(stream_t& s, std::uint32_t counter, const arrivalTime_t& at) {
        pair_type& pair = *s.pair;
        const stream_t& other = s.key.role == SR_DIRECT ? *pair.answers : *pair.direct;
        if (pair.apart) {
            if (pair.awaited == s.key.role) { // the run continues
                meet(pair);
            }
        } else if (other.has(counter)) {
            count(pair, counter);
        }
        if (s.key.role == SR_DIRECT) {
            unanswered.decideOverdue(pair, at.time);
        } else {
            unanswered.decideLeaving(pair, counter);
        }
    }

    /// Decides on the answers that are overdue at a stamp, on the clock of each pair.
    void advance(std::int64_t stamp) {
        for (const auto& pair : pairs) {
            unanswered.decideOverdue(*pair, pair->direct->clock->timeAt(stamp));
        }
    }

    /// The end: what is not overdue remains open.
    void finish() {
        for (const auto& pair : pairs) {
            unanswered.decideOverdue(*pair,
                                     std::max(pair->direct->clock->time(), pair->answers->clock->time()));
            unanswered.decideSeen(*pair, pair->answers->window.next()); // later ones were answered
            unanswered.tell(*pair);
        }
        for (stream_t* const s : table.all()) {
            unanswered.tellAll(*s);
        }
    }

    /// The account moves from `s` to `n`. Counters outside `n`'s window are then forgotten, so the unanswered
    /// ones among them are decided first. `goesOn`: it is the same run.
    void handOver(stream_t& s, const stream_t& n, bool goesOn) {
        if (s.pair == nullptr || s.pair->apart) {
            return;
        }
        pair_type& pair = *s.pair;
        unanswered.decideSeen(pair, goesOn ? n.window.next() - Limits::window : pair.direct->window.next());
        if (!goesOn) {
            unanswered.tell(pair);
        }
    }

    /// The stream has taken over an account; `begin`: its own first counter.
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

    /// Both halves belong to the same run from now on.
    void meet(pair_type& pair) {
        pair.apart = false;
        countAnswered(pair, pair.direct->first);
    }

    /// Counts what came before the two were paired. Inlining it into each caller costs 0.8 KiB.
    [[gnu::noinline]] void countAnswered(pair_type& pair, std::uint32_t begin) {
        const stream_t& direct = *pair.direct;
        const std::uint32_t end = direct.window.next();
        const std::uint32_t n = ahead(end, begin) > 0 ? std::min(end - begin, Limits::window) : 0;
        for (std::uint32_t x = end - n; x != end; ++x) {
            if (direct.has(x) && pair.answers->has(x)) {
                count(pair, x);
            }
        }
    }

    /// Frame and answer were both seen.
    void count(pair_type& pair, std::uint32_t counter) {
        ++pair.counts.answered;
        const stream_t& direct = *pair.direct;
        const stream_t& answers = *pair.answers;
        const std::int64_t sent = direct.window.timeOf(counter);
        const std::int64_t back = answers.window.timeOf(counter);
        if (sent <= direct.clock->lastStep() || back <= answers.clock->lastStep()) {
            return; // a clock was set in between
        }
        const std::int64_t roundTrip = (back + answers.clock->offset()) - (sent + direct.clock->offset());
        constexpr std::int64_t resolution = 1000; // recordings are in microseconds
        if (roundTrip < -resolution) {
            ++pair.counts.early;
            tell(*pair.answers, FK_EARLY, counter, roundTrip);
            return;
        }
        pair.roundTrips.add(roundTrip);
        pair.longest = std::max(pair.longest, roundTrip);
        if (demands.maxRtt > 0 && roundTrip > demands.maxRtt) {
            ++pair.counts.slow;
            tell(*pair.answers, FK_SLOW, counter, roundTrip);
        }
    }

    void tell(const stream_t& answers, findingKind_t kind, std::uint32_t counter, std::int64_t roundTrip) {
        finding_t f = streamFinding(answers, kind, answers.clock->time(), counter, 1);
        f.span = roundTrip;
        reporter.finding(f);
    }

    const demands_t& demands;
    Reporter& reporter;
    const StreamTable<Limits>& table;
    Unanswered<Limits> unanswered;
    std::vector<std::unique_ptr<pair_type>> pairs;
};
