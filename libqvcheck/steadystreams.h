#pragma once

#include "libqvcheck/interface.h"
#include "libqvcheck/streamdemands.h"
#include "libqvcheck/streamtable.h"

#include <algorithm>

/// The fast path of nearly all frames: exactly the frame that a steady stream expects. It takes one
/// comparison and some counting, and books what `Booking` would. Owns nothing. Used by one thread.
template<typename Limits>
class SteadyStreams {
public:
    using stream_t = Stream<Limits>;

    /// Both outlive it.
    SteadyStreams(const demands_t& _demands, Reporter& _reporter)
        : reporter(_reporter),
          streamDemands(_demands, _reporter) {}

    /// Takes the next frame of a steady stream and returns the stream; null: not such a frame, use the normal
    /// path. Does not inform the stream's pair. The table is not a member, as that would cost each frame a
    /// load.
    stream_t* takeNext(const StreamTable<Limits>& table, interface_t<Limits>& in,
                       const receivedFrame_t& frame, const arrivalTime_t& at) {
        stream_t* const s = waitingFor(table, in, frame);
        if (s == nullptr || s->window.pushesGapOut(s->window.next())) {
            return nullptr;
        }
        book(*s, frame, at, in.clock.steps());
        return s;
    }

    /// Decides whether the stream is steady, and up to which frame.
    void check(stream_t& s) const {
        s.steady = s.named && s.atRecord && s.parent == nullptr && s.child == nullptr && s.streak == 0 &&
                   !s.silenceTold && !streamDemands.looksAtEach(s);
        const std::uint32_t next = s.window.next();
        std::int32_t frames = INT32_MAX;
        if (s.injection.known()) {
            frames = ahead(s.injection.nextHit(), next);
        }
        if (streamDemands.countsFrames(s)) {
            frames = std::min(frames, ahead(streamDemands.endOf(s), next));
        }
        s.steadyUntil = next + static_cast<std::uint32_t>(frames);
    }

private:
    /// The stream heard last if it expects exactly this frame, otherwise the only one with the frame's key if
    /// that does; null if there is neither, or it is not steady.
    static stream_t* waitingFor(const StreamTable<Limits>& table, interface_t<Limits>& in,
                                const receivedFrame_t& frame) {
        stream_t* const latest = table.at(in.latest);
        if (latest != nullptr && latest->isNext(frame)) {
            return latest->isSteady() ? latest : nullptr;
        }
        if (frame.length < 5) {
            return nullptr;
        }
        streamKey_t key = {frame.interface, SR_DIRECT, (frame.canId & CAN_EFF_FLAG) != 0, frame.length,
                           static_cast<std::uint8_t>(frame.data[3] - frame.data[4])};
        stream_t* s = table.only(key);
        if (s == nullptr) {
            key.role = SR_ANSWER;
            key.tag = static_cast<std::uint8_t>(-key.tag);
            s = table.only(key);
        }
        if (s == nullptr || !s->isSteady() || !s->isNext(frame)) {
            return nullptr;
        }
        in.latest = s->slot;
        return s;
    }

    void book(stream_t& s, const receivedFrame_t& frame, const arrivalTime_t& at, std::uint64_t clockSteps) {
        const std::uint32_t counter = s.window.next();
        const std::int64_t gap = at.time - s.last.time;
        if (clockSteps == s.lastSteps) {
            streamDemands.gap(s, gap);
        }
        s.window.step(at.time);
        ++s.counts.expected;
        ++s.counts.intact;
        s.own |= frame.own;
        ++s.unique;
        s.last = s.lastRecord = at;
        s.lastSteps = clockSteps;
        streamSlot_t& slot = s.series.at(at.time);
        ++slot.frames;
        if (gap > slot.longestGap) {
            slot.longestGap = gap;
        }
        reporter.frame(frame, FT_IN_ORDER, s.number, counter);
    }

    Reporter& reporter;
    StreamDemands<Limits> streamDemands;
};
