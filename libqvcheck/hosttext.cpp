#include "libqvcheck/hosttext.h"

#include "libqvcheck/cansocket.h"
#include "libqvcheck/numbertext.h"

#include <algorithm>

namespace {

/// Receive buffer used by a queued frame, measured: Linux 6.1 on x86-64 queues 278 frames in 212,992 bytes
/// and 555 in 425,984. 32-bit machines need less.
constexpr std::uint32_t bytesPerFrame = 768;

void add(std::string& list, const std::string& item, const char* separator = ", ") {
    list += (list.empty() ? "" : separator) + item;
}

std::string queueText(const interfaceSummary_t& interface) {
    return interface.receiveBuffer == 0
               ? std::string()
               : "receive queue " + countedText(queueFrames(interface.receiveBuffer), "frame");
}

std::string rateText(const interfaceSummary_t& interface) {
    return std::to_string(interface.bitRate) +
           (interface.dataBitRate > 0 ? '/' + std::to_string(interface.dataBitRate) : std::string()) +
           " bit/s";
}

/// The modes in which the controller does not see the bus as it is.
void addModes(std::string& text, std::uint32_t modes) {
    if ((modes & CAN_CTRLMODE_LOOPBACK) != 0) {
        add(text, "loopback");
    }
    if ((modes & CAN_CTRLMODE_LISTENONLY) != 0) {
        add(text, "listen-only");
    }
    if ((modes & CAN_CTRLMODE_BERR_REPORTING) == 0) {
        add(text, "bus errors not reported (berr-reporting off)");
    }
}

std::uint64_t errorFramesOf(const interfaceSummary_t& interface) {
    std::uint64_t sum = 0;
    for (const std::uint64_t n : interface.errorFrames) {
        sum += n;
    }
    return sum;
}

std::string classesText(const interfaceSummary_t& interface) {
    std::string text;
    for (std::size_t i = 0; i < errorClasses; ++i) {
        if (interface.errorFrames[i] > 0) {
            add(text, std::string(errorClassName(i)) + ' ' + grouped(interface.errorFrames[i]));
        }
    }
    return text.empty() ? text : " (" + text + ')';
}

} // namespace

std::uint64_t queueFrames(std::uint32_t receiveBuffer) {
    return (receiveBuffer + bytesPerFrame - 1) / bytesPerFrame; // the last frame may exceed the buffer
}

std::string eventText(const hostEvent_t& event) {
    switch (event.kind) {
    case HE_LINK_DOWN: return "link down";
    case HE_LINK_UP: return "link up after " + spanText(event.span);
    case HE_DELETED: return "interface deleted";
    case HE_MADE: return "interface made again after " + spanText(event.span);
    case HE_ERROR_FRAME: break;
    }
    return "error frame: " + event.text;
}

std::string interfaceText(const interfaceSummary_t& interface) {
    constexpr std::uint32_t most = 2 * receiveBufferBytes;
    std::string text = queueText(interface);
    if (!text.empty() && interface.receiveBuffer < most) {
        text += " (root or CAP_NET_ADMIN gets " + grouped(queueFrames(most)) + ')';
    }
    if (interface.controller) {
        add(text, canStateName(interface.state));
        add(text, rateText(interface));
        addModes(text, interface.modes);
    }
    if (interface.known && !interface.up) {
        add(text, "down");
    }
    return text;
}

std::string hostRow(const interfaceSummary_t& interface) {
    std::string row = queueText(interface);
    if (!row.empty()) {
        add(row, grouped(interface.queueDrops) + " dropped");
    }
    if (interface.known) {
        add(row, "driver overflows " + grouped(interface.driverOverflows), "; ");
        add(row, "kernel drops " + grouped(interface.kernelDrops), "; ");
        add(row, "link down " + countedText(interface.linkDowns, "time"), "; ");
    }
    return row;
}

std::string busRow(const interfaceSummary_t& interface) {
    const std::string errors = "error frames " + grouped(errorFramesOf(interface)) + classesText(interface);
    if (!interface.controller) {
        return errorFramesOf(interface) > 0 ? errors : std::string();
    }
    return canStateName(interface.state) + ", bus-off " + grouped(interface.statistics.bus_off) + ", " +
           errors + ", arbitration lost " + grouped(interface.statistics.arbitration_lost);
}
