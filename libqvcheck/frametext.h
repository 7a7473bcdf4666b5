#pragma once

#include "libqvcheck/receivedframe.h"

#include <string>

/// Reads one frame in candump's log notation from the beginning of [`at`, `end`): `123#1122`, `123##1AB`,
/// `123#R4`, dots between data bytes, raw length codes (`..._A`), error frames, CAN XL frames (`xl` set, data
/// skipped).
///
/// Sets `canId`, `length`, `flags`, `fd`, `xl` and the first `length` bytes of `data`. Returns the end of the
/// frame's text, whatever follows it, or null if there is no frame, with `frame` partly overwritten.
const char* readFrameText(const char* at, const char* end, receivedFrame_t& frame);

/// The frame in the notation that `readFrameText` reads.
std::string frameText(const receivedFrame_t& frame);

/// The frame has as many bytes as its kind allows, so a line that was cut after it lacks none of them.
inline bool hasAllBytes(const receivedFrame_t& frame) {
    return frame.length == (frame.fd ? CANFD_MAX_DLEN : CAN_MAX_DLEN);
}
