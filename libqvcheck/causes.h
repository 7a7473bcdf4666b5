#pragma once

#include "libqvcheck/lossblame.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Distributes lost frames over the known events. There are two kinds of evidence: events placed in the order
/// of the frames (drops of the source, error frames), which are exact; and timed ones (an interface that was
/// down, a counter that grew between two readings). Memory is bounded: the last `MOST` of each kind are kept.
class Causes : public LossBlame {
public:
    /// For an event that concerns no single interface.
    static constexpr std::uint8_t EVERY_INTERFACE = UINT8_MAX;

    /// For evidence that implies no number of frames: no run loses as many.
    static constexpr std::uint64_t ANY_NUMBER = UINT64_MAX;

    static constexpr std::size_t MOST = 4096;

    /// `_drops` is the cause of a source's drops: LC_QUEUE on the bus, LC_INPUT in a recording. With
    /// `_oneQueue` the dropped frames may be of any interface.
    explicit Causes(lossCause_t _drops, bool _oneQueue = false) : drops(_drops), oneQueue(_oneQueue) {}

    void dropped(std::uint8_t interface, std::uint64_t arrival, std::int64_t time, std::uint32_t n) override;
    lossShares_t blame(const loss_t& loss) override;
    std::uint64_t unclaimed() const override { return droppedFrames - claimed; }

    /// The frame with this arrival number, an error frame, reported the event. Numbers never go back.
    void placed(lossCause_t cause, std::uint8_t interface, std::uint64_t arrival);

    /// It happened between `from` and `to`, in ns since the first frame of the run, and accounts for at most
    /// `n` frames.
    void timed(lossCause_t cause, std::uint8_t interface, std::int64_t from, std::int64_t to,
               std::uint64_t n);

private:
    struct evidence_t {
        lossCause_t cause;
        std::uint8_t interface;
        std::uint64_t left; ///< frames it can still account for
        std::int64_t from;  ///< arrival number, or time
        std::int64_t to;
    };

    /// The last `MOST` entries, in the order of arrival.
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
