#pragma once

#include "libqvcheck/demands.h"
#include "libqvcheck/finding.h"
#include "libqvcheck/lossblame.h"
#include "libqvcheck/receivedframe.h"
#include "libqvcheck/summary.h"

#include <cstdint>
#include <memory>
#include <vector>

/// What one frame was taken for.
enum taken_t : std::uint8_t {
    FT_IN_ORDER,
    FT_REORDERED,
    FT_LATE,
    FT_REPEATED,
    FT_CORRUPTED,
    FT_INJECTED, ///< corrupted as the sender was told
    FT_CORRUPTED_REPEAT,
    FT_STRAY,
    FT_FURTHER, ///< pattern, but no room for another stream
    FT_FOREIGN,
    FT_TOO_SHORT,
    FT_REMOTE, ///< a remote frame of no stream
    FT_ERROR,
    FT_XL,
};

/// Takes what the judge finds. Called from within `judge`, `settle` and `finish`.
class FindingSink {
public:
    FindingSink() = default;
    virtual ~FindingSink() = default;
    FindingSink(const FindingSink&) = delete;
    FindingSink& operator=(const FindingSink&) = delete;

    virtual void finding(const finding_t& finding) = 0;

    /// A stream got its name. Its counts are those of its first frames.
    virtual void stream(const streamSummary_t& stream, std::int64_t time) = 0;
};

/// Looks at every frame and what it was taken for; a held frame comes when it is decided.
class FrameWatcher {
public:
    FrameWatcher() = default;
    virtual ~FrameWatcher() = default;
    FrameWatcher(const FrameWatcher&) = delete;
    FrameWatcher& operator=(const FrameWatcher&) = delete;

    /// `stream` is 0 for none. `counter` means something only for a frame of a stream.
    virtual void frame(const receivedFrame_t& frame, taken_t taken, std::uint16_t stream,
                       std::uint32_t counter) = 0;
};

/// Judges the test pattern: recognises streams, and says which frames were lost, repeated, reordered or
/// corrupted. Reads nothing and prints nothing. Bounded memory; none is asked for after a stream's birth, and
/// `judge` throws nothing that its sink does not throw. Used by one thread.
class Judge {
public:
    /// `sink` and `blame` outlive the judge. Without `blame` every loss is LC_BEFORE's, and of the frames
    /// that a source dropped only the number is kept.
    Judge(const demands_t& demands, FindingSink& sink, LossBlame* blame = nullptr);
    ~Judge();
    Judge(const Judge&) = delete;
    Judge& operator=(const Judge&) = delete;

    /// Null: nobody looks.
    void watch(FrameWatcher* watcher);

    /// The next `n` frames in the order of arrival; the order between interfaces is free.
    void judge(const receivedFrame_t* frames, std::size_t n);
    void judge(const receivedFrame_t& frame) { judge(&frame, 1); }

    /// Nothing was left to read at this time (the clock of the frames' stamps): gives up what waits for
    /// longer than the demanded time. Frames give up what they outlast on their own interface, so a recording
    /// needs no such call.
    void settle(std::int64_t now);

    /// The end: decides all that is open. Afterwards only `summary` and `totals` are of use.
    void finish();

    /// Everything counted so far. Pointers in it hold until the next call that is not const.
    summary_t summary() const;

    /// The sums over all streams, cheap enough for a line four times a second.
    totals_t totals() const;

    /// What happened since the last call (or the first frame), a piece for each named stream. Empty unless
    /// the demands say `intervals`.
    std::vector<intervalSummary_t> interval();

    /// Every demanded stream has its demanded number of frames, the last one seen; false without `loop`.
    bool complete() const;

    /// Frames judged so far, of any kind: the arrival number of the last one.
    std::uint64_t arrivals() const;

    /// A stamp of a source, or a time on its clock, as ns since the first frame of the run.
    std::int64_t elapsed(std::uint8_t interface, std::int64_t stamp) const;

    /// When a frame of a stream last came, ns since the first frame of the run; 0 when none has.
    std::int64_t lastPatternTime() const;

private:
    class Core;
    std::unique_ptr<Core> core;
};
