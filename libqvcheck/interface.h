#pragma once

#include "libqvcheck/heldframes.h"
#include "libqvcheck/stampclock.h"

#include <algorithm>
#include <cstdint>

/// One interface of a run.
template<typename Limits>
struct interface_t {
    interface_t(std::uint8_t _index, std::int64_t stamp, std::int64_t time)
        : index(_index),
          clock(stamp, time) {}

    /// A stream of the interface must be inspected at `time`.
    void lookBy(std::int64_t time) { deadline = std::min(deadline, time); }

    std::uint8_t index;
    StampClock clock;
    std::uint64_t frames = 0;
    std::int64_t deadline = INT64_MAX; ///< no stream of the interface needs inspection before
    std::uint8_t latest = UINT8_MAX;   ///< slot of the stream heard last; it may be gone
    HeldFrames<Limits> held;
};
