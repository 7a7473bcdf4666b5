#include "libqvtrace/canexttracemessage.h"

CANExtTraceMessage::CANExtTraceMessage() : CANTraceMessageBase(MSGID_CAN_EXT, 0) {}

CANExtTraceMessage::CANExtTraceMessage(timeStamp_t time, std::uint8_t _channel, const canfd_frame& frame)
    : CANTraceMessageBase(MSGID_CAN_EXT, time, _channel, frame) {}

CANExtTraceMessage::~CANExtTraceMessage() = default;

std::ostream& operator<<(std::ostream& out, const CANExtTraceMessage& message) {
    return message.print(out);
}
