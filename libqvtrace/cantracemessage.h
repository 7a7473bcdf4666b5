#pragma once

#include "libqvtrace/cantracemessagebase.h"

/// The older kind MSGID_CAN: classic frames of at most 8 bytes, with the same body layout. The device
/// rebuilds it only to discard it.
class CANTraceMessage : public CANTraceMessageBase {
public:
    CANTraceMessage() : CANTraceMessageBase(MSGID_CAN, 0) {}
    bool readBody(const std::uint8_t* body, std::size_t n) override;
    const char* getName() const override;
};
