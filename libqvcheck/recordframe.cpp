#include "libqvcheck/recordframe.h"

#include <cstring>

receivedFrame_t toReceivedFrame(const CANTraceMessageBase& message) {
    constexpr std::uint64_t lastMicros = INT64_MAX / 1000;
    const bool isFd = (message.getCanType() & CT_FD_STANDARD) != 0;
    receivedFrame_t frame{};
    frame.time = message.getTimeStamp() > lastMicros
                     ? receivedFrame_t::noTime
                     : static_cast<std::int64_t>(message.getTimeStamp()) * 1000;
    frame.canId = message.getCanId() |
                  (CANTraceMessageBase::isExtended(message.getCanType()) ? CAN_EFF_FLAG : 0U) |
                  (message.getType() == CF_TXREQUEST ? CAN_RTR_FLAG : 0U) |
                  (message.getType() == CF_ERROR ? CAN_ERR_FLAG : 0U);
    frame.length = message.getNumDataBytes();
    frame.fd = isFd || frame.length > CAN_MAX_DLEN;
    frame.flags = static_cast<std::uint8_t>(
        ((message.getStatus() & CANTraceMessageBase::FD_BRS_MASK) != 0 ? CANFD_BRS : 0U) |
        ((message.getStatus() & CANTraceMessageBase::FD_ESI_MASK) != 0 ? CANFD_ESI : 0U));
    frame.own = message.getType() == CF_TXMESSAGE;
    std::memcpy(frame.data, message.getDataBytes(), frame.length);
    return frame;
}
