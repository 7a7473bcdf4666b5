#pragma once

#include "libqvcheck/receivedframe.h"

#include <cstdint>

/// The frame that the sender's documents promise, byte by byte, without the code under test.
struct patternSender_t {
    std::uint32_t start = 1;
    bool extended = false;
    std::uint8_t length = 8;
    bool answer = false; ///< its answers are what is seen

    /// Bytes that an answer inverts and that injected errors walk over.
    std::uint8_t walked() const { return length == 64 ? 15 : length; }

    receivedFrame_t frame(std::uint32_t number, std::int64_t time = 0) const {
        receivedFrame_t f{};
        const std::uint32_t mask = extended ? CAN_EFF_MASK : CAN_SFF_MASK;
        const std::uint32_t counter = start + number;
        f.canId = (counter & mask) == 0 ? 1 : counter & mask;
        f.length = length;
        f.fd = length > 8;
        f.time = time;
        for (unsigned i = 0; i < 4; ++i) {
            f.data[i] = static_cast<std::uint8_t>(counter >> (24 - 8 * i));
        }
        for (unsigned i = 4; i < length; ++i) {
            f.data[i] = static_cast<std::uint8_t>(i - 4 + number);
        }
        f.canId |= extended ? CAN_EFF_FLAG : 0;
        return f;
    }

    /// The frame as it is with each `period`-th corrupted on purpose.
    receivedFrame_t injected(std::uint32_t number, std::uint32_t period) const {
        receivedFrame_t f = frame(number);
        if ((number + 1) % period == 0) {
            f.data[((number + 1) / period - 1) % walked()] ^= 0xFF;
        }
        return f;
    }

    /// What is on the bus when the frame, damaged or not, is answered; itself when answers are not what is
    /// seen.
    receivedFrame_t seen(receivedFrame_t f) const {
        if (answer) {
            f.canId = (~f.canId & (extended ? CAN_EFF_MASK : CAN_SFF_MASK)) | (f.canId & CAN_EFF_FLAG);
            for (unsigned i = 0; i < walked(); ++i) {
                f.data[i] = static_cast<std::uint8_t>(~f.data[i]);
            }
        }
        return f;
    }
};
