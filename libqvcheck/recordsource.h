#pragma once

#include "libqvcheck/recordfile.h"

#include <cstdint>
#include <string>

/// Frames that arrive at a device file as trace records, such as at a node of qvbus. Never blocks if its
/// descriptor does not: a read returns what is available, 0 if nothing is.
class RecordSource : public FrameSource {
public:
    /// Opens `name` for reading, without waiting for a writer. Returns the descriptor, or -1 with errno set.
    static int open(const std::string& name);

    /// Owns `_fd`. `name` is the interface of all frames.
    RecordSource(int _fd, const std::string& name, InterfaceTable& _interfaces);
    ~RecordSource() override;

    /// Reads its descriptor once, unless the previous call filled all its `n` frames, as then more may be
    /// buffered. The time of a frame is that of its arrival here, on the system clock: an answer's record
    /// carries the time stamp of the frame that it answers.
    std::size_t read(receivedFrame_t* frames, std::size_t n) override;

    int descriptor() const { return fd; }

    /// The other side has closed, or the device failed: nothing more will come.
    bool ended() const { return input.ended(); }

    /// errno of the read that ended it, 0 at the end of input.
    int error() const { return input.error(); }

    /// Bytes so far that were not part of a sound record.
    std::uint64_t passedOver() const { return counts.passedOver; }

private:
    void fill();

    int fd;
    std::uint8_t interface;
    InputBlocks input;
    InterfaceTable channels; ///< ignored: the device is the interface
    inputCounts_t counts;
    RecordFile records{input, channels, counts};
    bool more = false;        ///< `input` may hold complete records
    std::int64_t arrival = 0; ///< of what `input` holds
};
