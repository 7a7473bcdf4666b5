#pragma once

#include "libqvcheck/acceptor.h"
#include "libqvcheck/booking.h"
#include "libqvcheck/foreignframes.h"
#include "libqvcheck/interface.h"
#include "libqvcheck/joiner.h"
#include "libqvcheck/leftout.h"
#include "libqvcheck/losses.h"
#include "libqvcheck/pairing.h"
#include "libqvcheck/placing.h"
#include "libqvcheck/steadystreams.h"
#include "libqvcheck/streamfounder.h"
#include "libqvcheck/succession.h"

#include <algorithm>
#include <array>

/// Finds the stream and the place of each data frame. Sound frames that continue a stream cost one look; what
/// fits nowhere is held until the frames around it explain it, and three that go on from each other found a
/// stream.
template<typename Limits>
class Demultiplexer {
public:
    using stream_t = Stream<Limits>;
    using interface_type = interface_t<Limits>;

    Demultiplexer(const demands_t& _demands, Reporter& _reporter, ForeignFrames& _foreign)
        : demands(_demands),
          reporter(_reporter),
          foreign(_foreign),
          streamDemands(_demands, _reporter),
          losses(_demands, _reporter),
          booking(_demands, _reporter),
          pairing(_demands, _reporter, table),
          succession(table, booking, losses, pairing, _reporter, _demands),
          leftOut(table, booking, losses),
          steady(_demands, _reporter, table, pairing),
          founder(_demands, table, succession),
          joiner(_demands, table, booking, losses, pairing, succession, steady),
          acceptor(_demands, table, booking, leftOut, succession, founder, joiner) {}

    /// An interface that frames will come from.
    void enter(const interface_type& in) { founder.enter(in); }

    /// Nearly all frames: the one that a steady stream waits for, to the bit. False: `judge` has to look at
    /// it.
    bool takeNext(interface_type& in, const receivedFrame_t& frame, const arrivalTime_t& at) {
        return steady.takeNext(in, frame, at);
    }

    /// A data frame of 4 bytes or more.
    void judge(interface_type& in, const receivedFrame_t& frame, const arrivalTime_t& at) {
        const sighting_t seen = {frame, at, in.clock.steps()};
        Reading direct(frame, SR_DIRECT);
        if (direct.clean() && acceptor.accept(in, keyOf(direct, SR_DIRECT), direct.counter(), seen)) {
            return;
        }
        Reading answer(frame, SR_ANSWER);
        if (answer.clean() && acceptor.accept(in, keyOf(answer, SR_ANSWER), answer.counter(), seen)) {
            return;
        }
        direct.vote();
        answer.vote();
        const bool isAnswer =
            direct.clean() == answer.clean() && direct.agreeing() == answer.agreeing()
                ? placesOnlyAsAnswer(direct, answer)
                : answer.clean() || (!direct.clean() && answer.agreeing() > direct.agreeing());
        judgeUnplaced(in, isAnswer ? answer : direct, isAnswer ? SR_ANSWER : SR_DIRECT, seen);
    }

    /// The recording leaves out `n` frames of the interface: what they would have explained is decided now.
    void leaveOut(interface_type& in, std::uint32_t n) {
        decideAll(in);
        succession.explainAll();
        leftOut.leaveOut(in.index, n);
    }

    /// Is there anything that may have waited for too long?
    bool mayExpire(const interface_type& in, std::int64_t now) const {
        return now >= in.deadline || !in.held.empty();
    }

    /// Gives up what has waited for too long at `now`.
    void expire(interface_type& in, std::int64_t now) {
        while (!in.held.empty() && isOld(in, in.held.oldest(), now)) {
            decide(in, in.held.oldest(), false);
        }
        if (now >= in.deadline) {
            inspectStreams(in, now);
        }
    }

    /// Decides all held frames of an interface: nothing more will come.
    void decideAll(interface_type& in) {
        while (!in.held.empty()) {
            decide(in, in.held.oldest(), true);
        }
    }

    /// The end of all streams, once no frame is held.
    void finish() {
        for (stream_t* const s : table.all()) {
            booking.tellRepeats(*s);
        }
        succession.explainAll();
        for (stream_t* const s : table.all()) {
            losses.giveUpAll(*s);
        }
    }

    /// Nothing was left to read at `now`.
    void settle(interface_type& in, std::int64_t now) {
        expire(in, now);
        for (stream_t* const s : table.all()) {
            if (s->key.interface == in.index) {
                streamDemands.checkSilence(*s, now);
            }
        }
    }

