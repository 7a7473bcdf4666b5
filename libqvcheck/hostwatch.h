#pragma once

#include "libqvcheck/causes.h"
#include "libqvcheck/framesource.h"
#include "libqvcheck/hostsummary.h"
#include "libqvcheck/linkmessage.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Keeps what this host reports on its interfaces while a check runs, and turns it into evidence and events.
/// All times are ns since the first frame of the run.
class HostWatch {
public:
    typedef std::function<void(const hostEvent_t&)> tell_t;

    /// Watches the interfaces in `names`, all of them if `anyInterface` is among these. `_interfaces` and
    /// `_causes` outlive it.
    HostWatch(const std::vector<std::string>& names, InterfaceTable& _interfaces, Causes& _causes,
              tell_t _tell);

    /// A message of rtnetlink. What it reports happened between `from` and `now`; its counters grew since the
    /// previous message.
    void link(const linkMessage_t& message, std::int64_t from, std::int64_t now);

    /// The host's current count of frames dropped between drivers and protocols.
    void softnet(std::uint64_t count, std::int64_t now);

    /// `frame` is an error frame; `arrival` its number, `time` its own.
    void errorFrame(const receivedFrame_t& frame, std::uint64_t arrival, std::int64_t time);

    /// The receive queue of the interface refused `n` frames.
    void queueDropped(std::uint8_t interface, std::uint32_t n);

    /// The receive queue of `frame` refused frames right before it. A queue shared by all interfaces does not
    /// say which interface they were of.
    void droppedBefore(const receivedFrame_t& frame);

    /// The size of the receive buffer of the interface's socket.
    void receiveBuffer(std::uint8_t interface, std::uint32_t bytes);

    /// The end: interfaces that are down count as down until now.
    void finish(std::int64_t now);

    /// The interface was deleted, and no new one has its name.
    bool isGone(std::uint8_t interface) const;

    hostSummary_t summary() const;

private:
    struct link_t {
        interfaceSummary_t told;
        int index = 0; ///< the system's
        bool gone = false;
        std::int64_t downFrom = 0; ///< earliest possible
        std::int64_t goneFrom = 0;
        std::int64_t lookedAt = 0;   ///< when the counters were reported
        std::uint64_t rxDropped = 0; ///< as last reported
        std::uint64_t rxOverflows = 0;
        can_device_stats statistics{};
    };

    bool watches(const std::string& name) const;
    link_t& entry(std::uint8_t interface);
    void tell(hostEventKind_t kind, std::uint8_t interface, std::int64_t time, std::int64_t span) const;
    void firstLook(link_t& link, const linkMessage_t& message, std::int64_t now) const;
    void deleted(link_t& link, const linkMessage_t& message, std::int64_t from, std::int64_t now);
    void madeAgain(link_t& link, const linkMessage_t& message, std::int64_t now) const;
    void upOrDown(link_t& link, bool up, std::int64_t from, std::int64_t now);
    void counters(link_t& link, const linkMessage_t& message, std::int64_t now);

    std::vector<std::string> wanted;
    bool any;
    InterfaceTable& interfaces;
    Causes& causes;
    tell_t teller;
    std::vector<link_t> links;
    bool softnetKnown = false;
    std::uint64_t softnetCount = 0; ///< as last reported
    std::uint64_t softnetDrops = 0;
    std::int64_t softnetAt = 0;
};
