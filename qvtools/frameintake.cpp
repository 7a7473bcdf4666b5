#include "qvtools/frameintake.h"

#include "libqvcheck/cansocket.h"

#include <algorithm>

#include <linux/can.h>

void FrameIntake::take(const receivedFrame_t* frames, std::size_t n) {
    const receivedFrame_t* const end = frames + n;
    for (const receivedFrame_t* frame = frames; frame != end; ++frame) {
        if (isOfInterest(*frame)) {
            judge.judge(frames, static_cast<std::size_t>(frame + 1 - frames));
            tellOthers(*frame);
            frames = frame + 1;
        }
    }
    judge.judge(frames, static_cast<std::size_t>(end - frames));
}

/// Frames that concern only the judge are passed to it in batches.
bool FrameIntake::isOfInterest(const receivedFrame_t& frame) const {
    return dump != nullptr || (frame.canId & CAN_ERR_FLAG) != 0 || frame.dropped > 0;
}

void FrameIntake::tellOthers(const receivedFrame_t& frame) {
    if (dump != nullptr) {
        dump->frame(frame, judge.elapsed(frame.interface, frame.time));
    }
    if (host != nullptr) {
        tellHost(frame);
    }
}

void FrameIntake::tellHost(const receivedFrame_t& frame) {
    if (frame.dropped > 0) {
        host->droppedBefore(frame);
    }
    if ((frame.canId & CAN_ERR_FLAG) != 0) {
        host->errorFrame(frame, judge.arrivals(), judge.elapsed(frame.interface, frame.time));
    }
}

void FrameIntake::takeDrops(LiveInputs& inputs, std::int64_t time) {
    inputs.takeDrops([this, time](std::uint8_t interface, std::uint32_t n) {
        host->queueDropped(interface, n);
        causes.dropped(interface, judge.arrivals() + 1, time, n);
        if (dump != nullptr) {
            dump->droppedBehind(interfaces.name(interface), n);
        }
    });
}

void FrameIntake::takeDrops(const Recordings& recordings) {
    const std::uint64_t n = std::min<std::uint64_t>(recordings.counts().waiting, UINT32_MAX);
    if (n > 0) {
        causes.dropped(Causes::EVERY_INTERFACE, judge.arrivals() + 1, 0, static_cast<std::uint32_t>(n));
        if (dump != nullptr) {
            dump->droppedBehind(anyInterface, n);
        }
    }
}
