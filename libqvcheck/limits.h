#pragma once

#include <cstdint>

/// The bounds of the judge's memory and the widths of its zones. Tests use smaller ones to reach them.
struct limits_t {
    static constexpr std::uint32_t window = 1024; ///< remembered counters below the next one; 2^n
    static constexpr std::uint32_t near = 64;     ///< a sound frame closer than this needs no confirmation
    static constexpr std::uint32_t step = 16;     ///< maximum distance between the frames of a chain
    static constexpr std::uint32_t chain = 3;     ///< frames in a row that found a stream
    static constexpr std::uint32_t heldCapacity = 256; ///< undecided frames per interface
    static constexpr std::uint32_t heldAge = 512; ///< frames of the interface until a held one is decided
    static constexpr std::int64_t heldTime = 10000000000; ///< ns until one of no stream is decided
    static constexpr std::uint32_t interfaces = 256; ///< as many as `receivedFrame_t::interface` can number
    static constexpr std::uint32_t streams = 64;     ///< at most 254
    static constexpr std::uint32_t remoteWindow = 512;
    static constexpr std::uint32_t remoteChain = 8;        ///< remote frames in a row that found a stream
    static constexpr std::uint32_t successorFrames = 1024; ///< minimum frames of a successor
    static constexpr std::int64_t silence = 1000000000;    ///< ns without a frame: the stream is silent
    static constexpr std::int64_t nsPerFrame = 1000;       ///< no bus carries frames faster than this
};
