#pragma once

#include <cstdint>

#include <linux/can.h>

/// One frame as delivered by a source: a socket, a device file or a recording. A plain value that owns
/// nothing. From `canId` to `data` it has the layout of the kernel's `canfd_frame`, so that a socket's frames
/// are received in place.
struct receivedFrame_t {
    /// ns on the source's clock (a log's own time stamps, the kernel's receive stamp); `noTime` if the source
    /// provides none. May step back.
    std::int64_t time;
    std::uint32_t canId;    ///< SocketCAN form: identifier with CAN_EFF_FLAG, CAN_RTR_FLAG, CAN_ERR_FLAG
    std::uint8_t length;    ///< bytes of payload, 0 to 64
    std::uint8_t flags;     ///< of an FD frame: CANFD_BRS, CANFD_ESI
    std::uint8_t interface; ///< index into the run's InterfaceTable
    bool xl;                ///< a CAN XL frame: counted, not examined
    std::uint8_t data[CANFD_MAX_DLEN]; ///< valid up to `length`
    std::uint32_t dropped;             ///< frames that the source itself lost since the previous frame
    bool leftOut;                      ///< the frames in `dropped` are not lost: the recording omits them
    bool fd;                           ///< a CAN FD frame
    bool own;                          ///< sent by this host

    static constexpr std::int64_t noTime = INT64_MIN;
};
