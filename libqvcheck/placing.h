#pragma once

#include "libqvcheck/streamtable.h"

#include <algorithm>
#include <cstdlib>

/// Where a damaged frame belongs.
template<typename Limits>
struct place_t {
    Stream<Limits>* stream = nullptr; ///< null: nowhere
    std::uint32_t counter = 0;
    unsigned distance = 0;  ///< places in which they differ
    bool arrived = false;   ///< the frame is not the first with this counter
    std::uint32_t away = 0; ///< distance from the next counter

    bool betterThan(const place_t& other) const {
        if (other.stream == nullptr || distance != other.distance) {
            return other.stream == nullptr || distance < other.distance;
        }
        return arrived != other.arrived ? other.arrived : away < other.away;
    }
};

/// Finds out which frame a damaged one was. A frame states its counter three times: in the identifier, in the
/// counter bytes and in the run. At least two of them must agree; of all candidates in all streams the one
/// with the fewest differences is chosen.
template<typename Limits>
class Placing {
public:
    using stream_t = Stream<Limits>;

    /// `_held`: when the frame came if others have come since, so that it is hardly a frame still to come;
    /// null: just now.
    Placing(const Reading& _reading, const streamKey_t& _key, const arrivalTime_t* _held)
        : reading(_reading),
          key(_key),
          held(_held) {
        const unsigned quarter = reading.length() / 4U;
        most = quarter > 2 ? quarter : 2;
    }

    /// Tries one stream. If its length differs only its missing frames are candidates.
    void consider(stream_t& s) {
        if (s.key.interface != key.interface || s.key.role != key.role) {
            return;
        }
        if (s.key.length != key.length) {
            considerShortened(s);
            return;
        }
        const std::uint32_t byIdentifier = s.nearest(reading.identifier(), s.idValues());
        consider(s, s.window.next());
        consider(s, reading.counter());
        consider(s, byIdentifier);
        if (reading.identifier() == 1) { // the previous frame has it, too
            consider(s, s.nearest(0, s.idValues()));
        }
        consider(s, s.nearest(static_cast<std::uint8_t>(reading.run() + s.key.tag), 256));
    }

    const place_t<Limits>& best() const { return found; }

private:
    void consider(stream_t& s, std::uint32_t counter) {
        if (s.reaches(counter) && witnesses(s, counter) >= 2) {
            take(s, counter, reading.distance(counter, s.key.tag, s.key.extended));
        }
    }

    unsigned witnesses(const stream_t& s, std::uint32_t counter) const {
        unsigned n = reading.counter() == counter ? 1 : 0;
        n += isIdentifierOf(s, counter) ? 1U : 0U;
        if (n == 2 || n == 0) {
            return n;
        }
        return n + (runSupports(static_cast<std::uint8_t>(counter - s.key.tag)) ? 1U : 0U);
    }

    bool isIdentifierOf(const stream_t& s, std::uint32_t counter) const {
        return reading.extended() == s.key.extended &&
               reading.identifier() == patternIdentifier(counter, s.key.extended);
    }

    /// Whether at least half of the run's bytes do.
    bool runSupports(std::uint8_t value) const {
        const unsigned half = (reading.runLength() + 1U) / 2;
        if (value == reading.run() || reading.agreeing() > reading.runLength() / 2) {
            return value == reading.run() && reading.agreeing() >= half;
        }
        return reading.supporting(value) >= half;
    }

    void considerShortened(stream_t& s) {
        const std::uint32_t counter = reading.counter();
        if (key.length < s.key.length && s.reaches(counter) && isIdentifierOf(s, counter) &&
            !s.has(counter) && ahead(counter, s.window.next()) < static_cast<std::int32_t>(Limits::step)) {
            // The run of a truncated answer may be half undone: two witnesses suffice.
            take(s, counter, std::min(most, 1 + reading.distance(counter, s.key.tag, s.key.extended)));
        }
    }

    void take(stream_t& s, std::uint32_t counter, unsigned distance) {
        const std::int32_t d = ahead(counter, s.window.next());
        const place_t<Limits> place = {&s, counter, distance, s.has(counter),
                                       apart(counter, s.window.next())};
        if ((held == nullptr || isLikely(place, d)) && distance <= most && place.betterThan(found)) {
            found = place;
        }
    }

    /// For a held frame: `d` is how far it is ahead now.
    bool isLikely(const place_t<Limits>& place, std::int32_t d) const {
        return (place.arrived ? place.distance <= 2 : d <= static_cast<std::int32_t>(Limits::step)) &&
               place.stream->couldHave(place.counter, *held);
    }

    const Reading& reading;
    const streamKey_t& key;
    const arrivalTime_t* held;
    unsigned most;
    place_t<Limits> found;
};

/// Tries all streams; see `Placing`.
template<typename Limits>
place_t<Limits> placeOf(const StreamTable<Limits>& table, const Reading& reading, const streamKey_t& key,
                        const arrivalTime_t* held) {
    Placing<Limits> placing(reading, key, held);
    for (Stream<Limits>* const s : table.all()) {
        placing.consider(*s);
    }
    return placing.best();
}
