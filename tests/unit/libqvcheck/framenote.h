#pragma once

#include "libqvcheck/framesource.h"
#include "libqvutil/hex.h"

#include <string>

/// A frame as a text to compare: identifier with the flags of linux/can.h, `#` or `##flags`, data, and what
/// else is not as usual.
inline std::string noteOf(const receivedFrame_t& frame) {
    std::string note;
    appendHex(note, frame.canId, 8, true);
    note += frame.fd ? "##" + std::to_string(frame.flags) + '.' : "#";
    for (std::size_t i = 0; i < frame.length; ++i) {
        appendHex(note, frame.data[i], 2, true);
    }
    note += (frame.canId & CAN_RTR_FLAG) != 0 ? " length " + std::to_string(frame.length) : "";
    note += frame.dropped > 0 ? " dropped " + std::to_string(frame.dropped) : "";
    note += frame.interface > 0 ? " interface " + std::to_string(frame.interface) : "";
    return note + (frame.xl ? " xl" : "") + (frame.own ? " own" : "");
}
