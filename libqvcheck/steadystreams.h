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

    /// Takes the frames that follow one of `takeNext` and continue its stream, as long as they only need
    /// counting; returns how many. Cheaper than one by one, but only worth a try if the stream is alone.
    std::size_t takeRun(stream_t& s, interface_t<Limits>& in, const receivedFrame_t* frames, std::size_t n) {
        if (s.pair != nullptr || s.window.hasGaps() || !in.held.empty() || streamDemands.looksAtGaps() ||
            reporter.isWatched()) {
            return 0;
        }
        n = std::min(n, static_cast<std::size_t>(s.steadyUntil - s.window.next()));
        StampClock clock = in.clock; // a copy that the compiler may keep in registers
        arrivalTime_t at = s.last;
        std::size_t taken = 0;
        for (; taken < n && frames[taken].dropped == 0 && s.isNext(frames[taken]); ++taken) {
            if (!clock.advance(frames[taken].time) || clock.time() >= in.deadline) {
                break;
            }
            const std::int64_t gap = clock.time() - at.time;
            at = {clock.time(), at.number + 1};
            s.gaps.add(gap);
            count(s, frames[taken], at.time, gap);
        }
        in.clock = clock;
        in.frames += taken;
        add(s, taken, at);
        return taken;
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
        count(s, frame, at.time, gap);
        add(s, 1, at);
        s.lastSteps = clockSteps;
        reporter.frame(frame, FT_IN_ORDER, s.number, counter);
    }

    static void count(stream_t& s, const receivedFrame_t& frame, std::int64_t time, std::int64_t gap) {
        s.window.step(time);
        s.own |= frame.own;
        streamSlot_t& slot = s.series.at(time);
        ++slot.frames;
        if (gap > slot.longestGap) {
            slot.longestGap = gap;
        }
    }

    static void add(stream_t& s, std::size_t n, const arrivalTime_t& last) {
        s.counts.expected += n;
        s.counts.intact += n;
        s.unique += n;
        s.last = s.lastRecord = last;
    }

    Reporter& reporter;
    StreamDemands<Limits> streamDemands;
};
