#pragma once

#include "libqvcheck/receivedframe.h"

#include <string>

/// Reads one frame in candump's log notation from the beginning of [`at`, `end`): `123#1122`, `123##1AB`,
/// `123#R4`, dots between data bytes, raw length codes (`..._A`), error frames, CAN XL frames (`xl` set, data
/// passed over).
///
/// Sets `canId`, `length`, `flags`, `fd`, `xl` and the first `length` bytes of `data`. Returns the end of the
/// text that was read, which may be followed by anything; null when no frame stands there, and the frame is
/// then partly overwritten.
const char* readFrameText(const char* at, const char* end, receivedFrame_t& frame);

/// The frame in the notation that `readFrameText` reads.
std::string frameText(const receivedFrame_t& frame);

/// The frame has as many bytes as one of its kind can have: none can be missing from a line that was cut
/// behind it.
inline bool hasAllBytes(const receivedFrame_t& frame) {
    return frame.length == (frame.fd ? CANFD_MAX_DLEN : CAN_MAX_DLEN);
}
