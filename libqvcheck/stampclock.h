#pragma once

#include "libqvcheck/receivedframe.h"

#include <cstdint>

/// The time on one interface, made of its frames' stamps so that it never goes back: the sum of the steps
/// from one stamp to the next. A stamp that lies before the last one, or more than an hour behind it, is a
/// step of the source's clock and adds nothing.
class StampClock {
public:
    /// Starts at `time` ns with the stamp of its first frame.
    StampClock(std::int64_t stamp, std::int64_t time) : last(stamp), now(time) {}

    /// A further stamp; `receivedFrame_t::noTime` leaves the time as it is. Where frames were `leftOut` any
    /// time may have passed. True when it was a step.
    bool read(std::int64_t stamp, bool leftOut = false) {
        const std::uint64_t forward = static_cast<std::uint64_t>(stamp) - static_cast<std::uint64_t>(last);
        if (forward <= hour) { // nearly all; `noTime` is far from what a clock gives
            now += static_cast<std::int64_t>(forward);
            last = stamp;
            return false;
        }
        return readOther(stamp, leftOut);
    }

    /// A step that the stamps of another interface show: this one's may not have shown it yet.
    void distrust() { stepTime = now; }

    /// The time at a stamp that is not read; never before `time()`.
    std::int64_t timeAt(std::int64_t stamp) const {
        const bool known = stamp != receivedFrame_t::noTime && last != receivedFrame_t::noTime;
        return known && !isStep(stamp) ? now + (stamp - last) : now;
    }

    std::int64_t time() const { return now; }
    /// What a stamp has more than the time of its frame, since the last step.
    std::int64_t offset() const { return last == receivedFrame_t::noTime ? 0 : last - now; }
    std::uint64_t steps() const { return stepCount; }
    /// The time of the last step, at any interface; below every time when there was none. Frames up to then
    /// cannot be compared with those behind it.
    std::int64_t lastStep() const { return stepTime; }

private:
    static constexpr std::uint64_t hour = 3600000000000;

    [[gnu::noinline]] bool readOther(std::int64_t stamp, bool leftOut) {
        // A stamp behind a time is a time, too: `noTime` is the lowest.
        if (!isStep(stamp, leftOut) && last != receivedFrame_t::noTime) {
            now += stamp - last;
        } else if (stamp == receivedFrame_t::noTime) {
            return false;
        } else if (last != receivedFrame_t::noTime) {
            ++stepCount;
            stepTime = now;
            last = stamp;
            return true;
        }
        last = stamp;
        return false;
    }

    bool isStep(std::int64_t stamp, bool anyForward = false) const {
        const std::uint64_t forward = static_cast<std::uint64_t>(stamp) - static_cast<std::uint64_t>(last);
        return forward > hour && (!anyForward || forward > INT64_MAX); // which is back
    }

    std::int64_t last;
    std::int64_t now;
    std::int64_t stepTime = INT64_MIN;
    std::uint64_t stepCount = 0;
};
