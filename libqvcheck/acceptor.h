#pragma once

#include "libqvcheck/joiner.h"
#include "libqvcheck/leftout.h"
#include "libqvcheck/streamfounder.h"

#include <algorithm>

/// Finds the stream of a sound frame among those with its key: the one whose next counter is nearest. Repeats
/// are kept back: as many in a row as found a stream mean that it restarted. Owns nothing. Used by one
/// thread.
template<typename Limits>
class Acceptor {
public:
    using stream_t = Stream<Limits>;
    using interface_type = interface_t<Limits>;

    /// All outlive it.
    Acceptor(const demands_t& _demands, const StreamTable<Limits>& _table, Booking<Limits>& _booking,
             LeftOut<Limits>& _leftOut, Succession<Limits>& _succession, StreamFounder<Limits>& _founder,
             Joiner<Limits>& _joiner)
        : demands(_demands),
          table(_table),
          booking(_booking),
          leftOut(_leftOut),
          succession(_succession),
          founder(_founder),
          joiner(_joiner) {}

    /// Distance of a sound frame from what the stream expects; UINT32_MAX if it cannot belong to the stream.
    static std::uint32_t costOf(const stream_t& s, std::uint32_t counter) {
        const std::int32_t d = ahead(counter, s.window.next());
        if (d >= 0) {
            return d < static_cast<std::int32_t>(Limits::near) ? static_cast<std::uint32_t>(d) : UINT32_MAX;
        }
        const std::uint32_t behind = 0U - static_cast<std::uint32_t>(d);
        if (s.empty || behind > Limits::window || ahead(counter, s.first - Limits::near) < 0) {
            return UINT32_MAX;
        }
        if (!s.has(counter)) {
            return behind;
        }
        return behind <= Limits::near ? Limits::step + behind : UINT32_MAX;
    }

    /// Adds a sound frame to the stream that it continues, repeats or completes, or to the demanded one that
    /// it founds. Returns false if none is near.
    bool accept(interface_type& in, const streamKey_t& key, std::uint32_t counter, const sighting_t& seen) {
        candidate_t best = nearest(key, counter, seen.at);
        if (best.cost > 0 && !demands.ids.empty()) {
            stream_t* const demanded =
                founder.addDemandedNear(key, counter, std::min(best.cost, Limits::near), seen.at);
            best.stream = demanded != nullptr ? demanded : best.stream;
        }
        if (best.stream == nullptr) {
            return false;
        }
        if (best.cost > 0) {
            markAmbiguous(key);
        }
        stream_t& s = *best.stream;
        if (s.child != nullptr && ahead(counter, s.window.next()) >= 0) {
            succession.fold(*s.child);
            return accept(in, key, counter, seen);
        }
        if (s.has(counter)) {
            repeat(in, s, counter, seen);
        } else {
            joiner.join(in, s, counter, seen);
        }
        return true;
    }

private:
    struct candidate_t {
        stream_t* stream = nullptr;
        std::uint32_t cost = UINT32_MAX;
    };

    candidate_t nearest(const streamKey_t& key, std::uint32_t counter, const arrivalTime_t& at) {
        candidate_t best;
        for (stream_t* s = table.first(key); s != nullptr; s = table.after(*s)) {
            if (!(s->key == key)) {
                continue;
            }
            if (s->leftOut > 0) {
                leftOut.passOver(*s, counter, at);
            }
            const std::uint32_t cost = costOf(*s, counter);
            if (cost < best.cost || (cost == 0 && best.cost == 0 && isLikelier(*s, *best.stream))) {
                best = {s, cost};
            }
        }
        return best;
    }

    /// Both streams expect the same frame; `than` is the younger one. A child that did not begin like a
    /// sender merely repeats its parent.
    static bool isLikelier(const stream_t& s, const stream_t& than) {
        return than.parent == &s ? !than.beganLike(s) : s.last.number > than.last.number;
    }

    void markAmbiguous(const streamKey_t& key) {
        stream_t* one = nullptr;
        for (stream_t* s = table.first(key); s != nullptr; s = table.after(*s)) {
            if (!(s->key == key) || !s->named) {
                continue;
            }
            if (one != nullptr && apart(s->window.next(), one->window.next()) < Limits::window) {
                s->ambiguous = one->ambiguous = true;
            }
            one = s;
        }
    }

    void repeat(interface_type& in, stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        if (s.streak > 0 && counter != s.repeats[s.streak - 1].counter + 1) {
            booking.tellRepeats(s);
        }
        booking.keepRepeat(s, counter, seen);
        s.steady = false;
        in.lookBy(s.repeats[0].at.time + demands.wait);
        if (s.streak == Limits::chain) {
            goBack(in, s);
        }
    }

    /// As many repeats in a row as found a stream: the counter went back.
    void goBack(interface_type& in, stream_t& s) {
        const streamKey_t key = s.key;
        const auto frames = s.repeats;
        s.streak = 0;
        if (!s.named || table.full()) {
            succession.explainAll(); // the stream may be a different one now
        }
        stream_t* const parent = table.streamThatHas(key, frames[0].counter);
        if (parent != nullptr && parent->child != nullptr) {
            succession.fold(*parent->child);
        }
        stream_t* const child = founder.addBorn(key, frames[0].counter, parent, frames[0].at);
        for (const repeat_t& r : frames) {
            stream_t* const taker = child != nullptr ? child : parent;
            if (taker != nullptr) {
                booking.take(*taker, r.counter, {r.frame, r.at, in.clock.steps()});
            }
        }
        if (child != nullptr) {
            in.lookBy(succession.due(*child));
        }
    }

    const demands_t& demands;
    const StreamTable<Limits>& table;
    Booking<Limits>& booking;
    LeftOut<Limits>& leftOut;
    Succession<Limits>& succession;
    StreamFounder<Limits>& founder;
    Joiner<Limits>& joiner;
};