    /// After `finish`: what the end of the run and its whole say of each stream.
    void close(const arrivalTime_t& end) {
        for (stream_t* const s : table.all()) {
            losses.loseRest(*s, end);
            streamDemands.close(*s, end.time);
        }
    }

    StreamFounder<Limits>& streamFounder() { return founder; }
    Joiner<Limits>& frameJoiner() { return joiner; }
    Pairing<Limits>& pairs() { return pairing; }
    const Pairing<Limits>& pairs() const { return pairing; }
    StreamTable<Limits>& streams() { return table; }
    const StreamTable<Limits>& streams() const { return table; }
    std::uint64_t furtherFrames() const { return further; }
    bool sawPatternWithoutStream() const { return patternLike; }

private:
    /// One byte of run or none fits a frame as well as an answer.
    bool placesOnlyAsAnswer(const Reading& direct, const Reading& answer) {
        return placeOf(table, direct, keyOf(direct, SR_DIRECT), false).stream == nullptr &&
               placeOf(table, answer, keyOf(answer, SR_ANSWER), false).stream != nullptr;
    }

    static streamKey_t keyOf(const Reading& reading, streamRole_t role) {
        return {reading.raw().interface, role, reading.extended(), reading.length(), reading.tag()};
    }

    // --- frames that no stream takes at once --------------------------------------------------------------

    void judgeUnplaced(interface_type& in, const Reading& reading, streamRole_t role,
                       const sighting_t& seen) {
        const streamKey_t key = keyOf(reading, role);
        if (!reading.clean()) {
            const place_t<Limits> place = placeOf(table, reading, key, false);
            if (place.stream != nullptr && place.stream->key.length == key.length &&
                place.stream->leftOut == 0) {
                joiner.joinDamaged(in, place, reading, seen);
                return;
            }
            if (place.stream != nullptr) {
                hold(in, reading, key, seen);
                return;
            }
        }
        if (reading.clean() || (reading.runLength() > 0 && (reading.major() || reading.uniform()))) {
            hold(in, reading, key, seen);
        } else {
            foreign.count(seen.frame);
            reporter.frame(seen.frame, FT_FOREIGN);
        }
    }

    void hold(interface_type& in, const Reading& reading, const streamKey_t& key, const sighting_t& seen) {
        if (in.held.full()) {
            decide(in, in.held.oldest(), false);
        }
        heldFrame_t entry = {};
        entry.frame = seen.frame;
        entry.key = key;
        entry.at = seen.at;
        entry.clockSteps = seen.clockSteps;
        entry.order = in.frames;
        entry.counter = reading.counter();
        entry.clean = reading.clean();
        heldFrame_t& held =
            in.held.add(entry, reading.runLength() > 0 && (reading.clean() || reading.major()));
        if (held.chain >= Limits::chain) {
            establish(in, held);
        }
    }

    bool isOld(const interface_type& in, const heldFrame_t& held, std::int64_t now) const {
        return now - held.at.time >= demands.wait || in.frames - held.order >= Limits::heldFrames;
    }

    // --- births -------------------------------------------------------------------------------------------

    using chain_t = std::array<heldFrame_t*, Limits::chain>;

    /// A chain is complete: it is damage, a repeated block, or the beginning of a stream.
    void establish(interface_type& in, heldFrame_t& newest) {
        chain_t chain{};
        heldFrame_t* member = &newest;
        for (auto place = chain.rbegin(); place != chain.rend(); ++place) {
            *place = member;
            member = in.held.before(*member);
        }
        if (explainedByDamage(chain)) {
            for (std::uint32_t i = 0; i + 1 < Limits::chain; ++i) {
                decide(in, *chain[i], false);
            }
            newest.chain = 1;
            return;
        }
        const stream_t* const repeated = streamThatHasAll(chain);
        if (repeated != nullptr && repeated->lastRecord.number > chain[0]->at.number) {
            for (heldFrame_t* const held : chain) {
                decide(in, *held, false);
            }
            return;
        }
        birth(in, chain);
    }

    bool explainedByDamage(const chain_t& chain) {
        for (std::uint32_t i = 0; i + 1 < Limits::chain; ++i) {
            const heldFrame_t& held = *chain[i];
            Reading reading(held.frame, held.role());
            reading.vote();
            const place_t<Limits> place = placeOf(table, reading, held.key, true);
            if (place.stream == nullptr || place.distance == 0 ||
                place.stream->last.number < held.at.number) {
                return false;
            }
        }
        return true;
    }

