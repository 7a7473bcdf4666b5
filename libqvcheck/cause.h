#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// Why frames are missing. A share of a gap goes to the first cause in this order that has evidence for it.
enum lossCause_t : std::uint8_t {
    LC_QUEUE,  ///< this host's receive queue was full; exact to the frame
    LC_LINK,   ///< this host's interface was down or gone
    LC_DRIVER, ///< this host's controller or driver overflowed
    LC_KERNEL, ///< this host's kernel had no room
    LC_UNSEEN, ///< the other node answered the frame, so it was on the bus: this host missed it
    LC_BUS,    ///< the controller reported trouble on the bus in between
    LC_INPUT,  ///< the logger dropped frames, or the recording is damaged
    LC_BEFORE, ///< not this host: the sender, its queue, or the bus
    LC_NUM,
};

/// The cause as reports name it: "this host, queue".
std::string_view causeName(lossCause_t cause);

/// Lost frames by cause; they add up to the total loss.
using lossShares_t = std::array<std::uint64_t, LC_NUM>;

/// The causes whose frames count as lost by this host or the logger (FK_OVERRUN), not on the way.
constexpr bool isOverrun(lossCause_t cause) {
    return cause != LC_BUS && cause != LC_BEFORE;
}
