#pragma once

#include "libqvcheck/causes.h"
#include "libqvcheck/dumpreport.h"
#include "libqvcheck/hostmonitor.h"
#include "libqvcheck/judge.h"
#include "libqvcheck/recordings.h"
#include "qvtools/liveinputs.h"

#include <cstddef>
#include <cstdint>

/// Passes each frame read, and the number of those that a source dropped, to everyone concerned.
class FrameIntake {
public:
    /// Everything outlives it. `_host` is null for recordings, `_dump` if no frames are written.
    FrameIntake(const InterfaceTable& _interfaces, Judge& _judge, Causes& _causes, HostWatch* _host,
                DumpReport* _dump)
        : interfaces(_interfaces),
          judge(_judge),
          causes(_causes),
          host(_host),
          dump(_dump) {}

    /// The next `n` frames.
    void take(const receivedFrame_t* frames, std::size_t n);

    /// What the queues refused after the last frame, which came at `time` in ns since the first one.
    void takeDrops(LiveInputs& inputs, std::int64_t time);

    /// What the logger reports as lost after the last frame of the recordings.
    void takeDrops(const Recordings& recordings);

private:
    bool isOfInterest(const receivedFrame_t& frame) const;
    void tellOthers(const receivedFrame_t& frame);
    void tellHost(const receivedFrame_t& frame);

    const InterfaceTable& interfaces;
    Judge& judge;
    Causes& causes;
    HostWatch* const host;
    DumpReport* const dump;
};
