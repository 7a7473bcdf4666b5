#pragma once

#include "libqvcheck/acceptor.h"
#include "libqvcheck/booking.h"
#include "libqvcheck/chains.h"
#include "libqvcheck/foreignframes.h"
#include "libqvcheck/heldverdicts.h"
#include "libqvcheck/interface.h"
#include "libqvcheck/joiner.h"
#include "libqvcheck/leftout.h"
#include "libqvcheck/losses.h"
#include "libqvcheck/pairing.h"
#include "libqvcheck/placing.h"
#include "libqvcheck/steadystreams.h"
#include "libqvcheck/streamfounder.h"
#include "libqvcheck/succession.h"

/// Finds the stream and the place of each data frame. A sound frame that continues a stream costs one
/// comparison; one that fits nowhere is held until the frames around it explain it, and three that continue
/// each other found a stream. Owns the streams and everything that works on them. Used by one thread.
template<typename Limits>
class Demultiplexer {
public:
    using stream_t = Stream<Limits>;
    using interface_type = interface_t<Limits>;

    /// All outlive it.
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
          steady(_demands, _reporter),
          founder(_demands, table, succession),
          joiner(_demands, table, booking, losses, pairing, succession, steady),
          acceptor(_demands, table, booking, leftOut, succession, founder, joiner),
          verdicts(_demands, _reporter, _foreign, table, booking, founder, joiner, acceptor),
          chains(table, losses, succession, founder, joiner, acceptor, verdicts) {}

    /// An interface that frames will come from.
    void enter(const interface_type& in) { founder.enter(in); }

    /// The fast path of nearly all frames: exactly the frame that a steady stream expects. False: call
    /// `judge`.
    bool takeNext(interface_type& in, const receivedFrame_t& frame, const arrivalTime_t& at) {
        stream_t* const s = steady.takeNext(table, in, frame, at);
        if (s != nullptr && s->pair != nullptr) {
            pairing.arrived(*s, s->window.next() - 1, s->last);
        }
        return s != nullptr;
    }

    /// After `takeNext`: takes those of the `n` next frames that continue the same stream and only need
    /// counting; returns how many.
    std::size_t takeRun(interface_type& in, const receivedFrame_t* frames, std::size_t n) {
        return steady.takeRun(*table.at(in.latest), in, frames, n);
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

    /// The recording omits `n` frames of the interface: decides now what they would have explained.
    void leaveOut(interface_type& in, std::uint32_t n) {
        verdicts.decideAll(in);
        succession.explainAll();
        leftOut.leaveOut(in.index, n);
    }

    /// Whether anything may have waited too long.
    bool mayExpire(const interface_type& in, std::int64_t now) const {
        return now >= in.deadline || !in.held.empty();
    }

    /// Gives up what has waited too long at `now`.
    void expire(interface_type& in, std::int64_t now) {
        verdicts.decideOld(in, now);
        if (now >= in.deadline) {
            inspectStreams(in, now);
        }
    }

    /// Decides all held frames of an interface, as no more will come.
    void decideAll(interface_type& in) { verdicts.decideAll(in); }

    /// Ends all streams, once no frame is held.
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

    /// After `finish`: judges each stream by the end of the run and by its totals.
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
    const StreamTable<Limits>& streams() const { return table; }
    std::uint64_t furtherFrames() const { return verdicts.furtherFrames(); }
    bool sawPatternWithoutStream() const { return verdicts.sawPatternWithoutStream(); }

private:
    /// With at most one run byte a frame fits as either frame or answer.
    bool placesOnlyAsAnswer(const Reading& direct, const Reading& answer) {
        return placeOf(table, direct, keyOf(direct, SR_DIRECT), nullptr).stream == nullptr &&
               placeOf(table, answer, keyOf(answer, SR_ANSWER), nullptr).stream != nullptr;
    }

    static streamKey_t keyOf(const Reading& reading, streamRole_t role) {
        return {reading.raw().interface, role, reading.extended(), reading.length(), reading.tag()};
    }

    /// A frame that no stream accepts as sound.
    void judgeUnplaced(interface_type& in, const Reading& reading, streamRole_t role,
                       const sighting_t& seen) {
        const streamKey_t key = keyOf(reading, role);
        if (!reading.clean()) {
            const place_t<Limits> place = placeOf(table, reading, key, nullptr);
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
            verdicts.decide(in, in.held.oldest());
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
            chains.establish(in, held);
        }
    }

    // Few frames get here, and inlining it into each caller costs 2 KiB.
    [[gnu::noinline, gnu::cold]] void inspectStreams(interface_type& in, std::int64_t now) {
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

    /// A stream that can be explained now; null if there is none.
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
    HeldVerdicts<Limits> verdicts;
    Chains<Limits> chains;
};
