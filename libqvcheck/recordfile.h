#pragma once

#include "libqvcheck/recordingformat.h"
#include "libqvtrace/canexttracemessage.h"
#include "libqvtrace/cantracemessage.h"
#include "libqvtrace/record.h"

/// Frames from trace records (docs/trace-record.md), both CAN kinds; sound records of other kinds are
/// skipped. Channel n is the interface "chn".
class RecordFile : public RecordingFormat {
public:
    using RecordingFormat::RecordingFormat;

    std::size_t read(receivedFrame_t* frames, std::size_t n) override;

private:
    bool readRecord(receivedFrame_t& frame);
    bool take(const record::view_t& view, receivedFrame_t& frame);

    CANExtTraceMessage message; ///< bodies are parsed into these
    CANTraceMessage older;
};
