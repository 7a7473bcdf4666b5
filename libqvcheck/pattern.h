#pragma once

#include "libqvcheck/finding.h"
#include "libqvcheck/receivedframe.h"
#include "libqvcheck/summary.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// The identifier that the sender gives the frame with this counter: its low bits, and 1 for 0.
constexpr std::uint32_t patternIdentifier(std::uint32_t counter, bool extended) {
    const std::uint32_t low = counter & (extended ? CAN_EFF_MASK : CAN_SFF_MASK);
    return low == 0 ? 1 : low;
}

/// How far `a` is ahead of `b`; counters wrap at 2^32.
constexpr std::int32_t ahead(std::uint32_t a, std::uint32_t b) {
    return static_cast<std::int32_t>(a - b);
}

/// Their distance in either direction.
constexpr std::uint32_t apart(std::uint32_t a, std::uint32_t b) {
    return a - b < b - a ? a - b : b - a;
}

/// The number of leading payload bytes that an answer inverts and that injected errors walk over: the length
/// code, not the byte count. Intended by the sender.
std::uint8_t walkedBytes(std::uint8_t length);

using runTable_t = std::array<std::uint8_t, 256 + CANFD_MAX_DLEN>;

constexpr runTable_t makeRuns(std::uint8_t flip) {
    runTable_t table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = static_cast<std::uint8_t>(i ^ flip);
    }
    return table;
}

// 0, 1, ... 255, 0, ... 63: any frame's run is a slice of it.
inline constexpr runTable_t runs = makeRuns(0);
inline constexpr runTable_t invertedRuns = makeRuns(0xFF);

constexpr std::size_t counterBytes = 4;

inline std::uint32_t bigEndian(const std::uint8_t* b) {
    return std::uint32_t{b[0]} << 24 | std::uint32_t{b[1]} << 16 | std::uint32_t{b[2]} << 8 | b[3];
}

/// What the frames of a stream, or the answers to it, have in common: everything but the counter.
class PatternForm {
public:
    /// `_length` is at least 5. Remote frames have no payload to identify them by: nothing fits their form.
    PatternForm(std::uint8_t interface, streamRole_t role, bool extended, std::uint8_t _length)
        : idMask(extended ? CAN_EFF_MASK : CAN_SFF_MASK),
          idFlip((extended ? CAN_EFF_FLAG : 0) | (role == SR_ANSWER ? idMask : 0)),
          counterFlip(role == SR_ANSWER ? UINT32_MAX : 0),
          length(role == SR_REMOTE ? UINT8_MAX : _length),
          walked(role == SR_ANSWER ? walkedBytes(_length) : length),
          firstRuns((role == SR_ANSWER ? invertedRuns : runs).data()),
          wholeRun(walked == length ? length - counterBytes : 0) {
        receivedFrame_t mask{};
        receivedFrame_t frame{};
        mask.length = UINT8_MAX;
        mask.interface = UINT8_MAX;
        mask.xl = true;
        frame.length = length;
        frame.interface = interface;
        look(mask, frame);
    }

    /// From now on only frames with the bit rate switch fit.
    void demandSwitch() {
        receivedFrame_t frame{};
        frame.flags = CANFD_BRS;
        look(frame, frame);
    }

    /// Whether this is exactly the frame with this counter and number modulo 256.
    bool fits(const receivedFrame_t& frame, std::uint32_t counter, std::uint8_t run) const {
        const std::uint32_t low = counter & idMask;
        if ((fieldsOf(frame) & lookedAt) != wanted || frame.canId != ((low == 0 ? 1 : low) ^ idFlip) ||
            bigEndian(frame.data) != (counter ^ counterFlip)) {
            return false;
        }
        if (length == 2 * counterBytes) { // a comparison of known length is one instruction
            return std::memcmp(frame.data + counterBytes, firstRuns + run, counterBytes) == 0;
        }
        return wholeRun > 0 ? std::memcmp(frame.data + counterBytes, firstRuns + run, wholeRun) == 0
                            : runFits(frame.data, run);
    }

private:
    /// The fields between identifier and payload plus the first payload byte, for a single comparison.
    static std::uint64_t fieldsOf(const receivedFrame_t& frame) {
        static_assert(offsetof(receivedFrame_t, data) <
                      offsetof(receivedFrame_t, length) + sizeof(std::uint64_t));
        std::uint64_t fields;
        std::memcpy(&fields, reinterpret_cast<const char*>(&frame) + offsetof(receivedFrame_t, length),
                    sizeof fields);
        return fields;
    }

