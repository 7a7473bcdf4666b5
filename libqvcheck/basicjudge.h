#pragma once

#include "libqvcheck/demultiplexer.h"
#include "libqvcheck/judge.h"
#include "libqvcheck/remotestreams.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

/// The judge for any limits. See `Judge` for the contract.
template<typename Limits>
class BasicJudge {
public:
    BasicJudge(const demands_t& _demands, FindingSink& sink, LossBlame* blame)
        : demands(_demands),
          reporter(sink, blame),
          streamDemands(demands, reporter),
          demultiplexer(demands, reporter, foreign),
          remote(demands, reporter, demultiplexer.streams(), demultiplexer.streamFounder(),
                 demultiplexer.frameJoiner()) {}
    BasicJudge(const BasicJudge&) = delete;
    BasicJudge& operator=(const BasicJudge&) = delete;

    void watch(FrameWatcher* watcher) { reporter.watch(watcher); }

    void judge(const receivedFrame_t* frames, std::size_t n) {
        while (n > 0) {
            interface_type& in = interfaceOf(*frames);
            const std::uint8_t before = in.latest;
            const bool alone = judge(in, *frames) && in.latest == before; // no other stream in between
            const std::size_t taken = n > 1 && alone ? 1 + takeRun(in, frames + 1, n - 1) : 1;
            frames += taken;
            n -= taken;
        }
    }

    void judge(const receivedFrame_t& frame) { judge(&frame, 1); }

    void settle(std::int64_t now) {
        for (const auto& in : interfaces) {
            if (in != nullptr) {
                const std::int64_t time = in->clock.timeAt(now);
                settled = std::max(settled, time);
                demultiplexer.settle(*in, time);
            }
        }
        demultiplexer.pairs().advance(now);
    }

    void finish() {
        for (const auto& in : interfaces) {
            if (in != nullptr) {
                demultiplexer.decideAll(*in);
            }
        }
        remote.finish();
        demultiplexer.finish();
        demultiplexer.pairs().finish();
        // Events after the last frame explain frames that are missing there.
        demultiplexer.close({latest(), count + 1});
        tellAbsent();
    }

    std::uint64_t arrivals() const { return count; }

    std::int64_t elapsed(std::uint8_t interface, std::int64_t stamp) const {
        return interfaces[interface] != nullptr ? interfaces[interface]->clock.timeAt(stamp) : latest();
    }

    std::int64_t lastPatternTime() const {
        std::int64_t last = -1;
        for (const Stream<Limits>* const s : demultiplexer.streams().all()) {
            last = std::max(last, s->last.time);
        }
        return last;
    }

    bool complete() const {
        std::size_t done = 0;
        for (const Stream<Limits>* const s : demultiplexer.streams().all()) {
            if (streamDemands.countsFrames(*s)) {
                if (ahead(s->window.next(), streamDemands.endOf(*s)) < 0) {
                    return false;
                }
                ++done;
            }
        }
        return done > 0 && done >= demands.ids.size();
    }

    totals_t totals() const {
        totals_t sum{};
        for (const Stream<Limits>* const s : demultiplexer.streams().all()) {
            sum += s->totals();
        }
        return sum;
    }

    std::vector<intervalSummary_t> interval() {
        std::vector<intervalSummary_t> list;
        const std::int64_t end = latest();
        for (Stream<Limits>* const s : streamsByNumber()) {
            if (s->interval != nullptr && s->named) {
                list.push_back(s->takeInterval(intervalBegin, end));
            }
        }
        intervalBegin = end;
        return list;
    }

    findingCounts_t findings() const {
        findingCounts_t counts = reporter.counts();
        counts[FK_FOREIGN] += foreign.frames() + remote.frames() + tooShort + xl;
        return counts;
    }

    summary_t summary() const {
        summary_t s{};
        s.frames = count;
        s.foreign = foreign.frames();
        s.foreignIdentifiers = foreign.identifiers();
        s.manyForeignIdentifiers = foreign.more();
        s.streamsLeft = demultiplexer.sawPatternWithoutStream();
        s.tooShort = tooShort;
        s.remote = remote.frames();
        s.held = remote.held();
        s.errorFrames = errors;
        s.xl = xl;
        s.furtherStreams = demultiplexer.furtherFrames();
        s.dropped = reporter.framesDropped();
        s.firstStamp = firstStamp;
        s.duration = latest();
        s.findings = findings();
        s.series = &reporter.series();
        addInterfaces(s);
        addStreams(s);
        demultiplexer.pairs().addTo(s);
        return s;
    }

    const StreamTable<Limits>& streams() const { return demultiplexer.streams(); }

private:
    using interface_type = interface_t<Limits>;
    static constexpr std::uint8_t shortest = 4; // the counter

    interface_type& interfaceOf(const receivedFrame_t& frame) {
        auto& in = interfaces[frame.interface];
        if (in == nullptr) {
            enter(in, frame);
        }
        return *in;
    }

    /// Returns whether the frame is exactly the one that a steady stream expects.
    bool judge(interface_type& in, const receivedFrame_t& frame) {
        if (in.clock.read(frame.time, frame.leftOut)) {
            distrustClocks();
        }
        ++in.frames;
        const arrivalTime_t at = {in.clock.time(), ++count};
        if (frame.dropped > 0 || demultiplexer.mayExpire(in, at.time)) {
            catchUp(in, frame, at);
        }
        const bool steady = demultiplexer.takeNext(in, frame, at);
        if (!steady) {
            judgeOther(in, frame, at);
        }
        return steady;
    }

