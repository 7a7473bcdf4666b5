#include "libqvtrace/tracemessagebuffer.h"

#include "libqvio/logutil.h"
#include "libqvtrace/record.h"
#include "libqvutil/exception.h"
#include "libqvutil/utility.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <unistd.h>

static_assert(TraceMessageBuffer::capacity >= 2 * record::maxSize,
              "an incomplete record must leave room to read its rest");

namespace {

std::unique_lock<std::mutex> lockIfAny(std::mutex* mutex) {
    return mutex == nullptr ? std::unique_lock<std::mutex>() : std::unique_lock<std::mutex>(*mutex);
}

std::string counted(std::size_t n, const char* noun) {
    return std::to_string(n) + ' ' + noun + (n == 1 ? "" : "s");
}

} // namespace

std::string TraceMessageBuffer::passedOver_t::text() const {
    std::string list;
    const auto add = [&list](std::size_t n, const char* noun, const char* what) {
        if (n > 0) {
            list += (list.empty() ? "" : ", ") + counted(n, noun) + what;
        }
    };
    add(bytes, "byte", " outside of any sound record");
    add(unknown, "record", " of unknown kind");
    add(invalid, "record", " with an invalid body");
    std::string line = list.empty() ? "trace buffer:" : "trace buffer: passed over " + list;
    if (cutOff > 0) {
        line += (list.empty() ? " " : "; ") + std::string("the input ended inside a record, after ") +
                counted(cutOff, "byte");
    }
    return line;
}

TraceMessageBuffer::TraceMessageBuffer(std::mutex* _mutex) : mutex(_mutex) {}

int TraceMessageBuffer::read(bool patient) {
    const auto lock = lockIfAny(mutex);
    bytes.resize(capacity);
    std::copy(bytes.data() + begin, bytes.data() + end, bytes.data());
    end -= std::exchange(begin, 0);
    justRead = true;
    if (end == capacity) {
        lastRead = -1;
        errno = ENOBUFS;
        return lastRead;
    }
    if (ended && patient) {
        microsleep(napMicros, false);
    }
    ssize_t n;
    do {
        n = ::read(fd, bytes.data() + end, capacity - end);
    } while (n == -1 && errno == EINTR);
    const int savedErrno = errno;
    if (n > 0) {
        end += static_cast<std::size_t>(n);
        total.read += static_cast<std::size_t>(n);
    } else if (n == 0 && !ended) {
        endMet = true;
    }
    ended = n <= 0;
    lastRead = static_cast<int>(n);
    errno = savedErrno;
    return lastRead;
}

MessageBase* TraceMessageBuffer::getNextMessage() {
    const auto lock = lockIfAny(mutex);
    const bool mayThrow = std::exchange(justRead, false);
    if (debug && mayThrow) {
        // Said here and not in read(), whose caller may hold a lock of his own.
        LogUtil::debugLine("getNextMessage",
                           "read " + std::to_string(lastRead) + ", buffered " + std::to_string(buffered()));
    }
    while (buffered() > 0) {
        const record::view_t view = record::look(bytes.data() + begin, buffered());
        if (view.finding == record::INCOMPLETE) {
            break;
        }
        if (view.finding == record::NO_RECORD) {
            ++passedOver.bytes;
            drop(1);
            continue;
        }
        reportPassedOver(mayThrow); // before the record is taken, which so waits for the next call
        MessageBase* const message = MessageBase::rebuild(view.kind, view.body, view.bodySize);
        if (message == nullptr) {
            ++(MessageBase::isRegistered(view.kind) ? passedOver.invalid : passedOver.unknown);
            drop(view.size());
            continue;
        }
        begin += view.size();
        total.delivered += view.size();
        return message;
    }
    if (std::exchange(endMet, false)) {
        passedOver.cutOff = buffered();
    }
    reportPassedOver(mayThrow);
    return nullptr;
}

std::string TraceMessageBuffer::takeReport() {
    passedOver.cutOff = buffered();
    return passedOver.any() ? std::exchange(passedOver, passedOver_t()).text() : std::string();
}

void TraceMessageBuffer::drop(std::size_t n) {
    begin += n;
    total.dropped += n;
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
