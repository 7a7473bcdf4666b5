#pragma once

#include "libqvcheck/lossblame.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Shares lost frames out among what is known to have happened. Two kinds of evidence: what has a place in
/// the order of the frames (drops of the source, error frames), which is exact; and what has a time (an
/// interface that was down, a counter that grew between two looks at it). Memory is bounded: of each kind
/// the last `MOST` are kept.
class Causes : public LossBlame {
public:
    /// For a thing that is not of one interface.
    static constexpr std::uint8_t EVERY_INTERFACE = UINT8_MAX;

    /// For evidence that says nothing about a number of frames: no run loses as many.
    static constexpr std::uint64_t ANY_NUMBER = UINT64_MAX;

    static constexpr std::size_t MOST = 4096;

    /// `_drops` is what a drop of the source means: LC_QUEUE on the bus, LC_INPUT in a recording. With
    /// `_oneQueue` it may be a frame of any interface.
    explicit Causes(lossCause_t _drops, bool _oneQueue = false) : drops(_drops), oneQueue(_oneQueue) {}

    void dropped(std::uint8_t interface, std::uint64_t arrival, std::int64_t time, std::uint32_t n) override;
    lossShares_t blame(const loss_t& loss) override;
    std::uint64_t unclaimed() const override { return droppedFrames - claimed; }

    /// The frame with this arrival number, an error frame, told of it. Numbers never go back.
    void placed(lossCause_t cause, std::uint8_t interface, std::uint64_t arrival);

    /// It happened between `from` and `to`, in ns since the first frame of the run, and accounts for `n`
    /// frames at most.
    void timed(lossCause_t cause, std::uint8_t interface, std::int64_t from, std::int64_t to,
               std::uint64_t n);

private:
    struct evidence_t {
        lossCause_t cause;
        std::uint8_t interface;
        std::uint64_t left; ///< frames that it may yet account for
        std::int64_t from;  ///< arrival number, or time
        std::int64_t to;
    };

    /// The last `MOST` of them, in the order in which they came.
    class History {
    public:
        void add(const evidence_t& evidence);
        std::size_t size() const { return ring.size(); }
        evidence_t& operator[](std::size_t i) { return ring[(oldest + i) % ring.size()]; }

    private:
        std::vector<evidence_t> ring;
        std::size_t oldest = 0;
    };

    static bool matches(const evidence_t& evidence, lossCause_t cause, const loss_t& loss);
    static std::uint64_t take(evidence_t& evidence, std::uint64_t wanted);
    std::size_t firstBehind(std::uint64_t arrival);
    std::uint64_t takePlaced(lossCause_t cause, const loss_t& loss, std::uint64_t wanted);
    std::uint64_t takeTimed(lossCause_t cause, const loss_t& loss, std::uint64_t wanted);

    const lossCause_t drops;
    const bool oneQueue;
    History byPlace;
    History byTime;
    std::uint64_t droppedFrames = 0;
    std::uint64_t claimed = 0;
};
