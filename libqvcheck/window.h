#pragma once

#include "libqvcheck/pattern.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

/// When a frame came: the time on its interface's clock, and its number.
struct arrivalTime_t {
    std::int64_t time;    ///< ns since the first frame of the run
    std::uint64_t number; ///< counted over all frames from 1
};

/// Counters that have not arrived although a higher one has.
struct gap_t {
    std::uint32_t low;
    std::uint32_t size;
    std::uint32_t missing;      ///< those still missing
    bool overtaken;             ///< some of them arrived after higher ones
    bool leftOut;               ///< omitted by the recording: what does not come is not lost
    arrivalTime_t before;       ///< of the stream's previous frame
    arrivalTime_t opened;       ///< of the frame that showed it
    std::uint64_t openedUnique; ///< first arrivals of the stream until then

    bool holds(std::uint32_t counter) const { return counter - low < size; }
};

/// Which counters below the next expected one have arrived, how, and when; and the gaps among them in
/// ascending order.
template<typename Limits>
class Window {
public:
    static constexpr std::uint32_t size = Limits::window;
    static_assert((size & (size - 1)) == 0, "a counter's place is its low bits");

    explicit Window(std::uint32_t next) : end(next) {}

    /// The next expected counter: the highest one that arrived + 1.
    std::uint32_t next() const { return end; }

    /// Has this counter of the window, `next` - size to `next` - 1, arrived?
    bool arrived(std::uint32_t counter) const { return (bits[word(counter)] & bit(counter)) != 0; }
    bool damaged(std::uint32_t counter) const { return (hurt[word(counter)] & bit(counter)) != 0; }
    std::int64_t timeOf(std::uint32_t counter) const { return times[counter % size]; }
    bool reaches(std::uint32_t counter) const { return end - counter - 1 < size; }

    void mark(std::uint32_t counter, std::int64_t time, bool isDamaged) {
        bits[word(counter)] |= bit(counter);
        if (isDamaged) {
            hurt[word(counter)] |= bit(counter);
        } else {
            hurt[word(counter)] &= ~bit(counter);
        }
        times[counter % size] = time;
    }

    /// The next counter arrived, undamaged.
    void step(std::int64_t time) {
        const std::uint32_t place = end++ % size;
        const std::uint64_t mask = std::uint64_t{1} << (place % 64);
        bits[place / 64] |= mask;
        hurt[place / 64] &= ~mask;
        times[place] = time;
    }

    /// Moves on to `counter` + 1. What lies between is missing, and in no gap yet.
    void moveOn(std::uint32_t counter) {
        const std::uint32_t skipped = std::min(counter - end, size);
        for (std::uint32_t i = 0; i < skipped; ++i) {
            const std::uint32_t absent = counter - skipped + i;
            bits[word(absent)] &= ~bit(absent);
        }
        end = counter + 1;
    }

    /// Moves on to `next` and forgets everything before it: nothing of the window has arrived.
    void restartAt(std::uint32_t next) {
        bits.fill(0);
        end = next;
    }

    /// Marks as arrived what arrived in `earlier` from `first` on and is within this window: all of it is
    /// below the counters of this one.
    void adopt(const Window& earlier, std::uint32_t first) {
        for (std::uint32_t x = end - size; ahead(x, earlier.end) < 0; ++x) {
            if (earlier.reaches(x) && ahead(x, first) >= 0 && earlier.arrived(x)) {
                mark(x, earlier.timeOf(x), earlier.damaged(x));
            }
        }
    }

    bool hasGaps() const { return gapCount > 0; }
    /// Whether a gap leaves the window when this counter is the highest.
    bool pushesGapOut(std::uint32_t counter) const {
        return hasGaps() && ahead(oldest().low, counter + 1 - size) < 0;
    }
    gap_t& oldest() { return gaps[gapStart]; }
    const gap_t& oldest() const { return gaps[gapStart]; }
    void dropOldest() {
        --gapCount;
        gapStart = gapCount == 0 ? 0 : (gapStart + 1) % mostGaps;
    }

    /// All gaps are separated by an arrival and lie in the window, so there is always room for one more.
    void addGap(const gap_t& gap) { gaps[(gapStart + gapCount++) % mostGaps] = gap; }

    /// A gap below all others; the caller ensures that it is in the window.
    void addGapBelow(const gap_t& gap) {
        gapStart = (gapStart + mostGaps - 1) % mostGaps;
        ++gapCount;
        gaps[gapStart] = gap;
    }

    /// The open gap that contains this counter; null if there is none.
    gap_t* gapOf(std::uint32_t counter) {
        std::uint32_t low = 0;
        std::uint32_t high = gapCount;
        while (low < high) { // the first gap that ends above the counter
            const std::uint32_t middle = low + (high - low) / 2;
            const gap_t& gap = nth(middle);
            if (ahead(gap.low + gap.size, counter) > 0) {
                high = middle;
            } else {
                low = middle + 1;
            }
        }
        return low < gapCount && nth(low).holds(counter) ? &nth(low) : nullptr;
    }

private:
    static constexpr std::uint32_t mostGaps = size / 2 + 2;
    static constexpr std::uint32_t words = (size + 63) / 64;

    static std::uint32_t word(std::uint32_t counter) { return counter % size / 64; }
    static std::uint64_t bit(std::uint32_t counter) { return std::uint64_t{1} << (counter % size % 64); }
    gap_t& nth(std::uint32_t n) { return gaps[(gapStart + n) % mostGaps]; }

    std::uint32_t end;
    std::uint32_t gapStart = 0;
    std::uint32_t gapCount = 0;
    std::array<std::uint64_t, words> bits = {};
    std::array<std::uint64_t, words> hurt = {};
    std::array<std::int64_t, size> times = {};
    // Not initialised, and filled from its beginning whenever it was empty: memory that is never written is
    // not resident. Zeroed, it would be 2 MB with 64 streams.
    std::array<gap_t, mostGaps> gaps;
};
