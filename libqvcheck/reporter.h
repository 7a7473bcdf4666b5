#pragma once

#include "libqvcheck/judge.h"

#include <cstdint>

/// Where findings leave the judge: counts them, keeps their series, and passes them on.
class Reporter {
public:
    Reporter(FindingSink& _sink, LossBlame* _blame) : sink(_sink), lossBlame(_blame) {}

    void watch(FrameWatcher* _watcher) { watcher = _watcher; }

    bool isWatched() const { return watcher != nullptr; }

    /// A frame was classified.
    void frame(const receivedFrame_t& frame, taken_t taken, std::uint16_t stream = 0,
               std::uint32_t counter = 0) {
        if (watcher != nullptr) {
            watcher->frame(frame, taken, stream, counter);
        }
    }

    void finding(const finding_t& finding);
    void injected(std::int64_t time) { ++slots.at(time).injected; }
    void named(const streamSummary_t& stream, std::int64_t time) { sink.stream(stream, time); }

    void dropped(std::uint8_t interface, const std::uint64_t arrival, std::int64_t time, std::uint32_t n);
    lossShares_t blame(const loss_t& loss);

    /// Findings by kind, including frames that this host lost and no stream misses.
    findingCounts_t counts() const;
    std::uint64_t framesDropped() const { return drops; }
    const Series<findingSlot_t>& series() const { return slots; }

private:
    FindingSink& sink;
    LossBlame* lossBlame;
    FrameWatcher* watcher = nullptr;
    std::uint64_t drops = 0;
    findingCounts_t found = {};
    Series<findingSlot_t> slots;
};

/// The frames of a loss that are attributed to this host or the logger.
std::uint64_t overrunOf(const lossShares_t& shares);
