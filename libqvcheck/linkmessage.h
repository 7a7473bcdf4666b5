#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <linux/can/netlink.h>

/// What an rtnetlink message says about a network interface.
struct linkMessage_t {
    int index = 0;
    std::string name;
    bool can = false;     ///< a CAN interface
    bool deleted = false; ///< it no longer exists
    bool up = false;
    std::uint64_t rxDropped = 0;    ///< frames for which the kernel had no room
    std::uint64_t rxOverflows = 0;  ///< of the controller and its driver; drivers count frames or occasions
    bool controller = false;        ///< CAN hardware; otherwise the rest is zero
    std::uint32_t state = 0;        ///< enum can_state
    std::uint32_t modes = 0;        ///< CAN_CTRLMODE_*
    std::uint32_t bitRate = 0;      ///< bit/s
    std::uint32_t dataBitRate = 0;  ///< bit/s; 0: no CAN FD
    can_device_stats statistics{};  ///< since the interface was created
    can_berr_counter errorCounts{}; ///< current ones of the controller
};

/// Reads the message of `n` bytes, header included. False if it concerns no interface.
bool readLinkMessage(const std::uint8_t* bytes, std::size_t n, linkMessage_t& message);
