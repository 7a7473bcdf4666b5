#pragma once

#include "libqvcheck/receivedframe.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What an error frame says about this host's reception.
enum errorFrameKind_t : std::uint8_t {
    EF_OTHER,    ///< nothing that loses received frames
    EF_OVERFLOW, ///< the controller had no room for a received frame
    EF_BUS,      ///< trouble on the bus, or the controller left or joined it
};

/// `frame` has CAN_ERR_FLAG.
errorFrameKind_t errorFrameKind(const receivedFrame_t& frame);

/// The error classes of linux/can/error.h, in the order of their bits.
inline constexpr std::size_t errorClasses = 10;

/// The name of a class, 0 to `errorClasses` - 1: "bus-off".
std::string_view errorClassName(std::size_t index);

/// The frame in words, for one line: "controller: receive overflow, receive passive; counters tx 8 rx 130".
std::string errorFrameText(const receivedFrame_t& frame);
