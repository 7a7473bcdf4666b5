#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <linux/can/netlink.h>

/// What a message of rtnetlink tells of a network interface.
struct linkMessage_t {
    int index = 0;
    std::string name;
    bool can = false;     ///< a CAN interface
    bool deleted = false; ///< it is no more
    bool up = false;
    std::uint64_t rxDropped = 0;    ///< frames that the kernel had no room for
    std::uint64_t rxOverflows = 0;  ///< of the controller and its driver; some count frames, some occasions
    bool controller = false;        ///< CAN hardware; what follows is zero without it
    std::uint32_t state = 0;        ///< enum can_state
    std::uint32_t modes = 0;        ///< CAN_CTRLMODE_*
    std::uint32_t bitRate = 0;      ///< bit/s
    std::uint32_t dataBitRate = 0;  ///< bit/s; 0: no CAN FD
    can_device_stats statistics{};  ///< since the interface was made
    can_berr_counter errorCounts{}; ///< of the controller, now
};

/// Reads the message of `n` bytes, header included. False when it tells of no interface.
bool readLinkMessage(const std::uint8_t* bytes, std::size_t n, linkMessage_t& message);
