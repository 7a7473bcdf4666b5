#pragma once

#include "libqvcheck/histogram.h"
#include "libqvcheck/injection.h"
#include "libqvcheck/series.h"
#include "libqvcheck/stampclock.h"
#include "libqvcheck/summary.h"
#include "libqvcheck/window.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

/// What distinguishes streams besides their counters. Frames with different keys never belong to the same
/// stream.
struct streamKey_t {
    std::uint8_t interface;
    streamRole_t role;
    bool extended;
    std::uint8_t length;
    std::uint8_t tag; ///< low byte of the first counter

    std::uint32_t packed() const {
        return std::uint32_t{interface} << 24 | std::uint32_t{role} << 16 | (extended ? 1U << 15 : 0U) |
               std::uint32_t{length} << 8 | tag;
    }
    std::uint32_t idMask() const { return extended ? CAN_EFF_MASK : CAN_SFF_MASK; }
    /// The counter is that of a sender's first frame: its run begins at 0 and the counter is an identifier.
    bool startsAt(std::uint32_t counter) const {
        return role != SR_REMOTE && static_cast<std::uint8_t>(counter) == tag && counter <= idMask();
    }
    /// The same except for the tag.
    bool sameClass(const streamKey_t& other) const { return ((packed() ^ other.packed()) >> 8) == 0; }
    bool operator==(const streamKey_t& other) const { return packed() == other.packed(); }
};

/// A damaged frame, kept to recognise copies of it and the echo of its damage.
struct hurt_t {
    std::uint32_t counter;
    std::uint8_t differing; ///< 0: none
    differingByte_t byte;   ///< the first

    bool sameAs(std::uint32_t other, const evidence_t& evidence) const {
        return counter == other && differing > 0 && differing == evidence.differing &&
               byte.index == evidence.bytes[0].index && byte.got == evidence.bytes[0].got;
    }
};

/// Frames that break a demand. The first one of a run is reported when it comes, the others at the end.
struct breach_t {
    std::uint64_t frames = 0;
    std::uint64_t told = 0;

    void operator+=(const breach_t& other) {
        frames += other.frames;
        told += other.told;
    }
};

/// A frame to be reported as repeated unless three in a row show that the stream restarted.
struct repeat_t {
    receivedFrame_t frame;
    std::uint32_t counter;
    arrivalTime_t at;
};

template<typename Limits>
struct Stream;

/// A stream and the answers to it.
template<typename Limits>
struct pair_t {
    pair_t(Stream<Limits>& _direct, Stream<Limits>& _answers);

    Stream<Limits>* direct;
    Stream<Limits>* answers;
    std::uint32_t next;             ///< counters below it are decided
    std::uint32_t firstMissing = 0; ///< of the current run of unanswered frames
    std::uint32_t lastMissing = 0;
    std::uint64_t missing = 0;        ///< number of its frames
    std::int64_t longest = 0;         ///< longest round trip since the last such run
    std::uint64_t excused = 0;        ///< answers lost by this host, not yet met in a run
    bool apart = false;               ///< one half passed its account on, the other may have to
    streamRole_t awaited = SR_ANSWER; ///< the other half, while `apart`
    std::int64_t since = 0;           ///< since when
    pairSummary_t counts = {};
    Histogram roundTrips;
};

/// One run of a sender, as its frames show it on one interface. Plain state; `Booking` and `Losses` do the
/// counting, the demultiplexer decides what belongs to it.
template<typename Limits>
struct Stream {
    Stream(const streamKey_t& _key, std::uint32_t begin, std::uint32_t errorPeriod)
        : key(_key),
          form(_key.interface, _key.role, _key.extended, _key.length),
          window(begin),
          first(begin),
          injection(errorPeriod, _key.length) {}

    /// The counter with this frame number modulo 256, or this identifier, that is nearest to the next
    /// counter.
    std::uint32_t nearest(std::uint32_t value, std::uint32_t modulus) const {
        const std::uint32_t up = (value - window.next()) & (modulus - 1);
        return window.next() + (up < modulus / 2 ? up : up - modulus);
    }

    std::uint32_t idValues() const { return key.idMask() + 1; }

    bool startKnown() const { return startDemanded || key.startsAt(first); }

