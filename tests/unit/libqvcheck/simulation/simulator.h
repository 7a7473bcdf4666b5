#pragma once

#include "libqvcheck/summary.h"
#include "tests/unit/libqvcheck/patternframe.h"

#include <cstdint>
#include <string>
#include <vector>

/// The same numbers everywhere, from any seed.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : state(seed * 0x9E3779B97F4A7C15U + 1) {}

    std::uint64_t next() {
        state += 0x9E3779B97F4A7C15U;
        std::uint64_t z = state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31);
    }
    /// 0 to n - 1.
    std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>((next() >> 32) * n >> 32); }
    std::uint32_t from(std::uint32_t low, std::uint32_t high) { return low + below(high - low + 1); }
    bool chance(std::uint32_t perMillion) { return below(1000000) < perMillion; }

private:
    std::uint64_t state;
};

/// What happens to the frames of a run. Rates are per million frames.
struct regime_t {
    const char* name = "";
    std::uint32_t mostLoss = 0;
    std::uint32_t leastLoss = 0;
    std::uint32_t mostRepeats = 0;
    std::uint32_t mostJitter = 0; ///< frames
    std::uint32_t mostFlips = 0;
    enum { BIT, BYTE, TWO_BYTES } flip = BIT;
    std::uint32_t leastPeriod = 0; ///< of injected errors
    std::uint32_t mostPeriod = 0;
    std::uint32_t mostSenders = 1;
    std::uint32_t longestBurst = 2; ///< frames of one sender in a row
    bool sameLowByte = false;
    bool burst = false;            ///< one gap of any length
    bool restart = false;          ///< the sender begins again
    std::uint32_t mostForeign = 0; ///< beside each frame
    std::int64_t slowness = 1;     ///< ms between frames
    unsigned notExact = 0;         ///< of 300 runs, as far as is known
    unsigned notExactAtFirst = 0;  ///< of the first 15 of them
};

struct truth_t {
    std::uint64_t expected = 0;
    std::uint64_t intact = 0;
    std::uint64_t corrupted = 0;
    std::uint64_t lost = 0;
    std::uint64_t repeated = 0; ///< damaged ones included
    std::uint64_t reordered = 0;
    std::uint64_t foreign = 0;
    std::uint64_t streams = 0;
    std::uint64_t restarts = 0;
};

struct simulation_t {
    std::vector<receivedFrame_t> frames; ///< in the order of arrival
    truth_t truth;                       ///< the sum over all streams
    std::vector<truth_t> each;           ///< by sender
    std::vector<patternSender_t> senders;
    std::uint32_t period = 0;
    bool damagedAndMoved = false; ///< reordered is a lower bound only
};

simulation_t simulate(const regime_t& regime, std::uint64_t seed);
