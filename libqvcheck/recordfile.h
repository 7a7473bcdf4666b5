#pragma once

#include "libqvcheck/framesource.h"
#include "libqvcheck/inputblocks.h"
#include "libqvcheck/inputcounts.h"
#include "libqvtrace/canexttracemessage.h"
#include "libqvtrace/cantracemessage.h"
#include "libqvtrace/record.h"

/// Frames from trace records (docs/trace-record.md), both CAN kinds; sound records of other kinds are passed
/// over. Channel n is the interface "chn".
class RecordFile : public FrameSource {
public:
    /// All three outlive it.
    RecordFile(InputBlocks& _input, InterfaceTable& _interfaces, inputCounts_t& _counts)
        : input(_input),
          interfaces(_interfaces),
          counts(_counts) {}

    /// Reads from what `input` has buffered. 0: it must be filled first.
    std::size_t read(receivedFrame_t* frames, std::size_t n) override;

private:
    bool readRecord(receivedFrame_t& frame);
    bool take(const record::view_t& view, receivedFrame_t& frame);

    InputBlocks& input;
    InterfaceTable& interfaces;
    inputCounts_t& counts;
    CANExtTraceMessage message; ///< what bodies are read into
    CANTraceMessage older;
};
