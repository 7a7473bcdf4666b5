#pragma once

#include "libqvcheck/pattern.h"
#include "libqvcheck/window.h"

#include <cstdint>

/// A frame on its way into a stream. Everything referred to outlives it.
struct sighting_t {
    const receivedFrame_t& frame;
    arrivalTime_t at;
    std::uint64_t clockSteps;         ///< of its interface, up to it
    const Reading* damaged = nullptr; ///< its reading if it is not as it was sent
};
