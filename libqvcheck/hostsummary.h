#pragma once

#include "libqvcheck/errorframe.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <linux/can/netlink.h>

/// What happened to an interface while a check ran.
enum hostEventKind_t : std::uint8_t {
    HE_LINK_DOWN,
    HE_LINK_UP, ///< `span`: how long it was down
    HE_DELETED,
    HE_MADE,        ///< an interface with that name exists again; `span`: how long there was none
    HE_ERROR_FRAME, ///< `text`: what it says
};

struct hostEvent_t {
    hostEventKind_t kind;
    std::uint8_t interface; ///< index into the run's InterfaceTable
    std::int64_t time;      ///< ns since the first frame of the run
    std::int64_t span;      ///< ns
    std::string text;
};

/// What this host reports on one of its interfaces. Counts are those of the run.
struct interfaceSummary_t {
    std::uint8_t interface = 0;      ///< index into the run's InterfaceTable
    std::uint32_t receiveBuffer = 0; ///< of the check's socket, in bytes; 0: unknown, or no socket of its own
    std::uint64_t queueDrops = 0;    ///< frames that the receive queue refused
    bool known = false;              ///< reported by rtnetlink; otherwise the rest is zero
    bool up = false;
    std::uint64_t driverOverflows = 0; ///< frames or occasions, depending on the driver
    std::uint64_t kernelDrops = 0;
    std::uint64_t linkDowns = 0; ///< deletions included
    bool controller = false;     ///< CAN hardware
    std::uint32_t state = 0;     ///< enum can_state
    std::uint32_t modes = 0;     ///< CAN_CTRLMODE_*
    std::uint32_t bitRate = 0;   ///< bit/s
    std::uint32_t dataBitRate = 0;
    can_device_stats statistics{};
    std::array<std::uint64_t, errorClasses> errorFrames{}; ///< by class; a frame may have several
};

/// What this host reports on itself.
struct hostSummary_t {
    std::vector<interfaceSummary_t> interfaces;
    std::uint64_t softnetDrops = 0; ///< between drivers and protocols, on all interfaces of the host
};

/// The name of a controller's state, enum can_state: "error-active".
std::string canStateName(std::uint32_t state);
