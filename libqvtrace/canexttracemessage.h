#pragma once

#include "libqvtrace/cantracemessagebase.h"

#include <iosfwd>

/// The message of kind MSGID_CAN_EXT: the one in-memory form of a CAN or CAN FD frame in these tools.
class CANExtTraceMessage : public CANTraceMessageBase {
public:
    /// Time stamp 0, channel 0, an ordinary frame, extended identifier 0, no data.
    CANExtTraceMessage();

    /// The identifier is masked to the width of `_canType`, `len` is cut to 64.
    CANExtTraceMessage(timeStamp_t time, std::uint8_t _channel, canframe_t _type, canstaterr_t _status,
                       cantype_t _canType, std::uint8_t len, std::uint32_t _canId, const std::uint8_t* _data)
        : CANTraceMessageBase(MSGID_CAN_EXT, time, _channel, _type, _status, _canType, len, _canId, _data) {}

    /// From a SocketCAN frame: a remote request if CAN_RTR_FLAG is set (then with zero data), extended if
    /// CAN_EFF_FLAG is, never an FD type.
    CANExtTraceMessage(timeStamp_t time, std::uint8_t _channel, const canfd_frame& frame);

    ~CANExtTraceMessage() override;
    CANExtTraceMessage(const CANExtTraceMessage&) = default;
    CANExtTraceMessage& operator=(const CANExtTraceMessage&) = default;
};

/// Writes the message as one line of text without a line end.
std::ostream& operator<<(std::ostream& out, const CANExtTraceMessage& message);
