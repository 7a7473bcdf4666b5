#pragma once

#include "libqvcheck/cause.h"

#include <cstdint>

/// A gap that was given up. It lies between two frames of its stream; an event in (arrivalBefore,
/// arrivalAfter] explains it.
struct loss_t {
    std::uint8_t interface;
    std::uint64_t frames;        ///< how many are lost
    std::uint64_t arrivalBefore; ///< number of the frame before the gap, over all judged frames from 1
    std::uint64_t arrivalAfter;  ///< and of the one that showed the gap
    std::int64_t before;         ///< their times: ns since the first frame of the run
    std::int64_t after;
};

/// Knows why frames are missing. Called from the judging thread; must not take longer than a frame may.
class LossBlame {
public:
    LossBlame() = default;
    virtual ~LossBlame() = default;
    LossBlame(const LossBlame&) = delete;
    LossBlame& operator=(const LossBlame&) = delete;

    /// The source lost `n` frames right before the frame with this arrival number.
    virtual void dropped(std::uint8_t interface, std::uint64_t arrival, std::int64_t time,
                         std::uint32_t n) = 0;

    /// Distributes the loss over its causes. Each dropped frame explains at most one loss. What no evidence
    /// covers is attributed to LC_BEFORE.
    virtual lossShares_t blame(const loss_t& loss) = 0;

    /// Dropped frames that have explained no loss so far.
    virtual std::uint64_t unclaimed() const = 0;
};
