#pragma once

#include "libqvcheck/judge.h"

#include <cstdint>

/// Moments of this host on the clock of a run, which counts ns from its first frame. 0 before that.
class RunClock {
public:
    /// `_judge` outlives it.
    explicit RunClock(const Judge& _judge) : judge(_judge) {}

    /// `frame` was the last one read and is judged; it was read `now`, in ns of the monotonic clock.
    void read(const receivedFrame_t& frame, std::int64_t now);

    /// A moment of the monotonic clock, as the kernel would stamp it. It goes on from the last frame's stamp:
    /// a system clock that is set gives nothing up.
    std::int64_t stamp(std::int64_t at) const { return lastStamp + (at - lastRead); }

    /// A moment of the monotonic clock.
    std::int64_t at(std::int64_t moment) const;

    /// The present moment on the clock of the frames' stamps, for what happens to the host: frames from
    /// before it may still wait to be read.
    std::int64_t ofHost() const;

private:
    const Judge& judge;
    std::uint8_t lastInterface = 0;
    std::int64_t lastStamp = 0;
    std::int64_t lastRead = 0;
};
