#pragma once

#include "libqvcheck/cause.h"
#include "libqvcheck/receivedframe.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

/// What can be wrong, in the order of the allow list.
enum findingKind_t : std::uint8_t {
    FK_LOST,
    FK_REPEATED,
    FK_REORDERED,
    FK_LATE, ///< came after it was given up as lost
    FK_CORRUPTED,
    FK_UNINJECTED, ///< intact although the sender was to corrupt it
    FK_FORMAT,     ///< not FD, not 64 bytes or no bit rate switch, although demanded
    FK_RESTART,    ///< the counter went back
    FK_JUMP,       ///< the counter advanced further than a bus can carry frames
    FK_STRAY,      ///< a sound frame of a stream's key that fits no place of it
    FK_GAP,        ///< a stream was silent for too long
    FK_ABSENT,     ///< a demanded stream was never seen
    FK_SURPLUS,    ///< frames beyond the demanded number
    FK_UNANSWERED,
    FK_SLOW,    ///< an answer took too long
    FK_EARLY,   ///< an answer came before its frame
    FK_PACE,    ///< the gap between frames is not the demanded one
    FK_OVERRUN, ///< frames that this host or the logger lost
    FK_FOREIGN, ///< frames of no pattern
    FK_NUM,
};

/// Findings by kind: frames; FK_ABSENT: streams; FK_GAP, FK_PACE: cases.
typedef std::array<std::uint64_t, FK_NUM> findingCounts_t;

/// The name of a kind as in the command line and the reports: "lost".
std::string_view findingName(findingKind_t kind);

/// The kind with that name; nothing if there is none.
std::optional<findingKind_t> findingKind(std::string_view name);

/// How a corrupted frame differs from the one that was sent.
enum damage_t : std::uint8_t {
    DT_ONE_BIT,
    DT_INVERTED, ///< one byte, all bits
    DT_ONE_BYTE,
    DT_BYTES,      ///< several bytes
    DT_IDENTIFIER, ///< the identifier alone
    DT_WIDTH,      ///< the extended flag, and perhaps more
    DT_SHORTENED,
    DT_MIXED, ///< counter and run are each sound, but of two different frames
};

/// One payload byte that differs from what was sent.
struct differingByte_t {
    std::uint8_t index;
    std::uint8_t got;
    std::uint8_t wanted;
};

/// What a finding of FK_CORRUPTED or FK_STRAY saw. An answer is shown with its complement undone.
struct evidence_t {
    static constexpr std::size_t mostBytes = 16; ///< a frame with more differences is never placed

    std::uint32_t identifier; ///< what the identifier says: the counter's low 11 or 29 bits
    std::uint32_t counter;    ///< what the counter bytes say
    std::uint8_t run;         ///< what most run bytes say: the frame's number modulo 256
    bool extended;            ///< the identifier has 29 bits
    damage_t damage;
    std::uint8_t length;    ///< payload bytes received
    std::uint8_t differing; ///< number of entries in `bytes`
    std::array<differingByte_t, mostBytes> bytes;
};

/// One thing that is wrong, reported once it is settled. Plain; owns nothing. Fields that a kind does not
/// mention are zero.
struct finding_t {
    findingKind_t kind;
    std::uint8_t interface; ///< index into the run's InterfaceTable; FK_ABSENT: meaningless
    bool injected;          ///< FK_CORRUPTED: never; counted separately. FK_LOST: was to be corrupted
    bool began;             ///< FK_RESTART: the sender started over, at its first frame
    std::uint16_t stream;   ///< 1 for s1; 0 for none
    std::int64_t time;      ///< ns since the first frame of the run, on a clock that never goes back
    std::int64_t before;    ///< FK_LOST, FK_GAP: time of the stream's previous frame, as `time`
    /// ns. FK_LOST, FK_GAP: the silence. FK_REPEATED: since the first arrival; below 0: unknown.
    /// FK_REORDERED, FK_LATE: how late. FK_SLOW, FK_EARLY: the round trip. FK_PACE: the mean gap, or the one
    /// gap outside the jitter.
    std::int64_t span;
    std::uint64_t count;  ///< frames
    std::uint64_t extent; ///< FK_REORDERED, FK_LATE: frames that wrongly came before it
    /// FK_RESTART, FK_JUMP: the new counter. FK_ABSENT: the demanded identifier in SocketCAN form. FK_GAP:
    /// the highest counter before the silence. Else the first counter.
    std::uint32_t first;
    std::uint32_t last;           ///< FK_RESTART, FK_JUMP: the highest counter before. Else the last counter.
    lossShares_t causes;          ///< FK_LOST
    evidence_t evidence;          ///< FK_CORRUPTED, FK_STRAY
    const receivedFrame_t* frame; ///< the frame as read, valid during the call; null: none
};
