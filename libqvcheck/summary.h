#pragma once

#include "libqvcheck/cause.h"
#include "libqvcheck/finding.h"
#include "libqvcheck/histogram.h"
#include "libqvcheck/series.h"

#include <array>
#include <cstdint>
#include <vector>

/// What a stream's frames are.
enum streamRole_t : std::uint8_t {
    SR_DIRECT,
    SR_ANSWER,
    SR_REMOTE, ///< remote frames: judged by the identifier only
};

/// A slot of a stream's series.
struct streamSlot_t {
    std::int64_t longestGap; ///< ns
    std::uint32_t frames;

    void merge(const streamSlot_t& other) {
        frames += other.frames;
        longestGap = longestGap < other.longestGap ? other.longestGap : longestGap;
    }
};

/// A slot of the run's series: frames with findings in it, over all streams.
struct findingSlot_t {
    std::uint32_t lost;    ///< on the way
    std::uint32_t overrun; ///< lost to this host or the logger
    std::uint32_t repeated;
    std::uint32_t reordered;
    std::uint32_t corrupted; ///< not as demanded
    std::uint32_t injected;

    void merge(const findingSlot_t& other) {
        lost += other.lost;
        overrun += other.overrun;
        repeated += other.repeated;
        reordered += other.reordered;
        corrupted += other.corrupted;
        injected += other.injected;
    }
};

/// Counts of one stream or of several. Always: expected = intact + corrupted + lost + open.
struct totals_t {
    std::uint64_t expected;
    std::uint64_t intact;
    std::uint64_t corrupted; ///< injected ones included
    std::uint64_t lost;      ///< including those lost by this host
    std::uint64_t open;      ///< missing, not yet given up
    std::uint64_t repeated;
    std::uint64_t corruptedRepeats;
    std::uint64_t reordered;
    std::uint64_t overtaken; ///< gaps that were filled later, that is frames that came too early
    std::uint64_t late;
    std::uint64_t stray;
    std::uint64_t injected; ///< corrupted as demanded, or as the recognised period predicts
    std::uint64_t overrun;  ///< those of `lost` that are this host's or the logger's

    /// Frames received.
    std::uint64_t received() const { return intact + corrupted + repeated + corruptedRepeats + late + stray; }

    totals_t& operator+=(const totals_t& other);
    totals_t& operator-=(const totals_t& other);
};

/// Frames that the sender corrupts on purpose.
struct injectionSummary_t {
    std::uint32_t period;  ///< one in so many frames; 0: neither demanded nor recognised
    bool told;             ///< demanded; otherwise recognised
    std::uint64_t found;   ///< exactly the scheduled byte inverted; recognised: those that fit
    std::uint64_t missing; ///< arrived intact
    std::uint64_t lost;
    std::uint64_t damagedOtherwise;
};

/// One stream, with all its runs.
struct streamSummary_t {
    std::uint16_t number; ///< 1 for s1
    std::uint8_t interface;
    streamRole_t role;
    std::uint8_t width;  ///< bits of the identifier, 11 or 29
    std::uint8_t length; ///< bytes of payload
    bool fd;
    bool own; ///< some frames were sent by this host
    bool startKnown;
    bool ambiguous; ///< another stream with the same low byte is within reach
    bool demanded;
    bool orderedByIdentifier; ///< frames were reordered, all of them at the identifier's wrap
    std::uint32_t start;      ///< the sender's first counter; only its low byte unless `startKnown`
    std::uint32_t first;      ///< lowest counter of the last run
    std::uint32_t last;       ///< highest counter of the last run
    totals_t totals;
    std::uint64_t maxExtent;  ///< of reordered frames, in frames
    std::int64_t maxLateTime; ///< ns
    std::uint64_t restarts;
    std::uint64_t jumps;
    std::uint64_t surplus;
    std::uint64_t wrongFormat;
    std::uint64_t follows; ///< lost answers to frames that were lost themselves
    injectionSummary_t injection;
    lossShares_t causes;
    std::int64_t lastTime; ///< ns since the first frame of the run
    const Histogram* gaps; ///< between frames that are consecutive in both counter and arrival
    bool rated;            ///< the pace is demanded and there are gaps: `ratePpm` is valid
    double ratePpm;        ///< deviation of the mean gap from the demanded one
    double jitter;         ///< ns, RFC 3550; below 0: the sender's spacing is unknown
    const Series<streamSlot_t>* series;
};

/// A stream and the answers to it.
struct pairSummary_t {
    std::uint16_t direct; ///< stream numbers
    std::uint16_t answers;
    std::uint64_t answered;
    std::uint64_t unanswered;
    std::uint64_t early;
    std::uint64_t slow;
    std::uint64_t echoedDamage; ///< answers damaged exactly as their frames were
    std::uint64_t unseen;       ///< answered frames that this host missed
    bool queueHint;             ///< round trips rose before answers went missing: a full receive queue
    const Histogram* roundTrips;
};

/// What happened to a stream in an interval.
struct intervalSummary_t {
    std::uint16_t stream;
    std::uint8_t interface;
    std::int64_t begin; ///< ns since the first frame of the run
    std::int64_t end;
    std::uint64_t frames; ///< received
    totals_t totals;      ///< differences, except `open`, which is the state at the end
    std::uint64_t gapCount;
    std::int64_t gapP99; ///< ns
    std::int64_t gapMax;
};

/// The whole run.
struct summary_t {
    std::uint64_t frames;             ///< read, of any kind
    std::uint64_t pattern;            ///< of streams: intact, corrupted, repeated, late and stray
    std::uint64_t foreign;            ///< data frames of no pattern
    std::uint64_t foreignIdentifiers; ///< distinct ones; a lower bound if `manyForeignIdentifiers`
    bool manyForeignIdentifiers;
    bool streamsLeft; ///< frames looked like a pattern but founded no stream
    std::uint64_t tooShort;
    std::uint64_t remote; ///< of no stream
    std::uint64_t errorFrames;
    std::uint64_t xl;
    std::uint64_t furtherStreams; ///< pattern frames of streams for which there was no room
    std::uint64_t clockSteps;
    std::uint64_t held;       ///< not yet decided; 0 at the end
    std::uint64_t dropped;    ///< frames lost by the sources themselves
    std::int64_t firstStamp;  ///< of the first frame, on its source's clock; receivedFrame_t::noTime: none
    std::int64_t duration;    ///< ns from the first to the last frame
    findingCounts_t findings; ///< FK_FOREIGN: `foreign`, `tooShort`, `remote` and `xl` together
    std::vector<streamSummary_t> streams;
    std::vector<pairSummary_t> pairs;
    const Series<findingSlot_t>* series;
};
