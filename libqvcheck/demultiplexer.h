#pragma once

#include "libqvcheck/booking.h"
#include "libqvcheck/foreignframes.h"
#include "libqvcheck/interface.h"
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
          founder(_demands, table, succession) {}

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
        if (direct.clean() && accept(in, keyOf(direct, SR_DIRECT), direct.counter(), seen)) {
            return;
        }
        Reading answer(frame, SR_ANSWER);
        if (answer.clean() && accept(in, keyOf(answer, SR_ANSWER), answer.counter(), seen)) {
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

    /// How far a sound frame is from what the stream expects; the highest number when it is none of its own.
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

    /// Takes a frame into its place in the stream.
    void join(interface_type& in, stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        if (s.streak > 0) {
            booking.tellRepeats(s);
        }
        while (s.window.pushesGapOut(counter)) {
            giveUp(in, s);
        }
        const bool isNew = s.empty || !s.has(counter);
        booking.take(s, counter, seen);
        if (s.pair != nullptr && isNew) {
            pairing.arrived(s, counter, seen.at);
        } else {
            pairing.consider(s);
        }
        steady.check(s);
        in.latest = s.slot;
        if (s.window.hasGaps()) {
            in.deadline = std::min(in.deadline, s.window.oldest().opened.time + demands.wait);
        }
        if (!s.named && s.frames >= Limits::successorFrames) {
            succession.explain(s, seen.at.time);
        }
    }

    StreamFounder<Limits>& streamFounder() { return founder; }
    Pairing<Limits>& pairs() { return pairing; }
    const Pairing<Limits>& pairs() const { return pairing; }
    StreamTable<Limits>& streams() { return table; }
    const StreamTable<Limits>& streams() const { return table; }
    std::uint64_t furtherFrames() const { return further; }
    bool sawPatternWithoutStream() const { return patternLike; }

private:
    /// One byte of run or none fits a frame as well as an answer.
    bool placesOnlyAsAnswer(const Reading& direct, const Reading& answer) {
        return placeOf(direct, keyOf(direct, SR_DIRECT), false).stream == nullptr &&
               placeOf(answer, keyOf(answer, SR_ANSWER), false).stream != nullptr;
    }

    static streamKey_t keyOf(const Reading& reading, streamRole_t role) {
        return {reading.raw().interface, role, reading.extended(), reading.length(), reading.tag()};
    }

    // --- sound frames -------------------------------------------------------------------------------------

    /// Takes a sound frame into the stream that it continues, repeats or completes; false: none is near.
    bool accept(interface_type& in, const streamKey_t& key, std::uint32_t counter, const sighting_t& seen) {
        stream_t* best = nullptr;
        std::uint32_t least = UINT32_MAX;
        for (stream_t* s = table.first(key); s != nullptr; s = table.after(*s)) {
            if (!(s->key == key)) {
                continue;
            }
            if (s->leftOut > 0) {
                leftOut.passOver(*s, counter, seen.at);
            }
            const std::uint32_t cost = costOf(*s, counter);
            if (cost < least || (cost == 0 && least == 0 && isLikelier(*s, *best))) {
                best = s;
                least = cost;
            }
        }
        if (least > 0 && !demands.ids.empty()) {
            stream_t* const demanded =
                founder.addDemandedNear(key, counter, std::min(least, Limits::near), seen.at);
            best = demanded != nullptr ? demanded : best;
        }
        if (best == nullptr) {
            return false;
        }
        if (least > 0) {
            markAmbiguous(key);
        }
        if (best->child != nullptr && ahead(counter, best->window.next()) >= 0) {
            succession.fold(*best->child);
            return accept(in, key, counter, seen);
        }
        if (best->has(counter)) {
            repeat(in, *best, counter, seen);
        } else {
            join(in, *best, counter, seen);
        }
        return true;
    }

    /// Two streams expect the same frame. A child that did not begin as a sender does only repeats its
    /// parent.
    static bool isLikelier(const stream_t& s, const stream_t& than) {
        if (s.parent == &than) {
            return s.beganLike(than);
        }
        if (than.parent == &s) {
            return !than.beganLike(s);
        }
        return s.last.number > than.last.number;
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
        in.deadline = std::min(in.deadline, s.repeats[0].at.time + demands.wait);
        if (s.streak == Limits::chain) {
            goBack(in, s);
        }
    }

    /// As many repeats in a row as found a stream: the counter went back.
    void goBack(interface_type& in, stream_t& s) {
        const streamKey_t key = s.key;
        const auto frames = s.repeats;
        s.streak = 0;
        s.frames -= Limits::chain;
        if (!s.named || table.full()) {
            succession.explainAll(); // the stream may be another one now
        }
        stream_t* const parent = streamThatHas(key, frames[0].counter);
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
            in.deadline = std::min(in.deadline, succession.due(*child));
        }
    }

    // --- frames that no stream takes at once --------------------------------------------------------------

    void judgeUnplaced(interface_type& in, const Reading& reading, streamRole_t role,
                       const sighting_t& seen) {
        const streamKey_t key = keyOf(reading, role);
        if (!reading.clean()) {
            const place_t<Limits> place = placeOf(reading, key, false);
            if (place.stream != nullptr && place.stream->key.length == key.length &&
                place.stream->leftOut == 0) {
                joinDamaged(in, place, reading, seen);
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

    place_t<Limits> placeOf(const Reading& reading, const streamKey_t& key, bool late) {
        Placing<Limits> placing(reading, key, late);
        for (stream_t* const s : table.all()) {
            placing.consider(*s);
        }
        return placing.best();
    }

    void joinDamaged(interface_type& in, const place_t<Limits>& place, const Reading& reading,
                     const sighting_t& seen) {
        sighting_t hurt = {seen.frame, seen.at, seen.clockSteps, &reading};
        stream_t& s = *place.stream;
        if (s.child != nullptr && ahead(place.counter, s.window.next()) >= 0) {
            succession.fold(*s.child);
        }
        join(in, s, place.counter, hurt);
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
            const place_t<Limits> place = placeOf(reading, held.key, true);
            if (place.stream == nullptr || place.distance == 0 ||
                place.stream->last.number < held.at.number) {
                return false;
            }
        }
        return true;
    }

    /// The stream of this key that has the counter, the one heard last of several; null when none has.
    stream_t* streamThatHas(const streamKey_t& key, std::uint32_t counter) const {
        stream_t* best = nullptr;
        for (stream_t* s = table.first(key); s != nullptr; s = table.after(*s)) {
            if (s->key == key && s->has(counter) && (best == nullptr || s->last.number > best->last.number)) {
                best = s;
            }
        }
        return best;
    }

    stream_t* streamThatHasAll(const chain_t& chain) const {
        stream_t* const s = streamThatHas(chain[0]->key, chain[0]->counter);
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
            in.deadline = std::min(in.deadline, succession.due(*s));
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
        const place_t<Limits> place = placeOf(reading, held.key, true);
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
        if (reading.clean() && accept(in, held.key, held.counter, seen)) {
            in.held.decided(held);
            return;
        }
        const place_t<Limits> place = placeOf(reading, held.key, true);
        const bool start = place.stream == &born && ahead(place.counter, counter) < 0 &&
                           ahead(place.counter, born.first) >= 0;
        if (place.stream != nullptr && place.distance > 0 && place.stream->key.length == held.key.length &&
            (start || !reading.clean())) {
            in.held.decided(held);
            joinDamaged(in, place, reading, seen);
        }
    }

    // --- verdicts on held frames --------------------------------------------------------------------------

    void decide(interface_type& in, heldFrame_t& held, bool atEnd) {
        const heldFrame_t copy = held;
        in.held.decided(held);
        Reading reading(copy.frame, copy.role());
        reading.vote();
        const sighting_t seen = {copy.frame, copy.at, copy.clockSteps};
        if (reading.clean() && accept(in, copy.key, copy.counter, seen)) {
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
            join(in, *best, held.counter, seen);
        }
        return best != nullptr;
    }

    bool decideDamaged(interface_type& in, const heldFrame_t& held, const Reading& reading,
                       const sighting_t& seen) {
        const place_t<Limits> place = placeOf(reading, held.key, true);
        if (place.stream == nullptr || place.distance == 0) {
            return false;
        }
        joinDamaged(in, place, reading, seen);
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
            join(in, *known, held.counter, seen);
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
            join(in, *s, held.counter, seen);
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
                in.deadline = std::min(in.deadline, due);
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
            giveUp(in, s);
        }
        if (s.window.hasGaps()) {
            in.deadline = std::min(in.deadline, s.window.oldest().opened.time + demands.wait);
        }
        if (s.streak > 0) {
            in.deadline = std::min(in.deadline, s.repeats[0].at.time + demands.wait);
        }
    }

    /// The oldest gap of a stream is given up, but for the frames that are held.
    void giveUp(interface_type& in, stream_t& s) {
        for (auto place = in.held.firstPlace(); place != in.held.endPlace(); ++place) {
            heldFrame_t& held = in.held[place];
            if (held.waiting && s.window.oldest().missing > 0) {
                takeIntoOldest(in, s, held);
            }
        }
        losses.giveUpOldest(s);
    }

    void takeIntoOldest(interface_type& in, stream_t& s, heldFrame_t& held) {
        Reading reading(held.frame, held.role());
        reading.vote();
        const place_t<Limits> place = placeOf(reading, held.key, true);
        if (place.stream == &s && place.distance > 0 && s.window.oldest().holds(place.counter)) {
            in.held.decided(held);
            booking.take(s, place.counter, {held.frame, held.at, held.clockSteps, &reading});
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
    std::uint64_t further = 0;
    bool patternLike = false;
};
