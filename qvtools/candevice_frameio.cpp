// CanDevice: single frames between the descriptor and messages.
//
// Two traps of SocketCAN stand behind the texts printed here. A full transmit queue gives ENOBUFS although
// the socket polled writable, and the frame is gone: `ip link set IF txqueuelen 1000`. And this side takes FD
// frames only: a classic frame arrives as 16 bytes and is reported as incomplete.

#include "libqvio/fileutils.h"
#include "libqvio/logutil.h"
#include "libqvutil/exception.h"
#include "libqvutil/hexdump.h"
#include "libqvutil/line.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"

#include <cerrno>
#include <iostream>
#include <memory>

#include <unistd.h>

namespace {

// Bare lines on standard error: no prefix, no log lock. They may be written while the class mutex is held.
int failed(const char* what, int errnum) {
    (Line() << what << ": " << errorText(errnum)).writeLine(std::cerr);
    return -1;
}

int incomplete(const char* text) {
    (Line() << text).writeLine(std::cerr);
    return -1;
}

/// Not inlined: a quiet device should not pay for it with each frame.
[[gnu::noinline]] void dump(const void* bytes, std::size_t n) {
    const auto* const first = static_cast<const unsigned char*>(bytes);
    hexdump(std::cout, first, first + n, "raw", 16, HEXDUMP_PREFIX_NONE, true);
}

void debugMessage(const char* function, const char* prefix, const MessageBase& message) {
    Line text;
    message.print((text << prefix).stream());
    LogUtil::debugLine(function, text.str());
}

/// A turn for all devices that read only what is there. One frame makes their shared descriptor readable for
/// all of their waits; who comes second would sit in a blocking read until another frame arrives, and send
/// nothing meanwhile. Never held together with another lock, nor while something is sent.
Mutex readTurn;

bool isReadable(int fd) {
    FdSet rfds(fd);
    const timespec atOnce{};
    return qvselect(&rfds, nullptr, nullptr, &atOnce, nullptr) > 0;
}

} // namespace

int CanDevice::readCAN(CANExtTraceMessage*& pcm) {
    return network ? readFrame(pcm) : readRecord(pcm, BLOCKING);
}

int CanDevice::readIfReadable(CANExtTraceMessage*& pcm) {
    if (!network) {
        return readRecord(pcm, IF_READABLE);
    }
    pcm = nullptr;
    const MutexLocker turn(readTurn);
    return isReadable(fd) ? readCAN(pcm) : 0;
}

int CanDevice::readFrame(CANExtTraceMessage*& pcm) {
    pcm = nullptr;
    canfd_frame frame; // read() fills it, and only a whole frame is looked at
    const auto nbytes = static_cast<std::size_t>(read(fd, &frame, CANFD_MTU));
    if (nbytes == static_cast<std::size_t>(-1)) {
        const int savedErrno = errno;
        return failed("read error", savedErrno);
    }
    if (nbytes < CANFD_MTU) { // a classic frame, too: intended
        return incomplete("read: incomplete CAN frame");
    }
    // The identifier's flag bits and the frame's FD flags are dropped: remote and error frames become
    // ordinary messages. Intended.
    const cantype_t width = (frame.can_id & CAN_EFF_FLAG) != 0 ? CT_EXTENDED : CT_STANDARD;
    pcm = new CANExtTraceMessage(getMicroSecondsOfDay(), 0, CF_STANDARD, CSE_NO, width, frame.len,
                                 frame.can_id, frame.data);
    return 0;
}

std::optional<int> CanDevice::fillBuffer(reading_t how) {
    if (how == BLOCKING) {
        return buffer.read();
    }
    const MutexLocker turn(readTurn);
    return isReadable(fd) ? std::optional<int>(buffer.read(false)) : std::nullopt;
}

std::unique_ptr<MessageBase> CanDevice::nextRecord(reading_t how) {
    std::unique_ptr<MessageBase> pmsg(buffer.getNextMessage());
    if (pmsg) {
        return pmsg;
    }
    const std::optional<int> filled = fillBuffer(how);
    if (!filled) {
        return nullptr;
    }
    if (*filled == -1) {
        LogUtil::errorLine("readCAN", "buffer read", errno);
    }
    try {
        pmsg.reset(buffer.getNextMessage());
    } catch (const QVException& exception) {
        (Line() << exception).writeLine(std::cerr);
    }
    if (!pmsg && verbose >= 2) {
        LogUtil::debugLine("readCAN", "incomplete buffer read");
    }
    return pmsg;
}

int CanDevice::readRecord(CANExtTraceMessage*& pcm, reading_t how) {
    pcm = nullptr;
    std::unique_ptr<MessageBase> pmsg = nextRecord(how);
    if (!pmsg) {
        return 0;
    }
    auto* const message =
        pmsg->getMessageId() == MSGID_CAN_EXT ? dynamic_cast<CANExtTraceMessage*>(pmsg.get()) : nullptr;
    if (message == nullptr) {
        if (verbose >= 3) {
            debugMessage("readCAN", "discard: ", *pmsg);
        }
        return 0;
    }
    if (verbose >= 2) {
        // The time of the call, not of the message.
        const std::string prefix = "t=" + MessageBase::printTimestamp(getMicroSecondsOfDay()) + ": return: ";
        debugMessage("readCAN", prefix.c_str(), *message);
    }
    pcm = message;
    static_cast<void>(pmsg.release());
    return 0;
}

int CanDevice::sendCAN(const CANExtTraceMessage& cm) {
    if (verbose >= 2) {
        debugMessage("sendCAN", "send: ", cm);
    }
    if (network) {
        canfd_frame frame = cm.getCanFdFrame();
        frame.flags = brs ? CANFD_BRS : 0; // whatever the message has, and whether or not FD is on: intended
        return writeWhole(&frame, canFd ? CANFD_MTU : CAN_MTU);
    }
    byteVec_t record;
    const std::size_t n = cm.createByteArray(record, true, true);
    return writeWhole(record.data(), n);
}

int CanDevice::writeWhole(const void* bytes, std::size_t n) {
    if (verbose >= 2) {
        dump(bytes, n);
    }
    const MutexLocker locker(mutex);
    const ssize_t nbytes = write(fd, bytes, n);
    if (nbytes < 0) {
        const int savedErrno = errno;
        return failed("write error", savedErrno);
    }
    if (static_cast<std::size_t>(nbytes) < n) { // not tried again, half a frame is none: intended
        return incomplete("write: incomplete CAN frame");
    }
    return 0;
}
