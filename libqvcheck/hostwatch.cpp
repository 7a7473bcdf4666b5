#include "libqvcheck/hostwatch.h"

#include "libqvcheck/cansocket.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

/// The increase of a counter. One that went back was reset.
template<typename T>
T growth(T before, T now) {
    return now >= before ? now - before : now;
}

can_device_stats growth(const can_device_stats& before, const can_device_stats& now) {
    return {growth(before.bus_error, now.bus_error),
            growth(before.error_warning, now.error_warning),
            growth(before.error_passive, now.error_passive),
            growth(before.bus_off, now.bus_off),
            growth(before.arbitration_lost, now.arbitration_lost),
            growth(before.restarts, now.restarts)};
}

void add(can_device_stats& sum, const can_device_stats& more) {
    sum.bus_error += more.bus_error;
    sum.error_warning += more.error_warning;
    sum.error_passive += more.error_passive;
    sum.bus_off += more.bus_off;
    sum.arbitration_lost += more.arbitration_lost;
    sum.restarts += more.restarts;
}

} // namespace

std::string canStateName(std::uint32_t state) {
    static constexpr std::array<const char*, CAN_STATE_MAX> names = {
        "error-active", "error-warning", "error-passive", "bus-off", "stopped", "sleeping"};
    return state < names.size() ? names[state] : "state " + std::to_string(state);
}

HostWatch::HostWatch(const std::vector<std::string>& names, InterfaceTable& _interfaces, Causes& _causes,
                     tell_t _tell)
    : wanted(names),
      any(std::find(names.begin(), names.end(), anyInterface) != names.end()),
      interfaces(_interfaces),
      causes(_causes),
      teller(std::move(_tell)) {}

bool HostWatch::watches(const std::string& name) const {
    return any || std::find(wanted.begin(), wanted.end(), name) != wanted.end();
}

HostWatch::link_t& HostWatch::entry(std::uint8_t interface) {
    const auto found = std::find_if(links.begin(), links.end(), [interface](const link_t& link) {
        return link.told.interface == interface;
    });
    if (found != links.end()) {
        return *found;
    }
    links.emplace_back();
    links.back().told.interface = interface;
    return links.back();
}

void HostWatch::tell(hostEventKind_t kind, std::uint8_t interface, std::int64_t time,
                     std::int64_t span) const {
    teller({kind, interface, time, span, {}});
}

void HostWatch::link(const linkMessage_t& message, std::int64_t from, std::int64_t now) {
    if (!watches(message.name)) {
        return;
    }
    link_t& link = entry(interfaces.indexOf(message.name));
    if (message.deleted) {
        deleted(link, message, from, now);
        return;
    }
    if (!link.told.known) {
        firstLook(link, message, now);
    } else if (link.index != message.index) {
        madeAgain(link, message, now);
    }
    upOrDown(link, message.up, from, now);
    counters(link, message, now);
}

void HostWatch::firstLook(link_t& link, const linkMessage_t& message, std::int64_t now) const {
    link.told.known = true;
    link.told.up = message.up;
    link.index = message.index;
    link.downFrom = now;
    link.rxDropped = message.rxDropped;
    link.rxOverflows = message.rxOverflows;
    link.statistics = message.statistics;
}

/// The index changed without a deletion, whose message was therefore lost.
void HostWatch::madeAgain(link_t& link, const linkMessage_t& message, std::int64_t now) const {
    tell(HE_MADE, link.told.interface, now, link.gone ? now - link.goneFrom : 0);
    link.gone = false;
    link.index = message.index;
    link.rxDropped = 0;
    link.rxOverflows = 0;
    link.statistics = can_device_stats();
}

void HostWatch::deleted(link_t& link, const linkMessage_t& message, std::int64_t from, std::int64_t now) {
    if (!link.told.known || link.gone || link.index != message.index) {
        return;
    }
    upOrDown(link, false, from, now);
    link.gone = true;
    link.goneFrom = now;
    tell(HE_DELETED, link.told.interface, now, 0);
}

