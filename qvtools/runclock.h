#pragma once

#include "libqvcheck/judge.h"

#include <cstdint>

/// Times of this host on the clock of a run, in ns since its first frame; 0 before that.
class RunClock {
public:
    /// `_judge` outlives it.
    explicit RunClock(const Judge& _judge) : judge(_judge) {}

    /// `frame` was the last one read and has been judged; it was read at `now`, in ns of the monotonic clock.
    void read(const receivedFrame_t& frame, std::int64_t now);

    /// A time of the monotonic clock as the kernel would stamp it, counted from the last frame's stamp:
    /// setting the system clock must not give anything up.
    std::int64_t stamp(std::int64_t at) const { return lastStamp + (at - lastRead); }

    /// A time of the monotonic clock.
    std::int64_t at(std::int64_t moment) const;

    /// The present time on the clock of the frames' stamps, for events of the host: earlier frames may still
    /// be unread.
    std::int64_t ofHost() const;

private:
    const Judge& judge;
    std::uint8_t lastInterface = 0;
    std::int64_t lastStamp = 0;
    std::int64_t lastRead = 0;
};