    /// The run began like a sender, or where this one did, so it is no repeated block.
    bool beganLike(const Stream& sender) const {
        return key.startsAt(first) || (sender.startKnown() && first - sender.first < Limits::step);
    }

    /// No lower counter belongs to the stream.
    std::uint32_t floor() const { return startKnown() ? first : first - Limits::near; }

    /// In the window, and not below the floor.
    bool reaches(std::uint32_t counter) const {
        const std::int32_t d = ahead(counter, window.next());
        constexpr auto size = static_cast<std::int32_t>(Limits::window);
        return d >= -size && d < size && (d >= 0 || empty || ahead(counter, floor()) >= 0);
    }
    bool has(std::uint32_t counter) const {
        return window.reaches(counter) && !empty && ahead(counter, first) >= 0 && window.arrived(counter);
    }

    /// Where the last damaged frame with this counter is kept, unless a later one took its place.
    hurt_t& hurtOf(std::uint32_t counter) { return hurts[counter % hurts.size()]; }
    const hurt_t& hurtOf(std::uint32_t counter) const { return hurts[counter % hurts.size()]; }

    /// Whether a frame that came then could have had this counter of the window: the stream was less than
    /// 128 frames from it, as far as is known. Frames that are read together may have the same time, so only
    /// what came later is known not to have come before.
    bool couldHave(std::uint32_t counter, const arrivalTime_t& at) {
        constexpr std::uint32_t most = 2 * Limits::near;
        const gap_t* const gap = window.gapOf(counter);
        if (gap != nullptr && at.number >= gap->opened.number + most) {
            return false;
        }
        std::uint32_t next = window.next();
        while (ahead(next, counter - most) > 0 && ahead(next, first) > 0 &&
               !(has(next - 1) && window.timeOf(next - 1) <= at.time)) {
            --next;
        }
        return ahead(next, counter - most) > 0;
    }

    /// Takes over the account of an earlier run of the same sender; `goesOn`: it is the same run.
    void inherit(const Stream& earlier, bool goesOn);

    streamSummary_t summary() const;

    /// What happened since the last call.
    intervalSummary_t takeInterval(std::int64_t begin, std::int64_t end);

    /// The counts, including those of the injection.
    totals_t totals() const {
        totals_t t = counts;
        t.injected = injection.found();
        return t;
    }

    /// Whether it is exactly the next frame.
    bool isNext(const receivedFrame_t& frame) const {
        const std::uint32_t counter = window.next();
        return form.fits(frame, counter, static_cast<std::uint8_t>(counter - key.tag));
    }

    /// The next frame only needs counting.
    bool isSteady() const { return steady && ahead(steadyUntil, window.next()) > 0; }

    std::int64_t meanGap() const { return static_cast<std::int64_t>(gaps.mean()); }

    streamKey_t key;
    std::uint8_t nextInTable = 0; ///< slot of the next stream in the chain of its key
    std::uint8_t slot = 0;
    PatternForm form;
    Window<Limits> window;
    std::uint32_t first; ///< lowest counter; provisional while `empty`
    bool empty = true;
    int demand = -1;            ///< index of the demanded identifier, below 0: none
    bool startDemanded = false; ///< and this run's first frame has it

    arrivalTime_t born = {};       ///< the first frame
    arrivalTime_t lastRecord = {}; ///< the last frame that was the highest so far
    arrivalTime_t last = {};       ///< the last frame of any kind
    bool atRecord = false;         ///< that frame was the highest
    bool silenceTold = false;
    std::uint32_t leftOut = 0;   ///< frames of the interface omitted by the recording since
    std::uint64_t lastSteps = 0; ///< steps of the interface's clock up to it
    std::uint64_t frames = 0;    ///< of any kind; valid while not `named`
    std::uint64_t unique = 0;    ///< counters that arrived

    std::uint16_t number = 0; ///< of its name; that of the likely predecessor while not `named`
    bool named = false;
    bool ambiguous = false;
    bool own = false;
    bool fd = false;
    bool steady = false;               ///< named, and its next frames are just counted
    std::uint32_t steadyUntil = 0;     ///< up to this one
    const StampClock* clock = nullptr; ///< that of the interface
    pair_t<Limits>* pair = nullptr;    ///< with the other direction
    Stream* parent = nullptr;          ///< whose counters this one repeats, until it is explained
    Stream* child = nullptr;

