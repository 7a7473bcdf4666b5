#pragma once

#include "libqvcheck/pattern.h"
#include "libqvcheck/summary.h"

#include <array>
#include <cstdint>

/// The frames of one stream that its sender corrupts on purpose: every period-th one, counted from the first,
/// with one byte inverted, which walks on by one each time. With a demanded period it says what is to come;
/// with none it finds out whether what came has one.
class Injection {
public:
    /// `demanded`: 0 for none. `length`: of the stream's frames.
    Injection(std::uint32_t demanded, std::uint8_t length);

    bool told() const { return isTold; }

    /// The frame with this counter was the sender's first. `next` is the stream's next counter. Nothing
    /// happens when the schedule is known already.
    void startAt(std::uint32_t start, std::uint32_t next);

    /// Told and placed: it says of each frame whether it is to be hit.
    bool known() const { return isTold && anchored; }

    /// Is this frame, at or above the stream's next counter, to be hit? Goes on to it. Only when `known`.
    bool reach(std::uint32_t counter) {
        if (ahead(counter, anchor) < 0) {
            return false;
        }
        leap(counter - 1);
        const bool hit = counter == anchor;
        leap(counter);
        return hit;
    }
    /// The lowest counter that is to be hit, at or above the stream's next one. Only when `known`.
    std::uint32_t nextHit() const { return anchor; }
    /// Is a frame below it? Only when `known`.
    bool hits(std::uint32_t counter) const { return offBeat(counter) == 0; }

    /// The stream goes on above this counter, whatever the distance.
    void leap(std::uint32_t counter);

    /// The byte that is inverted in a frame that is hit.
    std::uint8_t byteAt(std::uint32_t counter) const;

    /// How many of `n` frames from `low` on are hit. All lie below the next counter.
    std::uint64_t hitsIn(std::uint32_t low, std::uint32_t n) const;

    /// A frame that is to be hit arrived intact.
    void missed() { ++counts.missing; }
    /// A frame arrived damaged. True when it is the damage that was told.
    bool damaged(std::uint32_t counter, const evidence_t& evidence);
    /// Frames are lost; how many of them were to be hit.
    std::uint64_t lost(std::uint32_t low, std::uint32_t n);

    /// Corrupted frames that count as injected.
    std::uint64_t found() const { return counts.found; }
    injectionSummary_t summary() const;

    /// Takes over what an earlier run of the same sender has seen; `goesOn`: and its schedule as well.
    void continueFrom(const Injection& earlier, bool goesOn);

    /// A frame moves here from a stream of the same counters, with what it counts there.
    void adopt(Injection& from, std::uint32_t counter, bool isDamaged);
    /// Goes by the schedule of a stream of the same counters, unless it has one.
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

    std::uint32_t period; ///< 0: not known
    std::uint8_t walk;    ///< bytes that are walked over
    bool isTold;
    bool anchored = false;    ///< `anchor` and `anchorByte` mean something
    std::uint32_t anchor = 0; ///< a counter that is hit; when told, the lowest above all that were passed
    std::uint8_t anchorByte = 0;
    std::uint8_t seen = 0; ///< entries of `early`
    std::array<hit_t, 32> early =
        {}; ///< single inverted bytes before a period was recognised, the newest last
    injectionSummary_t counts = {};
};
