#pragma once

#include "libqvcheck/booking.h"
#include "libqvcheck/losses.h"
#include "libqvcheck/streamtable.h"

#include <algorithm>

/// Frames that the recording omits: they may belong to any stream, and are nobody's loss. Owns nothing. Used
/// by one thread.
template<typename Limits>
class LeftOut {
public:
    using stream_t = Stream<Limits>;

    /// All outlive it.
    LeftOut(const StreamTable<Limits>& _table, Booking<Limits>& _booking, Losses<Limits>& _losses)
        : table(_table),
          booking(_booking),
          losses(_losses) {}

    /// The recording omits `n` frames of an interface.
    void leaveOut(std::uint8_t interface, std::uint32_t n) {
        for (stream_t* const s : table.all()) {
            if (s->key.interface == interface) {
                s->leftOut += std::min(n, INT32_MAX - s->leftOut);
                s->steady = false;
            }
        }
    }

    /// A sound frame of the stream's key came where frames may be omitted: those of the stream before it are
    /// taken as omitted, unless they are far more than were.
    void passOver(stream_t& s, std::uint32_t counter, const arrivalTime_t& at) {
        const std::int32_t d = ahead(counter, s.window.next());
        if (s.empty || d < 0 || static_cast<std::uint32_t>(d) >= s.leftOut + Limits::window) {
            return;
        }
        if (d > 0) {
            moveOn(s, counter, at);
        }
        s.leftOut = 0;
    }

private:
    /// The frames before `counter` arrived for the window but are counted nowhere. The last of them may still
    /// come: damaged ones are decided later.
    void moveOn(stream_t& s, std::uint32_t counter, const arrivalTime_t& at) {
        booking.tellRepeats(s);
        losses.giveUpAll(s);
        const std::uint32_t kept = std::min(counter - s.window.next(), Limits::step);
        const std::uint32_t low = counter - kept;
        const std::uint32_t passed = std::min(low - s.window.next(), Limits::window);
        s.window.moveOn(low - 1);
        for (std::uint32_t i = 1; i <= passed; ++i) {
            s.window.mark(low - i, s.last.time, false);
        }
        s.window.addGap({low, kept, kept, false, true, s.last, at, s.unique});
        s.window.moveOn(counter - 1);
        s.counts.open += kept;
        s.counts.expected += kept;
        s.atRecord = false;
        s.silenceTold = true;
    }

    const StreamTable<Limits>& table;
    Booking<Limits>& booking;
    Losses<Limits>& losses;
};
