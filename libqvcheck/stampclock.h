#pragma once

#include "libqvcheck/receivedframe.h"

#include <cstdint>

/// The time on one interface, derived from its frames' stamps so that it never goes back: the sum of the
/// steps from one stamp to the next. A stamp before the last one, or more than an hour after it, is a step of
/// the source's clock and adds nothing.
class StampClock {
public:
    /// Starts at `time` ns with the stamp of its first frame.
    StampClock(std::int64_t stamp, std::int64_t time) : last(stamp), now(time) {}

    /// Reads another stamp; `receivedFrame_t::noTime` leaves the time unchanged. Where frames were `leftOut`
    /// any time may have passed. Returns whether it was a step.
    bool read(std::int64_t stamp, bool leftOut = false) {
        return !advance(stamp) && readOther(stamp, leftOut);
    }

    /// Reads a stamp that is certainly no step, as nearly all are; false: it may be one, call `read`.
    bool advance(std::int64_t stamp) {
        const std::uint64_t forward = static_cast<std::uint64_t>(stamp) - static_cast<std::uint64_t>(last);
        if (forward > hour) { // so is `noTime`
            return false;
        }
        now += static_cast<std::int64_t>(forward);
        last = stamp;
        return true;
    }

    /// Another interface's stamps show a step that this one's may not have shown yet.
    void distrust() { stepTime = now; }

    /// The time at a stamp without reading it; never before `time()`.
    std::int64_t timeAt(std::int64_t stamp) const {
        const bool known = stamp != receivedFrame_t::noTime && last != receivedFrame_t::noTime;
        return known && !isStep(stamp) ? now + (stamp - last) : now;
    }

    std::int64_t time() const { return now; }
    /// By how much a stamp exceeds the time of its frame, since the last step.
    std::int64_t offset() const { return last == receivedFrame_t::noTime ? 0 : last - now; }
    std::uint64_t steps() const { return stepCount; }
    /// The time of the last step on any interface; below every time if there was none. Frames up to then
    /// cannot be compared with later ones.
    std::int64_t lastStep() const { return stepTime; }

private:
    static constexpr std::uint64_t hour = 3600000000000;

    [[gnu::noinline]] bool readOther(std::int64_t stamp, bool leftOut) {
        // A stamp that is no step cannot be `noTime`, which is the lowest.
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
        return forward > hour && (!anyForward || forward > INT64_MAX); // beyond INT64_MAX it goes back
    }

    std::int64_t last;
    std::int64_t now;
    std::int64_t stepTime = INT64_MIN;
    std::uint64_t stepCount = 0;
};
