#pragma once

#include "libqvcheck/demands.h"
#include "libqvcheck/finding.h"
#include "libqvcheck/lossblame.h"
#include "libqvcheck/receivedframe.h"
#include "libqvcheck/summary.h"

#include <cstdint>
#include <memory>
#include <vector>

/// The classification of a frame.
enum taken_t : std::uint8_t {
    FT_IN_ORDER,
    FT_REORDERED,
    FT_LATE,
    FT_REPEATED,
    FT_CORRUPTED,
    FT_INJECTED, ///< corrupted as demanded
    FT_CORRUPTED_REPEAT,
    FT_STRAY,
    FT_FURTHER, ///< pattern, but no room for another stream
    FT_FOREIGN,
    FT_TOO_SHORT,
    FT_REMOTE, ///< a remote frame of no stream
    FT_ERROR,
    FT_XL,
};

/// Receives what the judge finds. Called from within `judge`, `settle` and `finish`.
class FindingSink {
public:
    FindingSink() = default;
    virtual ~FindingSink() = default;
    FindingSink(const FindingSink&) = delete;
    FindingSink& operator=(const FindingSink&) = delete;

    virtual void finding(const finding_t& finding) = 0;

    /// A stream was named. Its counts are those of its first frames.
    virtual void stream(const streamSummary_t& stream, std::int64_t time) = 0;
};

/// Sees every frame and how it was classified; a held frame is passed once it is decided.
class FrameWatcher {
public:
    FrameWatcher() = default;
    virtual ~FrameWatcher() = default;
    FrameWatcher(const FrameWatcher&) = delete;
    FrameWatcher& operator=(const FrameWatcher&) = delete;

    /// `stream` is 0 for none. `counter` is valid only for a frame of a stream.
    virtual void frame(const receivedFrame_t& frame, taken_t taken, std::uint16_t stream,
                       std::uint32_t counter) = 0;
};

/// Judges the test pattern: recognises streams, and reports which frames were lost, repeated, reordered or
/// corrupted. Reads nothing and prints nothing. Memory is bounded; none is allocated after a stream's birth,
/// and `judge` throws only what its sink throws. Used by one thread.
class Judge {
public:
    /// `sink` and `blame` outlive the judge. Without `blame` every loss is attributed to LC_BEFORE, and of
    /// the frames dropped by a source only the number is kept.
    Judge(const demands_t& demands, FindingSink& sink, LossBlame* blame = nullptr);
    ~Judge();
    Judge(const Judge&) = delete;
    Judge& operator=(const Judge&) = delete;

    /// Null: no watcher.
    void watch(FrameWatcher* watcher);

    /// The next `n` frames in the order of arrival; between interfaces any order will do.
    void judge(const receivedFrame_t* frames, std::size_t n);
    void judge(const receivedFrame_t& frame) { judge(&frame, 1); }

    /// Nothing was left to read at this time, on the clock of the frames' stamps: gives up what has waited
    /// longer than the demanded time. Frames do the same for their own interface, so a recording needs no
    /// such call.
    void settle(std::int64_t now);

    /// The end: decides everything that is open. Afterwards only `summary` and `totals` are useful.
    void finish();

    /// Everything counted so far. Pointers in it are valid until the next non-const call.
    summary_t summary() const;

    /// The findings so far, as the verdict counts them; cheap enough for every read.
    findingCounts_t findings() const;

    /// The sums over all streams; cheap enough to display four times a second.
    totals_t totals() const;

    /// What happened since the last call (or the first frame), one entry per named stream. Empty unless the
    /// demands include `intervals`.
    std::vector<intervalSummary_t> interval();

    /// Every demanded stream has its demanded number of frames, including the last one; false without `loop`.
    bool complete() const;

    /// Frames of any kind judged so far, which is the arrival number of the last one.
    std::uint64_t arrivals() const;

    /// A source's stamp, or a time on its clock, as ns since the first frame of the run.
    std::int64_t elapsed(std::uint8_t interface, std::int64_t stamp) const;

    /// When the last frame of a stream came, ns since the first frame of the run; -1 if none has.
    std::int64_t lastPatternTime() const;

private:
    class Core;
    std::unique_ptr<Core> core;
};