    /// The bits set in `mask` must be as in `frame`, too.
    void look(const receivedFrame_t& mask, const receivedFrame_t& frame) {
        lookedAt |= fieldsOf(mask);
        wanted |= fieldsOf(frame);
    }

    /// For the run of an answer that is only partly inverted.
    bool runFits(const std::uint8_t* data, std::uint8_t run) const;

    std::uint64_t lookedAt = 0; ///< compared bits of `fieldsOf` a frame
    std::uint64_t wanted = 0;
    std::uint32_t idMask;
    std::uint32_t idFlip;
    std::uint32_t counterFlip;
    std::uint8_t length;
    std::uint8_t walked;           ///< leading bytes that an answer inverts; else `length`
    const std::uint8_t* firstRuns; ///< the run up to there
    std::size_t wholeRun;          ///< its bytes if that is all of it, else 0
};

/// A data frame of at least 4 bytes, read as a frame of the pattern or as an answer to one. The four counter
/// bytes, the identifier and the bytes after them (the run) each say which frame it is.
class Reading {
public:
    /// Reads identifier and counter, and checks whether all bytes fit them. `frame` outlives the reading.
    Reading(const receivedFrame_t& frame, streamRole_t role);
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    std::uint32_t identifier() const { return id; }
    std::uint32_t counter() const { return count; }
    bool extended() const { return (frame->canId & CAN_EFF_FLAG) != 0; }
    std::uint8_t length() const { return frame->length; }
    const receivedFrame_t& raw() const { return *frame; }

    /// The identifier fits the counter, and the run steps by one throughout (at least one byte of it).
    bool clean() const { return sound; }

    /// Finds the frame number modulo 256 that most bytes of the run represent; on a tie that of the lowest
    /// byte. Call it before the three below. No effect on a `clean` reading, which knows them already.
    void vote();
    std::uint8_t run() const { return runValue; }
    std::uint8_t agreeing() const { return agree; }
    std::uint8_t tag() const { return static_cast<std::uint8_t>(count - runValue); }

    std::uint8_t runLength() const {
        return frame->length > 4 ? static_cast<std::uint8_t>(frame->length - 4) : 0;
    }
    bool uniform() const { return agree > 0 && agree == runLength(); }
    /// The identifier fits the counter, and most of the run agrees.
    bool major() const {
        return id == patternIdentifier(count, extended()) && 2 * static_cast<unsigned>(agree) > runLength();
    }

    /// Bytes of the run that represent this frame number modulo 256.
    unsigned supporting(std::uint8_t value) const;

    /// In how many places this frame differs from frame `counter` of a stream: identifier, width, each byte.
    /// Missing bytes do not count.
    unsigned distance(std::uint32_t counter, std::uint8_t tag, bool streamExtended) const;

    /// All differences, for a report. `streamLength` is what the sender sends.
    evidence_t evidence(std::uint32_t counter, std::uint8_t tag, bool streamExtended,
                        std::uint8_t streamLength) const;

private:
    const receivedFrame_t* frame;
    const std::uint8_t* bytes; ///< the frame's own, or `undone`
    std::uint32_t id;
    std::uint32_t count;
    std::uint8_t runValue = 0;
    std::uint8_t agree = 0;
    bool sound;
    std::uint8_t undone[CANFD_MAX_DLEN]; ///< an answer with its inversion undone
};
