#include "libqvcheck/pattern.h"

#include "libqvtrace/cantracemessagebase.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

std::uint8_t wantedByte(std::uint8_t index, std::uint32_t counter, std::uint8_t tag) {
    if (index < counterBytes) {
        return static_cast<std::uint8_t>(counter >> (24 - 8 * index));
    }
    return static_cast<std::uint8_t>(counter - tag + index - counterBytes);
}

damage_t labelOf(const evidence_t& e, bool identifierFits, bool widthFits, bool mixed) {
    if (!widthFits) {
        return DT_WIDTH;
    }
    if (e.differing == 0) {
        return DT_IDENTIFIER;
    }
    if (mixed) {
        return DT_MIXED;
    }
    if (e.differing > 1 || !identifierFits) {
        return DT_BYTES;
    }
    const auto flipped = static_cast<std::uint8_t>(e.bytes[0].got ^ e.bytes[0].wanted);
    if ((flipped & (flipped - 1)) == 0) {
        return DT_ONE_BIT;
    }
    return flipped == 0xFF ? DT_INVERTED : DT_ONE_BYTE;
}

} // namespace

std::uint8_t walkedBytes(std::uint8_t length) {
    return CANTraceMessageBase::numDataBytes2dlc(length);
}

bool PatternForm::runFits(const std::uint8_t* data, std::uint8_t run) const {
    const std::size_t first = walked - counterBytes;
    const auto number = static_cast<std::uint8_t>(run + first);
    return std::memcmp(data + counterBytes, firstRuns + run, first) == 0 &&
           std::memcmp(data + walked, &runs[number], length - walked) == 0;
}

Reading::Reading(const receivedFrame_t& _frame, streamRole_t role)
    : frame(&_frame),
      bytes(_frame.data),
      id(_frame.canId) {
    const std::uint32_t mask = extended() ? CAN_EFF_MASK : CAN_SFF_MASK;
    if (role == SR_ANSWER) {
        const std::size_t inverted = walkedBytes(frame->length);
        std::memcpy(undone, frame->data, sizeof undone);
        std::transform(undone, undone + inverted, undone,
                       [](std::uint8_t byte) { return static_cast<std::uint8_t>(~byte); });
        bytes = undone;
        id = ~id;
    }
    id &= mask;
    count = bigEndian(bytes);
    sound = frame->length > counterBytes && id == patternIdentifier(count, extended()) &&
            std::memcmp(bytes + counterBytes, &runs[bytes[counterBytes]], runLength()) == 0;
    if (sound) {
        runValue = bytes[counterBytes];
        agree = runLength();
    }
}

void Reading::vote() {
    if (sound) {
        return;
    }
    std::array<std::uint8_t, 256> votes{};
    agree = 0;
    for (std::uint8_t i = 0; i < runLength(); ++i) {
        const auto value = static_cast<std::uint8_t>(bytes[counterBytes + i] - i);
        if (++votes[value] > agree) {
            agree = votes[value];
            runValue = value;
        }
    }
}

unsigned Reading::supporting(std::uint8_t value) const {
    unsigned n = 0;
    for (std::uint8_t i = 0; i < runLength(); ++i) {
        n += bytes[counterBytes + i] == static_cast<std::uint8_t>(value + i) ? 1U : 0U;
    }
    return n;
}

unsigned Reading::distance(std::uint32_t counter, std::uint8_t tag, bool streamExtended) const {
    unsigned places = extended() != streamExtended ? 1 : 0;
    places += id != patternIdentifier(counter, streamExtended) ? 1U : 0U;
    for (std::uint8_t i = 0; i < std::min<std::uint8_t>(counterBytes, frame->length); ++i) {
        places += bytes[i] != wantedByte(i, counter, tag) ? 1U : 0U;
    }
    return places + runLength() - supporting(static_cast<std::uint8_t>(counter - tag));
}

evidence_t Reading::evidence(std::uint32_t counter, std::uint8_t tag, bool streamExtended,
                             std::uint8_t streamLength) const {
    evidence_t e{};
    e.identifier = id;
    e.counter = count;
    e.run = runValue;
    e.extended = extended();
    e.length = frame->length;
    for (std::uint8_t i = 0; i < frame->length && e.differing < evidence_t::mostBytes; ++i) {
        const std::uint8_t wanted = wantedByte(i, counter, tag);
        if (bytes[i] != wanted) {
            e.bytes[e.differing++] = {i, bytes[i], wanted};
        }
    }
    const bool identifierFits = id == patternIdentifier(counter, streamExtended);
    const bool mixed = e.differing > 1 && uniform() && apart(count, counter) < 1024;
    e.damage = frame->length < streamLength ? DT_SHORTENED
                                            : labelOf(e, identifierFits, extended() == streamExtended, mixed);
    return e;
}
