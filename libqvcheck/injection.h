#pragma once

#include "libqvcheck/pattern.h"
#include "libqvcheck/summary.h"

#include <array>
#include <cstdint>

/// The frames of one stream that its sender corrupts on purpose: every period-th one, counted from the first,
/// has one byte inverted, each time the next one. With a demanded period it predicts them; with none it
/// detects whether there is a period.
class Injection {
public:
    /// `demanded`: 0 for none. `length`: of the stream's frames.
    Injection(std::uint32_t demanded, std::uint8_t length);

    bool told() const { return isTold; }

    /// The frame with this counter was the sender's first. `next` is the stream's next counter. No effect if
    /// the schedule is already known.
    void startAt(std::uint32_t start, std::uint32_t next);

    /// The period is demanded and its start known: every hit can be predicted.
    bool known() const { return isTold && anchored; }

    /// Whether this frame, at or above the stream's next counter, is to be hit. Moves on to it. Only if
    /// `known`.
    bool reach(std::uint32_t counter) {
        if (ahead(counter, anchor) < 0) {
            return false;
        }
        leap(counter - 1);
        const bool hit = counter == anchor;
        leap(counter);
        return hit;
    }
    /// The lowest counter to be hit, at or above the stream's next one. Only if `known`.
    std::uint32_t nextHit() const { return anchor; }
    /// Whether a frame below the next counter is to be hit. Only if `known`.
    bool hits(std::uint32_t counter) const { return offBeat(counter) == 0; }

    /// The stream continues above this counter, at any distance.
    void leap(std::uint32_t counter);

    /// The byte that is inverted in a frame that is hit.
    std::uint8_t byteAt(std::uint32_t counter) const;

    /// How many of `n` frames from `low` on are hit. All are below the next counter.
    std::uint64_t hitsIn(std::uint32_t low, std::uint32_t n) const;

    /// A frame to be hit arrived intact.
    void missed() { ++counts.missing; }
    /// A frame arrived damaged. Returns whether the damage is the demanded one.
    bool damaged(std::uint32_t counter, const evidence_t& evidence);
    /// Frames are lost; returns how many of them were to be hit.
    std::uint64_t lost(std::uint32_t low, std::uint32_t n);

    /// Corrupted frames that count as injected.
    std::uint64_t found() const { return counts.found; }
    injectionSummary_t summary() const;

    /// Adopts what an earlier run of the same sender saw, and with `goesOn` its schedule as well.
    void continueFrom(const Injection& earlier, bool goesOn);

    /// A frame moves here from a stream with the same counters, along with its count there.
    void adopt(Injection& from, std::uint32_t counter, bool isDamaged);
    /// Adopts the schedule of a stream with the same counters, unless it has one.
    void follow(const Injection& other);

private:
    struct hit_t {
        std::uint32_t counter;
        std::uint8_t byte;
    };

    std::uint32_t offBeat(std::uint32_t counter) const;
    bool fits(const hit_t& hit) const;
    void learn(const hit_t& hit);
    void recognise(const hit_t& hit);

    std::uint32_t period; ///< 0: unknown
    std::uint8_t walk;    ///< number of bytes walked over
    bool isTold;
    bool anchored = false;    ///< `anchor` and `anchorByte` are valid
    std::uint32_t anchor = 0; ///< a counter that is hit; if demanded, the lowest above all that were passed
    std::uint8_t anchorByte = 0;
    std::uint8_t seen = 0; ///< entries of `early`
    std::array<hit_t, 32> early =
        {}; ///< single inverted bytes before a period was recognised, the newest last
    injectionSummary_t counts = {};
};
