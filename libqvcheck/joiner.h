#pragma once

#include "libqvcheck/booking.h"
#include "libqvcheck/interface.h"
#include "libqvcheck/losses.h"
#include "libqvcheck/pairing.h"
#include "libqvcheck/placing.h"
#include "libqvcheck/steadystreams.h"
#include "libqvcheck/succession.h"

/// Puts frames into their places in streams and does what follows from that: gives up gaps that leave the
/// window, informs the other half of a pair, and decides what an unnamed stream is that has lasted long
/// enough. Owns nothing. Used by one thread.
template<typename Limits>
class Joiner {
public:
    using stream_t = Stream<Limits>;
    using interface_type = interface_t<Limits>;

    /// All outlive it.
    Joiner(const demands_t& _demands, const StreamTable<Limits>& _table, Booking<Limits>& _booking,
           Losses<Limits>& _losses, Pairing<Limits>& _pairing, Succession<Limits>& _succession,
           SteadyStreams<Limits>& _steady)
        : demands(_demands),
          table(_table),
          booking(_booking),
          losses(_losses),
          pairing(_pairing),
          succession(_succession),
          steady(_steady) {}

    /// Puts a frame into its place in the stream, which may be gone afterwards.
    void join(interface_type& in, stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        if (s.streak > 0) {
            booking.tellRepeats(s);
        }
        while (s.window.pushesGapOut(counter)) {
            giveUpOldest(in, s);
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
            in.lookBy(s.window.oldest().opened.time + demands.wait);
        }
        if (!s.named && s.frames >= Limits::successorFrames) {
            succession.explain(s, seen.at.time);
        }
    }

    /// As `join`, for a damaged frame with its reading and its place.
    void joinDamaged(interface_type& in, const place_t<Limits>& place, const Reading& reading,
                     const sighting_t& seen) {
        const sighting_t hurt = {seen.frame, seen.at, seen.clockSteps, &reading};
        stream_t& s = *place.stream;
        if (s.child != nullptr && ahead(place.counter, s.window.next()) >= 0) {
            succession.fold(*s.child);
        }
        join(in, s, place.counter, hurt);
    }

    /// Gives up the oldest gap of a stream, except for frames that are held.
    void giveUpOldest(interface_type& in, stream_t& s) {
        for (auto place = in.held.firstPlace(); place != in.held.endPlace(); ++place) {
            heldFrame_t& held = in.held[place];
            if (held.waiting && s.window.oldest().missing > 0) {
                takeIntoOldest(in, s, held);
            }
        }
        losses.giveUpOldest(s);
    }

private:
    void takeIntoOldest(interface_type& in, stream_t& s, heldFrame_t& held) {
        Reading reading(held.frame, held.role());
        reading.vote();
        const place_t<Limits> place = placeOf(table, reading, held.key, &held.at);
        if (place.stream == &s && place.distance > 0 && s.window.oldest().holds(place.counter)) {
            in.held.decided(held);
            booking.take(s, place.counter, {held.frame, held.at, held.clockSteps, &reading});
        }
    }

    const demands_t& demands;
    const StreamTable<Limits>& table;
    Booking<Limits>& booking;
    Losses<Limits>& losses;
    Pairing<Limits>& pairing;
    Succession<Limits>& succession;
    SteadyStreams<Limits>& steady;
};
