#pragma once

#include <cstddef>
#include <cstdint>

#include <linux/can.h>

// Constants of the wire and the kernel, checked against the kernel's headers.
static_assert(sizeof(canfd_frame) == 72 && CANFD_MTU == 72,
              "linux/can.h: an FD frame crosses the socket as 72 bytes");
static_assert(sizeof(can_frame) == 16 && CAN_MTU == 16,
              "linux/can.h: a classic frame crosses the socket as 16 bytes");
static_assert(offsetof(canfd_frame, can_id) == 0 && offsetof(canfd_frame, len) == 4 &&
                  offsetof(canfd_frame, flags) == 5 && offsetof(canfd_frame, data) == 8,
              "linux/can.h: layout of canfd_frame");
static_assert(CAN_EFF_FLAG == 0x80000000U && CAN_RTR_FLAG == 0x40000000U && CAN_ERR_FLAG == 0x20000000U,
              "linux/can.h: identifier flags");
static_assert(CAN_EFF_MASK == 0x1FFFFFFFU && CAN_SFF_MASK == 0x7FFU,
              "ISO 11898-1: identifiers of 29 and 11 bits");
static_assert(CANFD_BRS == 0x01 && CANFD_ESI == 0x02, "linux/can.h: FD flags");
static_assert(CANFD_MAX_DLEN == 64, "ISO 11898-1: at most 64 bytes of data");

/// The type of a frame.
enum canframe_t : std::uint32_t {
    CF_STANDARD = 0,  ///< an ordinary data frame, received or sent
    CF_ERROR = 1,     ///< an error frame
    CF_TXMESSAGE = 2, ///< a frame that this node transmitted itself; never answered
    CF_TXREQUEST = 3, ///< a remote transmission request
    CF_NUM = 4,
};

/// Width of the identifier and classic or FD. Bit 1 means FD, bit 0 means extended.
enum cantype_t : std::uint32_t {
    CT_STANDARD = 0,    ///< 11 bits
    CT_EXTENDED = 1,    ///< 29 bits
    CT_FD_STANDARD = 2, ///< 11 bits
    CT_FD_EXTENDED = 3, ///< 29 bits
};

/// Error state of a frame (ISO 11898-1: error types, and receiver overrun).
enum canstaterr_t : std::uint8_t {
    CSE_NO = 0,
    CSE_STUFF = 1,
    CSE_FORMAT = 2,
    CSE_ACKNOWLEDGE = 3,
    CSE_BIT1 = 4,
    CSE_BIT0 = 5,
    CSE_CRC = 6,
    CSE_OVERRUN = 7,
    CSE_NUM = 8,
};