    /// A clock step affects the host: frames still to come from other interfaces have it, too.
    [[gnu::cold]] void distrustClocks() {
        for (const auto& in : interfaces) {
            if (in != nullptr) {
                in->clock.distrust();
            }
        }
    }

    // Code that few frames need is kept out of `judge`, to keep its stack frame small.

    [[gnu::noinline]] std::size_t takeRun(interface_type& in, const receivedFrame_t* frames, std::size_t n) {
        const std::size_t taken = demultiplexer.takeRun(in, frames, n);
        count += taken;
        return taken;
    }

    [[gnu::noinline, gnu::cold]] void enter(std::unique_ptr<interface_type>& in,
                                            const receivedFrame_t& frame) {
        if (firstStamp == receivedFrame_t::noTime) {
            firstStamp = frame.time;
        }
        in = std::make_unique<interface_type>(frame.interface, frame.time, startOf(frame));
        demultiplexer.enter(*in);
    }

    [[gnu::noinline]] void catchUp(interface_type& in, const receivedFrame_t& frame, arrivalTime_t at) {
        if (frame.dropped > 0) {
            tellDropped(in, frame, at);
        }
        if (demultiplexer.mayExpire(in, at.time)) {
            demultiplexer.expire(in, at.time);
        }
    }

    /// The time at which an interface begins, derived from the stamps of the first one.
    std::int64_t startOf(const receivedFrame_t& frame) const {
        std::int64_t since = 0;
        const bool known =
            frame.time != receivedFrame_t::noTime && !__builtin_sub_overflow(frame.time, firstStamp, &since);
        const std::int64_t hour = 3600000000000;
        const std::int64_t now = latest();
        return known && since > 0 && since < now + hour ? since : now;
    }

    void tellDropped(interface_type& in, const receivedFrame_t& frame, const arrivalTime_t& at) {
        if (!frame.leftOut) {
            reporter.dropped(frame.interface, at.number, at.time, frame.dropped);
            return;
        }
        demultiplexer.leaveOut(in, frame.dropped);
    }

    /// How far the run has got on any interface.
    std::int64_t latest() const {
        std::int64_t time = settled;
        for (const auto& in : interfaces) {
            time = in != nullptr ? std::max(time, in->clock.time()) : time;
        }
        return time;
    }

    [[gnu::noinline]] void judgeOther(interface_type& in, const receivedFrame_t& frame, arrivalTime_t at) {
        if (frame.xl || (frame.canId & CAN_ERR_FLAG) != 0) {
            countSpecial(frame);
        } else if ((frame.canId & CAN_RTR_FLAG) != 0) {
            remote.judge(in, frame, at);
        } else if (frame.length < shortest) {
            ++tooShort;
            reporter.frame(frame, FT_TOO_SHORT);
        } else {
            demultiplexer.judge(in, frame, at);
        }
    }

    void countSpecial(const receivedFrame_t& frame) {
        ++(frame.xl ? xl : errors);
        reporter.frame(frame, frame.xl ? FT_XL : FT_ERROR);
    }

    void tellAbsent() {
        for (std::size_t i = 0; i < demands.ids.size(); ++i) {
            const auto& all = demultiplexer.streams().all();
            const bool seen = std::any_of(all.begin(), all.end(), [i](const Stream<Limits>* s) {
                return s->demand == static_cast<int>(i);
            });
            if (!seen) {
                finding_t f{};
                f.kind = FK_ABSENT;
                f.time = latest();
                f.count = 1;
                f.first = demands.ids[i];
                f.last = f.first;
                reporter.finding(f);
            }
        }
    }

    void addInterfaces(summary_t& s) const {
        for (const auto& in : interfaces) {
            if (in != nullptr) {
                s.clockSteps += in->clock.steps();
                s.held += in->held.waiting();
            }
        }
    }

    void addStreams(summary_t& sum) const {
        for (const Stream<Limits>* const s : streamsByNumber()) {
            sum.pattern += s->counts.received();
            sum.held += s->streak;
            sum.streams.push_back(s->summary());
            streamDemands.rate(*s, sum.streams.back());
        }
    }

    std::vector<Stream<Limits>*> streamsByNumber() const {
        std::vector<Stream<Limits>*> list = demultiplexer.streams().all();
        std::sort(list.begin(), list.end(),
                  [](const auto* a, const auto* b) { return a->number < b->number; });
        return list;
    }

    const demands_t demands;
    ForeignFrames foreign;
    Reporter reporter;
    StreamDemands<Limits> streamDemands;
    Demultiplexer<Limits> demultiplexer;
    RemoteStreams<Limits> remote;
    std::array<std::unique_ptr<interface_type>, Limits::interfaces> interfaces;
    std::uint64_t count = 0;
    std::int64_t firstStamp = receivedFrame_t::noTime;
    std::int64_t settled = 0; ///< the latest time at which nothing was left to read
    std::int64_t intervalBegin = 0;
    std::uint64_t tooShort = 0;
    std::uint64_t errors = 0;
    std::uint64_t xl = 0;
};
