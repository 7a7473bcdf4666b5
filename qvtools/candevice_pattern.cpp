// CanDevice: pattern sender.
//
// The frames are due at absolute times, so a late one does not delay the others. The write set is armed only
// when a frame is due: on a full transmit queue the sender blocks in the wait, not in the write. What arrives
// meanwhile is read and discarded.

#include "libqvio/fileutils.h"
#include "libqvio/logutil.h"
#include "libqvutil/random.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>

namespace {

constexpr std::uint64_t noTimeout = std::numeric_limits<std::uint64_t>::max();

/// A set in the format of the debug lines.
struct shown_t {
    const FdSet& set;
    friend std::ostream& operator<<(std::ostream& out, const shown_t& shown) {
        return out << "[n=" << shown.set.n << ": " << static_cast<const fd_set&>(shown.set) << ']';
    }
};

int wait(FdSet& rfds, FdSet& wfds, std::uint64_t to) {
    if (to == noTimeout) {
        return qvselect(&rfds, &wfds, nullptr, nullptr, nullptr);
    }
    // Signed from here on: a time-out of 2^63 µs or more becomes negative, and the wait fails with EINVAL.
    const timespec timeout = toTimespec(std::chrono::microseconds(static_cast<std::int64_t>(to)));
    return qvselect(&rfds, &wfds, nullptr, &timeout, nullptr);
}

int waitVerbosely(FdSet& rfds, FdSet& wfds, std::uint64_t to) {
    LogUtil::debugLine("sendPattern", "select(", shown_t{rfds}, ",", shown_t{wfds}, ",..,", to, ")");
    const int ret = wait(rfds, wfds, to);
    const int savedErrno = errno;
    LogUtil::debugLine("sendPattern", "after select: ret=", ret, " rfds=", shown_t{rfds},
                       " wfds=", shown_t{wfds});
    errno = savedErrno;
    return ret;
}

/// An input that has ended or fails stays readable, so the main wait would return at once: waits without it
/// until its next read is due. This delays no frame: the wait ends when the next one is due, or when one that
/// is due can be written.
void waitForRetry(const Retry& retry, int fd, std::uint64_t next) {
    const std::uint64_t rest = retry.remaining();
    if (rest == 0) {
        return;
    }
    const std::uint64_t now = getMicroSecondsOfDay();
    FdSet rfds;
    FdSet wfds;
    if (now >= next) {
        wfds.set(fd);
    }
    wait(rfds, wfds, now < next ? std::min(rest, next - now) : rest);
}

/// Inverts one byte of every `errnum`-th message, each time the next byte.
class ErrorInjector {
public:
    ErrorInjector(std::uint32_t _errnum, unsigned short _verbose) : errnum(_errnum), verbose(_verbose) {}

    /// A copy of `message` as it will be sent.
    CANExtTraceMessage pass(const CANExtTraceMessage& message) {
        CANExtTraceMessage errmsg(message);
        if (++errcnt >= errnum) {
            inject(errmsg);
            errcnt = 0;
        }
        return errmsg;
    }

private:
    void inject(CANExtTraceMessage& errmsg) {
        // Walks by the length code, not the byte count: of 64 bytes only 0 to 14 are ever hit. Intended.
        if (erri >= errmsg.getDlc()) {
            erri = 0;
        }
        std::uint8_t& byte = errmsg.getDataBytes()[erri];
        byte = static_cast<std::uint8_t>(~byte);
        if (verbose >= 2) {
            LogUtil::debugLine("sendPattern", "injected error at payload[", erri, "]");
        }
        ++erri;
    }

    const std::uint32_t errnum;
    const unsigned short verbose;
    std::uint32_t errcnt = 0; ///< frames since the last injected error
    std::size_t erri = 0;     ///< payload index of the next one
};

} // namespace

std::uint64_t CanDevice::nextGap() const {
    return jitter == 0 ? timegap : randomRange<unsigned long long>(timegap - jitter, timegap + jitter);
}

int CanDevice::sendPattern() {
    const int watched = fd; // a local, which no call can change: its bit is found once for all frames
    patternMsg.resetPattern(canId, canFd);
    ErrorInjector injector(errnum, verbose);
    std::uint64_t next = getMicroSecondsOfDay();
    std::uint64_t now = next;
    FdSet rfds(watched);
    FdSet wfds;
    for (std::uint32_t n = 0; loop == 0 || n < loop;) {
        rfds.set(watched); // the wait leaves only what is ready
        std::uint64_t to = noTimeout;
        if (now < next) { // what was due stays due: the clock never steps back
            now = getMicroSecondsOfDay();
        }
        if (now < next) {
            to = next - now;
            wfds.zero();
        } else {
            wfds.set(watched);
        }
        const int ret = verbose >= 2 ? waitVerbosely(rfds, wfds, to) : wait(rfds, wfds, to);
        if (ret < 0) {
            return LogUtil::errorLine("sendPattern", "select", errno);
        }
        if (ret == 0) {
            continue;
        }
        if (rfds.isSet(watched)) {
            discardFrame();
        }
        if (!wfds.isSet(watched)) {
            waitForRetry(retry, fd, next);
            continue;
        }
        if (!network || verbose >= 2) { // nobody sees the time stamp of a quiet frame on a bus
            patternMsg.setTimeStamp(getMicroSecondsOfDay());
        }
        // A frame that could not be written still counts.
        if ((errnum == 0 ? sendCAN(patternMsg) : sendCAN(injector.pass(patternMsg))) != 0) {
            retry.wait(); // after a hang-up neither reading nor writing blocks
        }
        if (verbose >= 2) {
            LogUtil::debugLine("sendPattern", "msg counter: ", n);
        }
        next += nextGap();
        patternMsg.mutatePattern();
        ++n;
    }
    return 0;
}

void CanDevice::discardFrame() {
    if (retry.remaining() > 0) {
        return;
    }
    CANExtTraceMessage* pcm = nullptr;
    readIfReadable(pcm);
    const std::unique_ptr<CANExtTraceMessage> owner(pcm);
    if (pcm != nullptr && verbose >= 2) {
        LogUtil::debugLine("sendPattern", "discard: ", *pcm);
    }
}