void HostWatch::upOrDown(link_t& link, bool up, std::int64_t from, std::int64_t now) {
    if (link.told.up == up) {
        return;
    }
    link.told.up = up;
    if (up) {
        causes.timed(LC_LINK, link.told.interface, link.downFrom, now, Causes::ANY_NUMBER);
        tell(HE_LINK_UP, link.told.interface, now, now - link.downFrom);
    } else {
        link.downFrom = from;
        ++link.told.linkDowns;
        tell(HE_LINK_DOWN, link.told.interface, now, 0);
    }
}

void HostWatch::counters(link_t& link, const linkMessage_t& message, std::int64_t now) {
    interfaceSummary_t& told = link.told;
    const std::uint64_t overflows =
        growth(std::exchange(link.rxOverflows, message.rxOverflows), message.rxOverflows);
    const std::uint64_t dropped = growth(std::exchange(link.rxDropped, message.rxDropped), message.rxDropped);
    const can_device_stats more =
        growth(std::exchange(link.statistics, message.statistics), message.statistics);
    const std::int64_t before = std::exchange(link.lookedAt, now);
    told.driverOverflows += overflows;
    told.kernelDrops += dropped;
    add(told.statistics, more);
    told.controller = message.controller;
    told.state = message.state;
    told.modes = message.modes;
    told.bitRate = message.bitRate;
    told.dataBitRate = message.dataBitRate;
    if (overflows > 0) {
        causes.timed(LC_DRIVER, told.interface, before, now, Causes::ANY_NUMBER);
    }
    if (dropped > 0) {
        causes.timed(LC_KERNEL, told.interface, before, now, dropped);
    }
    if (more.bus_error + more.error_passive + more.bus_off + more.restarts > 0) {
        causes.timed(LC_BUS, told.interface, before, now, Causes::ANY_NUMBER);
    }
}

void HostWatch::softnet(std::uint64_t count, std::int64_t now) {
    const std::uint64_t before = std::exchange(softnetCount, count);
    const std::int64_t from = std::exchange(softnetAt, now);
    if (!std::exchange(softnetKnown, true)) {
        return;
    }
    const std::uint64_t more = growth(before, count);
    softnetDrops += more;
    if (more > 0) {
        causes.timed(LC_KERNEL, Causes::EVERY_INTERFACE, from, now, more);
    }
}

void HostWatch::errorFrame(const receivedFrame_t& frame, std::uint64_t arrival, std::int64_t time) {
    interfaceSummary_t& told = entry(frame.interface).told;
    for (std::size_t i = 0; i < errorClasses; ++i) {
        told.errorFrames[i] += (frame.canId >> i) & 1U;
    }
    const errorFrameKind_t kind = errorFrameKind(frame);
    if (kind != EF_OTHER) {
        causes.placed(kind == EF_OVERFLOW ? LC_DRIVER : LC_BUS, frame.interface, arrival);
    }
    teller({HE_ERROR_FRAME, frame.interface, time, 0, errorFrameText(frame)});
}

void HostWatch::queueDropped(std::uint8_t interface, std::uint32_t n) {
    entry(interface).told.queueDrops += n;
}

void HostWatch::droppedBefore(const receivedFrame_t& frame) {
    queueDropped(any ? interfaces.indexOf(anyInterface) : frame.interface, frame.dropped);
}

void HostWatch::receiveBuffer(std::uint8_t interface, std::uint32_t bytes) {
    entry(interface).told.receiveBuffer = bytes;
}

void HostWatch::finish(std::int64_t now) {
    for (const link_t& link : links) {
        if (link.told.known && !link.told.up) {
            causes.timed(LC_LINK, link.told.interface, link.downFrom, now, Causes::ANY_NUMBER);
        }
    }
}

bool HostWatch::isGone(std::uint8_t interface) const {
    return std::any_of(links.begin(), links.end(), [interface](const link_t& link) {
        return link.told.interface == interface && link.gone;
    });
}

hostSummary_t HostWatch::summary() const {
    hostSummary_t all;
    for (const link_t& link : links) {
        all.interfaces.push_back(link.told);
    }
    all.softnetDrops = softnetDrops;
    return all;
}