    stream_t* streamThatHasAll(const chain_t& chain) const {
        stream_t* const s = table.streamThatHas(chain[0]->key, chain[0]->counter);
        const auto has = [s](const heldFrame_t* held) { return s->has(held->counter); };
        return s != nullptr && std::all_of(chain.begin(), chain.end(), has) ? s : nullptr;
    }

    void birth(interface_type& in, const chain_t& chain) {
        const streamKey_t key = chain[0]->key;
        const arrivalTime_t at = chain[0]->at;
        const std::uint32_t counter = chain[0]->counter;
        if (table.full()) {
            succession.explainAll();
        }
        stream_t* const parent = streamThatHasAll(chain);
        if (parent != nullptr && parent->child != nullptr) {
            succession.fold(*parent->child);
        }
        stream_t* s = founder.addDemandedNear(key, counter, INT32_MAX, at);
        if (s == nullptr) {
            s = founder.addUnnamed(key, counter, parent, at);
        }
        if (s == nullptr) {
            for (heldFrame_t* const held : chain) {
                tellFurther(in, *held);
            }
            return;
        }
        findStart(in, *s, counter, at.number);
        s->fd = chain[0]->frame.fd; // its name says so
        if (!s->named) {
            succession.born(*s);
            in.lookBy(succession.due(*s));
        }
        rejudge(in, *s, counter);
    }

    /// The stream begins at the lowest of the held frames from before its chain that belong to it.
    void findStart(interface_type& in, stream_t& s, std::uint32_t counter, std::uint64_t begin) {
        s.window.restartAt(counter);
        std::uint32_t lowest = counter;
        for (auto place = in.held.firstPlace(); place != in.held.endPlace(); ++place) {
            const heldFrame_t& held = in.held[place];
            if (held.waiting && held.at.number < begin && held.key.sameClass(s.key)) {
                lowest = std::min(lowest, startOf(held, s, counter), [counter](auto a, auto b) {
                    return counter - a > counter - b; // the lower one is further below
                });
            }
        }
        if (!s.startDemanded) {
            s.first = lowest;
        } else if (lowest - s.first >= Limits::near) {
            losses.loseStart(s, lowest, s.born);
            return;
        } else {
            lowest = s.first;
        }
        s.window.restartAt(lowest);
    }

    /// The counter of a held frame that belongs to the start of a stream; else the one the stream began with.
    std::uint32_t startOf(const heldFrame_t& held, stream_t& s, std::uint32_t counter) {
        if (s.startsHere(counter)) {
            return counter;
        }
        Reading reading(held.frame, held.role());
        reading.vote();
        const place_t<Limits> place = placeOf(table, reading, held.key, true);
        const bool below = place.stream == &s && counter - place.counter <= Limits::near;
        return below ? place.counter : counter;
    }

    /// Held frames of the class find their place in the new stream.
    void rejudge(interface_type& in, stream_t& born, std::uint32_t counter) {
        const streamKey_t key = born.key;
        for (auto place = in.held.firstPlace(); place != in.held.endPlace(); ++place) {
            heldFrame_t& held = in.held[place];
            if (held.waiting && held.key.sameClass(key)) {
                rejudge(in, held, born, counter);
            }
        }
    }

    void rejudge(interface_type& in, heldFrame_t& held, const stream_t& born, std::uint32_t counter) {
        const sighting_t seen = {held.frame, held.at, held.clockSteps};
        Reading reading(held.frame, held.role());
        reading.vote();
        if (reading.clean() && acceptor.accept(in, held.key, held.counter, seen)) {
            in.held.decided(held);
            return;
        }
        const place_t<Limits> place = placeOf(table, reading, held.key, true);
        const bool start = place.stream == &born && ahead(place.counter, counter) < 0 &&
                           ahead(place.counter, born.first) >= 0;
        if (place.stream != nullptr && place.distance > 0 && place.stream->key.length == held.key.length &&
            (start || !reading.clean())) {
            in.held.decided(held);
            joiner.joinDamaged(in, place, reading, seen);
        }
    }

    // --- verdicts on held frames --------------------------------------------------------------------------

    void decide(interface_type& in, heldFrame_t& held, bool atEnd) {
        const heldFrame_t copy = held;
        in.held.decided(held);
        Reading reading(copy.frame, copy.role());
        reading.vote();
        const sighting_t seen = {copy.frame, copy.at, copy.clockSteps};
        if (reading.clean() && acceptor.accept(in, copy.key, copy.counter, seen)) {
            return;
        }
        if (reading.clean() && atEnd && acceptFar(in, copy, seen)) {
            return;
        }
        if (!decideDamaged(in, copy, reading, seen) &&
            !(reading.clean() && decideClean(in, copy, reading, seen, atEnd))) {
            patternLike = patternLike || copy.chain > 0;
            giveAway(copy);
        }
    }

