#include "qvbus/busnode.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <unistd.h>

namespace {

// What may still be delivered after the bus has decided to wait: the records of one read, and the last ones
// of leaving nodes.
constexpr std::size_t reserve = 1U << 16U;

/// The number of records in `bytes`, the first of which may be incomplete.
std::uint64_t recordsIn(const std::vector<std::uint8_t>& bytes) {
    std::uint64_t n = 0;
    bool inOne = false;
    for (std::size_t at = 0; at < bytes.size();) {
        const record::view_t view = record::look(bytes.data() + at, bytes.size() - at);
        const bool whole = view.finding == record::RECORD;
        n += whole || !inOne ? 1 : 0;
        inOne = !whole;
        at += whole ? view.size() : 1;
    }
    return n;
}

} // namespace

bool BusNode::look() {
    const bool inUse = terminal.isInUse();
    if (present && !inUse) {
        return true;
    }
    if (!present) {
        terminal.makeRaw(); // a program may have used it between two checks
    }
    present = inUse;
    return false;
}

void BusNode::leave() {
    missed += queue.clear();
    missing = false;
    present = false;
    scanner = RecordScanner();
    dropped = 0;
    terminal.reset();
}

std::size_t BusNode::receive() {
    std::uint8_t* const room = scanner.room();
    const ssize_t n = read(descriptor(), room, scanner.roomSize());
    const std::size_t got = n > 0 ? static_cast<std::size_t>(n) : 0;
    scanner.added(got);
    return got;
}

void BusNode::takeRecord(const record::view_t& view) {
    scanner.take(view);
    ++sent;
}

std::string BusNode::takeReport(bool atEnd) {
    passedOver_t passedOver;
    passedOver.bytes = static_cast<std::size_t>(scanner.counts().dropped - dropped);
    passedOver.cutOff = atEnd ? scanner.buffered() : 0;
    dropped = scanner.counts().dropped;
    return passedOver.any() ? passedOver.text() : std::string();
}

bool BusNode::isFull() const {
    return !queue.hasRoomFor(reserve);
}

bool BusNode::deliver(const record::view_t& view, std::uint64_t now) {
    if (!present) {
        return true;
    }
    if (!queue.hasRoomFor(view.size())) {
        ++missed;
        return std::exchange(missing, true);
    }
    const bool wasFull = isFull();
    queue.push(view.bytes(), view.size());
    if (!wasFull && isFull()) {
        waitUntil = now + PATIENCE;
    }
    return true;
}

bool BusNode::flush(std::uint64_t now) {
    bool progress = false;
    while (!queue.empty()) {
        const ssize_t n = write(descriptor(), queue.data(), queue.size());
        if (n <= 0) {
            break;
        }
        received += queue.pop(static_cast<std::size_t>(n));
        progress = true;
    }
    if (progress) {
        missing = false;
        waitUntil = now + PATIENCE;
    }
    return progress;
}

void BusNode::giveUp() {
    if (!present) {
        return;
    }
    std::vector<std::uint8_t> bytes = terminal.takeBack();
    bytes.insert(bytes.end(), queue.data(), queue.data() + queue.size());
    const std::uint64_t unread = recordsIn(bytes);
    received += queue.clear();
    received -= std::min(unread, received);
    missed += unread;
}

std::uint64_t BusNode::patienceLeft(std::uint64_t now) const {
    return present && isFull() && now < waitUntil ? waitUntil - now : 0;
}
