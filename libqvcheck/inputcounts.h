#pragma once

#include <array>
#include <cstdint>
#include <string>

/// What the reading of recordings met besides frames, over all files of a run.
struct inputCounts_t {
    /// For `addDropped`: the recorder names no single interface.
    static constexpr int everyInterface = -1;

    std::string file;             ///< the one that is being read, as the user named it
    std::uint64_t frames = 0;     ///< delivered
    std::uint64_t broken = 0;     ///< lines that should be a frame and cannot be read
    std::string firstBroken;      ///< where the first of them is, "file:line"
    std::uint64_t passedOver = 0; ///< bytes that belong to no sound trace record
    std::uint64_t waiting = 0;    ///< frames that the recorder lost and that no frame behind them tells of

    void countBroken(std::uint64_t line);

    /// The recorder has lost `n` frames on the interface of that index, ahead of the next frame.
    void addDropped(int interface, std::uint32_t n);

    /// The recording leaves out `n` frames of that interface ahead of its next one.
    void addLeftOut(std::size_t interface, std::uint32_t n);

    /// The frames lost ahead of this one, which is of that interface, or left out when `leftOut` says so.
    std::uint32_t takeDropped(std::uint8_t interface, bool& leftOut);

private:
    std::array<bool, 256> leaves{};
    std::array<std::uint32_t, 256> dropped{};
    std::uint32_t droppedAnywhere = 0;
};
