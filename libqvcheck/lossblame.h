#pragma once

#include "libqvcheck/cause.h"

#include <cstdint>

/// A gap that was given up. It lies between two frames of its stream; an event explains it when it lies in
/// (arrivalBefore, arrivalAfter].
struct loss_t {
    std::uint8_t interface;
    std::uint64_t frames; ///< how many are lost
    std::uint64_t
        arrivalBefore;          ///< number of the frame before the gap, counted over all frames judged from 1
    std::uint64_t arrivalAfter; ///< and of the one that showed the gap
    std::int64_t before;        ///< their times: ns since the first frame of the run
    std::int64_t after;
};

/// Knows why frames are missing. Called from the thread that judges, for no longer than a frame may take.
class LossBlame {
public:
    LossBlame() = default;
    virtual ~LossBlame() = default;
    LossBlame(const LossBlame&) = delete;
    LossBlame& operator=(const LossBlame&) = delete;

    /// The source lost `n` frames right before the frame with this arrival number.
    virtual void dropped(std::uint8_t interface, std::uint64_t arrival, std::int64_t time,
                         std::uint32_t n) = 0;

    /// Shares the loss out. Each dropped frame is given to at most one loss. What no evidence covers is
    /// LC_BEFORE's.
    virtual lossShares_t blame(const loss_t& loss) = 0;

    /// Dropped frames that no loss has taken so far.
    virtual std::uint64_t unclaimed() const = 0;
};
