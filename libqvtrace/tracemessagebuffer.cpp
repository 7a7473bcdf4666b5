#include "libqvtrace/tracemessagebuffer.h"

#include "libqvio/logutil.h"
#include "libqvutil/exception.h"

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace {

std::unique_lock<std::mutex> lockIfAny(std::mutex* mutex) {
    return mutex == nullptr ? std::unique_lock<std::mutex>() : std::unique_lock<std::mutex>(*mutex);
}

} // namespace

TraceMessageBuffer::TraceMessageBuffer(std::mutex* _mutex) : mutex(_mutex) {}

int TraceMessageBuffer::read() {
    const auto lock = lockIfAny(mutex);
    justRead = true;
    std::uint8_t* const room = scanner.room();
    if (scanner.roomSize() == 0) {
        lastRead = -1;
        errno = ENOBUFS;
        return lastRead;
    }
    ssize_t n;
    do {
        n = ::read(fd, room, scanner.roomSize());
    } while (n == -1 && errno == EINTR);
    if (n > 0) {
        scanner.added(static_cast<std::size_t>(n));
        endMet = false;
    } else if (n == 0 && !endMet) {
        scanner.ended();
        endMet = endNew = true;
    }
    ended = n <= 0;
    lastRead = static_cast<int>(n);
    return lastRead;
}

MessageBase* TraceMessageBuffer::getNextMessage() {
    const auto lock = lockIfAny(mutex);
    const bool mayThrow = std::exchange(justRead, false);
    if (debug && mayThrow) {
        // Logged here, not in read(): read()'s caller may hold another lock.
        LogUtil::debugLine("getNextMessage", "read " + std::to_string(lastRead) + ", buffered " +
                                                 std::to_string(scanner.buffered()));
    }
    for (;;) {
        const record::view_t view = nextRecord();
        if (view.finding != record::RECORD) {
            break;
        }
        reportPassedOver(mayThrow); // throws before the record is consumed, so the next call returns it
        MessageBase* const message = MessageBase::rebuild(view.kind, view.body, view.bodySize);
        if (message != nullptr) {
            scanner.take(view);
            return message;
        }
        ++(MessageBase::isRegistered(view.kind) ? passedOver.invalid : passedOver.unknown);
        scanner.drop(view);
    }
    if (std::exchange(endNew, false)) {
        passedOver.cutOff = scanner.buffered();
    }
    reportPassedOver(mayThrow);
    return nullptr;
}

/// The scanner's next record; counts what was skipped before it.
record::view_t TraceMessageBuffer::nextRecord() {
    const std::uint64_t before = scanner.counts().dropped;
    const record::view_t view = scanner.next();
    passedOver.bytes += static_cast<std::size_t>(scanner.counts().dropped - before);
    return view;
}

std::string TraceMessageBuffer::takeReport() {
    passedOver.cutOff = scanner.buffered();
    return passedOver.any() ? std::exchange(passedOver, passedOver_t()).text() : std::string();
}

void TraceMessageBuffer::reportPassedOver(bool mayThrow) {
    if (!mayThrow || !passedOver.any()) {
        return;
    }
    const std::string text = std::exchange(passedOver, passedOver_t()).text();
    if (debug) {
        LogUtil::debugLine("getNextMessage", text);
    }
    throw QVException(text);
}
