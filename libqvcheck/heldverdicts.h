#pragma once

#include "libqvcheck/acceptor.h"
#include "libqvcheck/foreignframes.h"

/// Decides what held frames are once there is nothing left to wait for: frames of a stream, sound or damaged,
/// stray, of further streams for which there is no room, or foreign. Owns nothing but a count and a flag.
/// Used by one thread.
template<typename Limits>
class HeldVerdicts {
public:
    using stream_t = Stream<Limits>;
    using interface_type = interface_t<Limits>;

    /// All outlive it.
    HeldVerdicts(const demands_t& _demands, Reporter& _reporter, ForeignFrames& _foreign,
                 const StreamTable<Limits>& _table, Booking<Limits>& _booking,
                 StreamFounder<Limits>& _founder, Joiner<Limits>& _joiner, Acceptor<Limits>& _acceptor)
        : demands(_demands),
          reporter(_reporter),
          foreign(_foreign),
          table(_table),
          booking(_booking),
          founder(_founder),
          joiner(_joiner),
          acceptor(_acceptor) {}

    /// Decides the frames that have waited too long at `now`.
    void decideOld(interface_type& in, std::int64_t now) {
        for (auto place = in.held.firstPlace(); place != in.held.endPlace(); ++place) {
            heldFrame_t& held = in.held[place];
            const bool manySince = in.frames - held.order >= Limits::heldAge;
            if (!manySince && now - held.at.time < demands.wait) {
                return; // the later ones are younger
            }
            if (held.waiting && (manySince || isOld(held, now))) {
                decide(in, held);
            }
        }
    }

    /// Decides all held frames of an interface, as no more will come.
    void decideAll(interface_type& in) {
        while (!in.held.empty()) {
            decide(in, in.held.oldest(), true);
        }
    }

    /// Decides a held frame, which then no longer waits. `atEnd`: nothing follows it.
    [[gnu::cold]] void decide(interface_type& in, heldFrame_t& held, bool atEnd = false) {
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

    /// A held frame founds a stream for which there is no room.
    void tellFurther(interface_type& in, heldFrame_t& held) {
        countFurther(held);
        in.held.decided(held);
    }

    /// Pattern frames of streams for which there was no room.
    std::uint64_t furtherFrames() const { return further; }
    /// Frames that continued each other, or could have, ended up in no stream.
    bool sawPatternWithoutStream() const { return patternLike; }

private:
    /// It has waited as long as demanded. One that may found a stream waits for longer: the next frame of a
    /// slow sender may be due.
    bool isOld(const heldFrame_t& held, std::int64_t now) const {
        const stream_t* s = table.first(held.key);
        while (s != nullptr && !(s->key == held.key)) {
            s = table.after(*s);
        }
        return s != nullptr || held.chain == 0 || now - held.at.time >= Limits::heldTime;
    }

    /// At the end: frames before the last ones are missing.
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
        const place_t<Limits> place = placeOf(table, reading, held.key, &held.at);
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
        // The sender's frames have a run of 4 bytes or more; a shorter run may be chance.
        const bool alone = atEnd && reading.runLength() >= 4;
        stream_t* const s = alone ? founder.addBorn(held.key, held.counter, nullptr, held.at) : nullptr;
        if (s != nullptr) {
            joiner.join(in, *s, held.counter, seen);
        }
        return s != nullptr;
    }

    /// The frame belongs to no stream.
    void giveAway(const heldFrame_t& held) {
        if (held.clean && table.full()) {
            countFurther(held);
            return;
        }
        foreign.count(held.frame);
        reporter.frame(held.frame, FT_FOREIGN);
    }

    void countFurther(const heldFrame_t& held) {
        ++further;
        reporter.frame(held.frame, FT_FURTHER);
    }

    const demands_t& demands;
    Reporter& reporter;
    ForeignFrames& foreign;
    const StreamTable<Limits>& table;
    Booking<Limits>& booking;
    StreamFounder<Limits>& founder;
    Joiner<Limits>& joiner;
    Acceptor<Limits>& acceptor;
    std::uint64_t further = 0;
    bool patternLike = false;
};