    totals_t counts = {};
    std::uint64_t reorderedAtWrap = 0;
    std::uint64_t maxExtent = 0;
    std::int64_t maxLateTime = 0;
    std::uint64_t restarts = 0;
    std::uint64_t jumps = 0;
    breach_t surplus;
    breach_t wrongFormat;
    std::uint64_t follows = 0;
    lossShares_t causes = {};
    double jitter = 0;                 ///< ns
    std::array<hurt_t, 64> hurts = {}; ///< by counter
    Injection injection;
    Histogram gaps;
    Series<streamSlot_t> series;

    /// The state at the beginning of an interval; null unless intervals are demanded.
    struct sinceInterval_t {
        totals_t counts = {};
        Histogram gaps;
    };
    std::unique_ptr<sinceInterval_t> interval;

    std::uint32_t streak = 0; ///< entries of `repeats`
    std::array<repeat_t, Limits::chain> repeats = {};
};

template<typename Limits>
pair_t<Limits>::pair_t(Stream<Limits>& _direct, Stream<Limits>& _answers)
    : direct(&_direct),
      answers(&_answers),
      next(_direct.first) {}

template<typename Limits>
void Stream<Limits>::inherit(const Stream& earlier, bool goesOn) {
    counts += earlier.counts;
    demand = earlier.demand;
    own = own || earlier.own;
    fd = fd || earlier.fd;
    ambiguous = ambiguous || earlier.ambiguous;
    reorderedAtWrap += earlier.reorderedAtWrap;
    maxExtent = std::max(maxExtent, earlier.maxExtent);
    maxLateTime = std::max(maxLateTime, earlier.maxLateTime);
    restarts += earlier.restarts;
    jumps += earlier.jumps;
    surplus += earlier.surplus;
    wrongFormat += earlier.wrongFormat;
    follows += earlier.follows;
    for (std::size_t cause = 0; cause < causes.size(); ++cause) {
        causes[cause] += earlier.causes[cause];
    }
    injection.continueFrom(earlier.injection, goesOn);
    injection.leap(window.next() - 1);
    gaps.add(earlier.gaps);
    series.add(earlier.series);
    pair = earlier.pair;
    if (pair != nullptr) {
        (key.role == SR_DIRECT ? pair->direct : pair->answers) = this;
        pair->next = key.role == SR_DIRECT && !goesOn ? first : pair->next;
    }
    if (interval != nullptr) {
        interval->counts += earlier.interval->counts;
        interval->gaps.add(earlier.interval->gaps);
    }
}

template<typename Limits>
intervalSummary_t Stream<Limits>::takeInterval(std::int64_t begin, std::int64_t end) {
    intervalSummary_t i{};
    i.stream = number;
    i.interface = key.interface;
    i.begin = begin;
    i.end = end;
    i.totals = totals();
    i.totals -= interval->counts;
    i.totals.open = counts.open;
    i.frames = i.totals.received();
    i.gapCount = interval->gaps.count();
    i.gapP99 = interval->gaps.percentile(9900);
    i.gapMax = interval->gaps.max();
    interval->counts = totals();
    interval->gaps.clear();
    return i;
}

template<typename Limits>
streamSummary_t Stream<Limits>::summary() const {
    streamSummary_t s{};
    s.number = number;
    s.interface = key.interface;
    s.role = key.role;
    s.width = key.extended ? 29 : 11;
    s.length = key.length;
    s.fd = fd;
    s.own = own;
    s.startKnown = startKnown();
    s.ambiguous = ambiguous;
    s.demanded = demand >= 0;
    s.orderedByIdentifier = counts.reordered > 0 && reorderedAtWrap == counts.reordered;
    s.start = s.startKnown ? first : key.tag;
    s.first = first;
    s.last = window.next() - 1;
    s.totals = totals();
    s.injection = injection.summary();
    s.maxExtent = maxExtent;
    s.maxLateTime = maxLateTime;
    s.restarts = restarts;
    s.jumps = jumps;
    s.surplus = surplus.frames;
    s.wrongFormat = wrongFormat.frames;
    s.follows = follows;
    s.causes = causes;
    s.lastTime = last.time;
    s.gaps = &gaps;
    s.jitter = -1;
    s.series = &series;
    return s;
}
