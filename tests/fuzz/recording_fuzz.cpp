// Any bytes for the readers of recordings. What they give must not depend on how the bytes are cut, must be
// frames that the kernel could have delivered, and is written and read again.
//
// An input is a byte that chooses the reader, one that chooses the cuts, and then the recording.

#include "libqvcheck/candumplog.h"
#include "libqvcheck/familytext.h"
#include "libqvcheck/frametext.h"
#include "libqvcheck/recordfile.h"
#include "tests/fakes/fakesystem.h"
#include "tests/fuzz/require.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace {

struct reading_t {
    InterfaceTable interfaces;
    inputCounts_t counts;
    std::vector<receivedFrame_t> frames;
};

std::unique_ptr<FrameSource> makeSource(unsigned int which, InputBlocks& input, reading_t& reading) {
    switch (which % 3) {
    case 0: return std::make_unique<CandumpLog>(input, reading.interfaces, reading.counts);
    case 1: return std::make_unique<FamilyText>(input, reading.interfaces, reading.counts);
    default: return std::make_unique<RecordFile>(input, reading.interfaces, reading.counts);
    }
}

void take(FrameSource& source, reading_t& reading) {
    receivedFrame_t some[3];
    while (const std::size_t n = source.read(some, 3)) {
        reading.frames.insert(reading.frames.end(), some, some + n);
    }
}

/// Reads the recording `piece` bytes at a time.
void readInPieces(unsigned int which, const std::uint8_t* bytes, std::size_t size, std::size_t piece,
                  reading_t& reading) {
    FakeSystem system; // a pipe takes most of the time
    system.read = [&](int, void* buffer, std::size_t room) {
        const std::size_t n = std::min({size, piece, room});
        std::memcpy(buffer, bytes, n);
        bytes += n;
        size -= n;
        return static_cast<ssize_t>(n);
    };
    InputBlocks input(-1);
    const auto source = makeSource(which, input, reading);
    while (!input.ended()) {
        input.fill();
        take(*source, reading);
    }
    require(size == 0 && input.size() == 0, "all of the input is taken");
}

bool isSame(const receivedFrame_t& a, const receivedFrame_t& b) {
    return a.canId == b.canId && a.length == b.length && a.flags == b.flags && a.fd == b.fd && a.xl == b.xl &&
           std::memcmp(a.data, b.data, a.length) == 0;
}

/// Identifier, length and flags are such as a bus carries.
bool isPossible(const receivedFrame_t& frame) {
    const bool isLong = (frame.canId & (CAN_EFF_FLAG | CAN_ERR_FLAG)) != 0;
    const std::uint32_t id = frame.canId & CAN_EFF_MASK;
    return frame.length <= (frame.fd ? CANFD_MAX_DLEN : CAN_MAX_DLEN) && (isLong || id <= CAN_SFF_MASK) &&
           (frame.flags & ~(CANFD_BRS | CANFD_ESI)) == 0;
}

void requireRoundTrip(const receivedFrame_t& frame) {
    const std::string text = frameText(frame);
    receivedFrame_t again{};
    const char* const end = readFrameText(text.data(), text.data() + text.size(), again);
    require(end == text.data() + text.size(), "a frame that was read can be written and read again");
    require(frame.xl || isSame(frame, again), "it is then the same");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::size_t piece = data[1] % 61 + 1;
    reading_t whole;
    reading_t cut;
    readInPieces(data[0], data + 2, size - 2, InputBlocks::capacity / 2, whole);
    readInPieces(data[0], data + 2, size - 2, piece, cut);
    require(whole.frames.size() == cut.frames.size() && whole.counts.broken == cut.counts.broken &&
                whole.counts.passedOver == cut.counts.passedOver &&
                whole.counts.waiting == cut.counts.waiting,
            "the cuts change no count");
    require(whole.counts.frames == whole.frames.size(), "every frame is counted");
    for (std::size_t i = 0; i < whole.frames.size(); ++i) {
        const receivedFrame_t& frame = whole.frames[i];
        require(isSame(frame, cut.frames[i]) && frame.time == cut.frames[i].time &&
                    frame.interface == cut.frames[i].interface && frame.dropped == cut.frames[i].dropped,
                "the cuts change no frame");
        require(isPossible(frame), "a bus could carry the frame");
        require(frame.interface < whole.interfaces.size(), "its interface has a name");
        // Records may hold an error frame of 11 bits, or with data of FD: no log has a notation for it.
        if ((frame.canId & CAN_ERR_FLAG) == 0 && !(frame.fd && (frame.canId & CAN_RTR_FLAG) != 0)) {
            requireRoundTrip(frame);
        }
    }
    return 0;
}
