#pragma once

#include "libqvcheck/receivedframe.h"

#include <array>
#include <bitset>
#include <cstdint>

/// Frames of no pattern: how many, and with how many different identifiers.
class ForeignFrames {
public:
    void count(const receivedFrame_t& frame) {
        ++total;
        const bool extended = (frame.canId & CAN_EFF_FLAG) != 0;
        if (!extended) {
            const std::uint32_t id = frame.canId & CAN_SFF_MASK;
            different += standard[id] ? 0U : 1U;
            standard[id] = true;
        } else {
            countExtended(frame.canId & CAN_EFF_MASK);
        }
    }

    std::uint64_t frames() const { return total; }
    std::uint64_t identifiers() const { return different; }
    /// There may be more identifiers: the table is full.
    bool more() const { return extendedCount == mostExtended; }

private:
    static constexpr std::size_t places = 2048;
    static constexpr std::size_t mostExtended = 1024;

    void countExtended(std::uint32_t id) {
        std::size_t place = (id * 2654435761U) >> 21;
        while (extendedIds[place] != 0 && extendedIds[place] != id + 1) {
            place = (place + 1) % places;
        }
        if (extendedIds[place] == 0 && extendedCount < mostExtended) {
            extendedIds[place] = id + 1;
            ++extendedCount;
            ++different;
        }
    }

    std::uint64_t total = 0;
    std::uint64_t different = 0;
    std::size_t extendedCount = 0;
    std::bitset<CAN_SFF_MASK + 1> standard;
    std::array<std::uint32_t, places> extendedIds = {}; ///< identifier + 1; 0: free
};
