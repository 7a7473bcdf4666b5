#pragma once

#include <cstdint>
#include <vector>

/// The sender's settings and what the check demands. All set before the first frame.
struct demands_t {
    std::vector<std::uint32_t> ids; ///< start identifiers in SocketCAN form; empty: any
    std::uint32_t loop = 0;         ///< frames of each stream, at most INT32_MAX; 0: no number demanded
    std::uint32_t errorPeriod = 0;  ///< every such frame is corrupted by the sender; 0: none demanded
    bool fd = false;                ///< CAN FD with 64 bytes
    bool brs = false;               ///< and with the bit rate switch
    bool answer = false;            ///< every frame must be answered
    bool paced = false;             ///< `gap` and `jitter` are demanded
    std::int64_t gap = 0;           ///< ns between frames
    std::int64_t jitter = 0;        ///< ns around it, either way
    bool eachGap = false;           ///< not only the mean gap, but each must be within `jitter`
    std::int64_t lateness = 0;      ///< ns by which this host itself may stamp a frame late; 0: unknown
    std::int64_t wait = 1000000000; ///< ns until a missing frame or answer is given up; above 0
    std::int64_t maxGap = 0;        ///< ns of silence that make a finding; 0: none do
    std::int64_t maxRtt = 0;        ///< ns of round trip that make a finding; 0: none do
    bool intervals = false;         ///< `Judge::interval` will be called
};
