#include "libqvtrace/cantracemessage.h"

bool CANTraceMessage::readBody(const std::uint8_t* body, std::size_t n) {
    CANTraceMessage candidate;
    if (!candidate.CANTraceMessageBase::readBody(body, n)) {
        return false;
    }
    if (candidate.getNumDataBytes() > CAN_MAX_DLEN || candidate.getCanType() > CT_EXTENDED) {
        return false;
    }
    *this = candidate;
    return true;
}

const char* CANTraceMessage::getName() const {
    return "classic CAN";
}