    /// At the end: frames are missing before the last ones.
    bool acceptFar(interface_type& in, const heldFrame_t& held, const sighting_t& seen) {
        stream_t* best = nullptr;
        std::uint32_t least = Limits::window;
        for (stream_t* s = table.first(held.key); s != nullptr; s = table.after(*s)) {
            if (s->key == held.key && held.counter - s->window.next() < least) {
                best = s;
                least = held.counter - s->window.next();
            }
        }
        if (best != nullptr) {
            joiner.join(in, *best, held.counter, seen);
        }
        return best != nullptr;
    }

    bool decideDamaged(interface_type& in, const heldFrame_t& held, const Reading& reading,
                       const sighting_t& seen) {
        const place_t<Limits> place = placeOf(table, reading, held.key, true);
        if (place.stream == nullptr || place.distance == 0) {
            return false;
        }
        joiner.joinDamaged(in, place, reading, seen);
        return true;
    }

    bool decideClean(interface_type& in, const heldFrame_t& held, const Reading& reading,
                     const sighting_t& seen, bool atEnd) {
        stream_t* known = nullptr;
        for (stream_t* s = table.first(held.key); s != nullptr; s = table.after(*s)) {
            if (s->key == held.key && (known == nullptr || s->has(held.counter))) {
                known = s;
            }
        }
        if (known != nullptr && known->has(held.counter)) {
            joiner.join(in, *known, held.counter, seen);
            return true;
        }
        if (known != nullptr) {
            booking.stray(*known, reading, seen);
            return true;
        }
        // What the sender makes has a run of 4 bytes or more; a shorter one may be chance.
        const bool alone = atEnd && reading.runLength() >= 4;
        stream_t* const s = alone ? founder.addBorn(held.key, held.counter, nullptr, held.at) : nullptr;
        if (s != nullptr) {
            joiner.join(in, *s, held.counter, seen);
        }
        return s != nullptr;
    }

    void giveAway(const heldFrame_t& held) {
        if (held.clean && table.full()) {
            ++further;
            reporter.frame(held.frame, FT_FURTHER);
            return;
        }
        foreign.count(held.frame);
        reporter.frame(held.frame, FT_FOREIGN);
    }

    void tellFurther(interface_type& in, heldFrame_t& held) {
        ++further;
        reporter.frame(held.frame, FT_FURTHER);
        in.held.decided(held);
    }

    // --- time ---------------------------------------------------------------------------------------------

    void inspectStreams(interface_type& in, std::int64_t now) {
        in.deadline = INT64_MAX;
        while (stream_t* const s = unexplained(in, now)) {
            succession.explain(*s, now);
        }
        for (stream_t* const s : table.all()) {
            if (s->key.interface == in.index) {
                inspect(in, *s, now);
            }
        }
    }

    /// A stream of which can be said what it is; null when there is none.
    stream_t* unexplained(interface_type& in, std::int64_t now) {
        for (stream_t* const s : table.all()) {
            if (!s->named && s->key.interface == in.index) {
                const std::int64_t due = succession.due(*s);
                if (now >= due) {
                    return s;
                }
                in.lookBy(due);
            }
        }
        return nullptr;
    }

    void inspect(interface_type& in, stream_t& s, std::int64_t now) {
        if (s.streak > 0 && now - s.repeats[0].at.time >= demands.wait) {
            booking.tellRepeats(s);
        }
        while (s.window.hasGaps() &&
               (s.window.oldest().missing == 0 || now - s.window.oldest().opened.time >= demands.wait)) {
            joiner.giveUpOldest(in, s);
        }
        if (s.window.hasGaps()) {
            in.lookBy(s.window.oldest().opened.time + demands.wait);
        }
        if (s.streak > 0) {
            in.lookBy(s.repeats[0].at.time + demands.wait);
        }
    }

    const demands_t& demands;
    Reporter& reporter;
    ForeignFrames& foreign;
    StreamTable<Limits> table;
    StreamDemands<Limits> streamDemands;
    Losses<Limits> losses;
    Booking<Limits> booking;
    Pairing<Limits> pairing;
    Succession<Limits> succession;
    LeftOut<Limits> leftOut;
    SteadyStreams<Limits> steady;
    StreamFounder<Limits> founder;
    Joiner<Limits> joiner;
    Acceptor<Limits> acceptor;
    std::uint64_t further = 0;
    bool patternLike = false;
};
