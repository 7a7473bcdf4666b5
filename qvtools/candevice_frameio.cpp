// CanDevice: single frames between the descriptor and messages.
//
// Two pitfalls of SocketCAN explain the texts printed here. A full transmit queue yields ENOBUFS although the
// socket polled writable, and the frame is lost: `ip link set IF txqueuelen 1000`. And this side accepts FD
// frames only: a classic frame arrives as 16 bytes and is reported as incomplete.

#include "libqvio/fileutils.h"
#include "libqvio/logutil.h"
#include "libqvutil/exception.h"
#include "libqvutil/hexdump.h"
#include "libqvutil/print.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"

#include <cerrno>
#include <iostream>
#include <memory>

#include <sys/socket.h>
#include <unistd.h>

namespace {

// Like all lines about reading and writing here: no prefix, no log lock.
[[gnu::cold]] int incomplete(const char* text) {
    printLine(std::cerr, text);
    return -1;
}

/// Serialises check and read of devices that must not block on a device file: one record makes the shared
/// descriptor readable for all of them, and the second reader would otherwise block and stop sending. Never
/// held together with another lock, nor while sending or printing. A socket does not need it: recv() can be
/// non-blocking.
Mutex readTurn;

bool isReadable(int fd) {
    FdSet rfds(fd);
    const timespec atOnce{};
    return qvselect(&rfds, nullptr, nullptr, &atOnce, nullptr) > 0;
}

/// Reads one frame from a socket in one system call. If `blocking` is false it takes only what is available:
/// 0 with `pcm` null if another device was faster.
int readFrame(int fd, Retry& retry, bool blocking, bool stamped, CANExtTraceMessage*& pcm) {
    pcm = nullptr;
    if (blocking) {
        retry.wait();
    }
    canfd_frame frame; // only complete frames are used
    const auto nbytes = static_cast<std::size_t>(blocking ? read(fd, &frame, CANFD_MTU)
                                                          : recv(fd, &frame, CANFD_MTU, MSG_DONTWAIT));
    if (nbytes == static_cast<std::size_t>(-1)) {
        if (!blocking && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            return 0;
        }
        printErrno(errno, "read error");
        retry.failed();
        return -1;
    }
    if (nbytes < CANFD_MTU) { // a classic frame, too: intended
        return incomplete("read: incomplete CAN frame");
    }
    // The identifier's flag bits and the frame's FD flags are dropped: remote and error frames become
    // ordinary messages. Intended.
    const cantype_t width = (frame.can_id & CAN_EFF_FLAG) != 0 ? CT_EXTENDED : CT_STANDARD;
    pcm = new CANExtTraceMessage(stamped ? getMicroSecondsOfDay() : 0, 0, CF_STANDARD, CSE_NO, width,
                                 frame.len, frame.can_id, frame.data);
    return 0;
}

/// The same through the `buffer` of a device file.
struct RecordReader {
    const int fd;
    const unsigned short verbose;
    TraceMessageBuffer& buffer;
    Retry& retry;
    const bool blocking;

    int readRecord(CANExtTraceMessage*& pcm);

private:
    std::unique_ptr<MessageBase> nextRecord();
    bool fillBuffer();
};

/// False if there was nothing to read.
bool RecordReader::fillBuffer() {
    int result = 0;
    if (blocking) {
        retry.wait();
        result = buffer.read();
    } else {
        const MutexLocker turn(readTurn);
        if (!isReadable(fd)) {
            return false;
        }
        result = buffer.read();
    }
    if (result == -1) {
        LogUtil::errorLine("readCAN", "buffer read", errno);
    }
    if (buffer.atEnd()) {
        retry.failed();
    }
    return true;
}

/// The next record of any kind, or null.
std::unique_ptr<MessageBase> RecordReader::nextRecord() {
    std::unique_ptr<MessageBase> pmsg(buffer.getNextMessage());
    if (pmsg || !fillBuffer()) {
        return pmsg;
    }
    try {
        pmsg.reset(buffer.getNextMessage());
    } catch (const QVException& exception) {
        printLine(std::cerr, exception);
    }
    if (!pmsg && verbose >= 2) {
        LogUtil::debugLine("readCAN", "incomplete buffer read");
    }
    return pmsg;
}

int RecordReader::readRecord(CANExtTraceMessage*& pcm) {
    pcm = nullptr;
    std::unique_ptr<MessageBase> pmsg = nextRecord();
    if (!pmsg) {
        return 0;
    }
    auto* const message =
        pmsg->getMessageId() == MSGID_CAN_EXT ? dynamic_cast<CANExtTraceMessage*>(pmsg.get()) : nullptr;
    if (message == nullptr) {
        if (verbose >= 3) {
            LogUtil::debugLine("readCAN", "discard: ", *pmsg);
        }
        return 0;
    }
    if (verbose >= 2) {
        // The time of the call, not of the message.
        const std::string time = MessageBase::printTimestamp(getMicroSecondsOfDay());
        LogUtil::debugLine("readCAN", "t=", time, ": return: ", *message);
    }
    pcm = message;
    static_cast<void>(pmsg.release());
    return 0;
}

/// Writes a frame or record in one system call. Inline at both places, as every frame passes here.
inline int writeWhole(int fd, const void* bytes, std::size_t n, bool verbosely) {
    if (verbosely) {
        const auto* const first = static_cast<const unsigned char*>(bytes);
        hexdump(std::cout, first, first + n, "raw", 16, HEXDUMP_PREFIX_NONE, true);
    }
    const MutexLocker locker(CanDevice::mutex);
    const ssize_t nbytes = write(fd, bytes, n);
    if (nbytes < 0) {
        return printErrno(errno, "write error");
    }
    // Not retried, as half a frame is none: intended.
    return static_cast<std::size_t>(nbytes) < n ? incomplete("write: incomplete CAN frame") : 0;
}

} // namespace

int CanDevice::readCAN(CANExtTraceMessage*& pcm, bool stamped) {
    return network ? readFrame(fd, retry, true, stamped, pcm)
                   : RecordReader{fd, verbose, buffer, retry, true}.readRecord(pcm);
}

int CanDevice::readIfReadable(CANExtTraceMessage*& pcm) {
    return network ? readFrame(fd, retry, false, true, pcm)
                   : RecordReader{fd, verbose, buffer, retry, false}.readRecord(pcm);
}

int CanDevice::sendCAN(const CANExtTraceMessage& cm) {
    if (verbose >= 2) {
        LogUtil::debugLine("sendCAN", "send: ", cm);
    }
    if (network) {
        canfd_frame frame = cm.getCanFdFrame();
        frame.flags = brs ? CANFD_BRS : 0; // whatever the message has, and even without FD: intended
        return writeWhole(fd, &frame, canFd ? CANFD_MTU : CAN_MTU, verbose >= 2);
    }
    byteVec_t record;
    const std::size_t n = cm.createByteArray(record, true, true);
    return writeWhole(fd, record.data(), n, verbose >= 2);
}
