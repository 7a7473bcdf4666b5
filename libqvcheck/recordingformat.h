#pragma once

#include "libqvcheck/framesource.h"
#include "libqvcheck/inputblocks.h"
#include "libqvcheck/inputcounts.h"

/// Base of the readers of recordings, one per format.
class RecordingFormat : public FrameSource {
public:
    /// All three outlive it.
    RecordingFormat(InputBlocks& _input, InterfaceTable& _interfaces, inputCounts_t& _counts)
        : input(_input),
          interfaces(_interfaces),
          counts(_counts) {}

    /// Reads from what `input` has buffered. 0: it must be filled first.
    std::size_t read(receivedFrame_t* frames, std::size_t n) override = 0;

protected:
    InputBlocks& input;
    InterfaceTable& interfaces;
    inputCounts_t& counts;
};
