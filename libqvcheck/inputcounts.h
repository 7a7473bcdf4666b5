#pragma once

#include <array>
#include <cstdint>
#include <string>

/// What reading recordings yields besides frames, over all files of a run.
struct inputCounts_t {
    /// For `addDropped`: the recorder names no particular interface.
    static constexpr int everyInterface = -1;

    std::string file;             ///< the one being read, as the user named it
    std::uint64_t frames = 0;     ///< delivered
    std::uint64_t broken = 0;     ///< lines that should be a frame but are malformed
    std::string firstBroken;      ///< where the first of them is, "file:line"
    std::uint64_t passedOver = 0; ///< bytes that belong to no sound trace record
    std::uint64_t waiting = 0;    ///< frames lost by the recorder, not yet reported with a later frame

    void countBroken(std::uint64_t line);

    /// The recorder lost `n` frames on the interface with that index, before the next frame.
    void addDropped(int interface, std::uint32_t n);

    /// The recording omits `n` frames of that interface before its next one.
    void addLeftOut(std::size_t interface, std::uint32_t n);

    /// The frames lost before this one, which is of that interface, or omitted if `leftOut` is set.
    std::uint32_t takeDropped(std::uint8_t interface, bool& leftOut);

private:
    std::array<bool, 256> leaves{};
    std::array<std::uint32_t, 256> dropped{};
    std::uint32_t droppedAnywhere = 0;
};
