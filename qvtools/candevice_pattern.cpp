// CanDevice: pattern sender.
//
// The frames are due at absolute times, so a late one does not move the others. The write set is only armed
// when a frame is due: a full transmit queue holds the sender up in the wait, not in the write. What arrives
// meanwhile is read and discarded.

#include "libqvio/fileutils.h"
#include "libqvio/logutil.h"
#include "libqvutil/line.h"
#include "libqvutil/random.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>

namespace {

constexpr std::uint64_t noTimeout = std::numeric_limits<std::uint64_t>::max();

std::string shown(const FdSet& set) {
    Line text;
    text << "[n=" << set.n << ": " << static_cast<const fd_set&>(set) << "]";
    return text.str();
}

int wait(FdSet& rfds, FdSet& wfds, std::uint64_t to) {
    if (to == noTimeout) {
        return qvselect(&rfds, &wfds, nullptr, nullptr, nullptr);
    }
    // Signed from here on: a time-out of 2^63 µs or more becomes negative, and the wait fails with EINVAL.
    const timespec timeout = toTimespec(std::chrono::microseconds(static_cast<std::int64_t>(to)));
    return qvselect(&rfds, &wfds, nullptr, &timeout, nullptr);
}

int waitAloud(FdSet& rfds, FdSet& wfds, std::uint64_t to) {
    Line before;
    before << "select(" << shown(rfds) << "," << shown(wfds) << ",..," << to << ")";
    LogUtil::debugLine("sendPattern", before.str());
    const int ret = wait(rfds, wfds, to);
    const int savedErrno = errno;
    Line after;
    after << "after select: ret=" << ret << " rfds=" << shown(rfds) << " wfds=" << shown(wfds);
    LogUtil::debugLine("sendPattern", after.str());
    errno = savedErrno;
    return ret;
}

} // namespace

std::uint64_t CanDevice::nextGap() const {
    return jitter == 0 ? timegap : randomRange<unsigned long long>(timegap - jitter, timegap + jitter);
}

int CanDevice::sendPattern() {
    patternMsg.resetPattern(canId, canFd);
    injection_t injection;
    unsigned long n = 0;
    std::uint64_t next = getMicroSecondsOfDay();
    while (loop == 0 || n < loop) {
        FdSet rfds(fd);
        FdSet wfds;
        std::uint64_t to = noTimeout;
        const std::uint64_t now = getMicroSecondsOfDay();
        if (now < next) {
            to = next - now;
        } else {
            wfds.set(fd);
        }
        const int ret = verbose >= 2 ? waitAloud(rfds, wfds, to) : wait(rfds, wfds, to);
        if (ret == -1) {
            LogUtil::errorLine("sendPattern", "select", errno);
            return -1;
        }
        if (ret == 0) {
            continue;
        }
        if (rfds.isSet(fd)) {
            discardFrame(to);
        }
        if (!wfds.isSet(fd)) {
            continue;
        }
        patternMsg.setTimeStamp(getMicroSecondsOfDay());
        if (errnum == 0) {
            sendCAN(patternMsg); // a frame that could not be written still counts
        } else {
            sendWithErrors(injection);
        }
        if (verbose >= 2) {
            LogUtil::debugLine("sendPattern", "msg counter: " + std::to_string(n));
        }
        next += nextGap();
        patternMsg.mutatePattern();
        n = toTargetLong(n + 1);
    }
    return 0;
}

void CanDevice::discardFrame(std::uint64_t to) {
    CANExtTraceMessage* pcm = nullptr;
    readIfReadable(pcm);
    const std::unique_ptr<CANExtTraceMessage> owner(pcm);
    if (pcm != nullptr && verbose >= 2) {
        Line text;
        pcm->print((text << "discard: ").stream());
        LogUtil::debugLine("sendPattern", text.str());
    }
    if (buffer.atEnd() && to != noTimeout) {
        // A device file whose input has ended stays readable: without a pause the wait for the next frame
        // would take a processor.
        microsleep(static_cast<unsigned long>(std::min<std::uint64_t>(to, TraceMessageBuffer::napMicros)),
                   false);
    }
}

void CanDevice::sendWithErrors(injection_t& injection) {
    CANExtTraceMessage errmsg(patternMsg);
    if (++injection.errcnt >= errnum) {
        // Walks by the length code, not the byte count: of 64 bytes only 0 to 14 are ever hit. Intended.
        if (injection.erri >= errmsg.getDlc()) {
            injection.erri = 0;
        }
        std::uint8_t& byte = errmsg.getDataBytes()[injection.erri];
        byte = static_cast<std::uint8_t>(~byte);
        if (verbose >= 2) {
            LogUtil::debugLine("sendPattern",
                               "injected error at payload[" + std::to_string(injection.erri) + "]");
        }
        ++injection.erri;
        injection.errcnt = 0;
    }
    sendCAN(errmsg);
}
