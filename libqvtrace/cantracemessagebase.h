#pragma once

#include "libqvtrace/canconst.h"
#include "libqvtrace/messagebase.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <linux/can.h>

/// A CAN or CAN FD frame as a trace message: content and all operations. The identifier is always masked to
/// the width of the CAN type. Nothing here reports an error: identifiers are masked, byte counts above 64 are
/// cut to 64.
class CANTraceMessageBase : public MessageBase {
public:
    CANTraceMessageBase(msgid_t kind, timeStamp_t time);
    CANTraceMessageBase(msgid_t kind, timeStamp_t time, std::uint8_t _channel, canframe_t _type,
                        canstaterr_t _status, cantype_t _canType, std::uint8_t len, std::uint32_t _canId,
                        const std::uint8_t* _data)
        : MessageBase(kind, time),
          channel(_channel),
          type(_type),
          status(_status),
          canType(_canType),
          numDataBytes(0),
          canId(fixCanId(_canId, _canType)) {
        setDataBytes(_data, len);
    }
    CANTraceMessageBase(msgid_t kind, timeStamp_t time, std::uint8_t _channel, const canfd_frame& frame);

    void appendBody(byteVec_t& out) const override;
    bool readBody(const std::uint8_t* body, std::size_t n) override;
    std::size_t getSize() const override;
    const char* getName() const override;

    /// Time of day, channel, identifier and data in candump's log notation (`123#1122`, `1FFFFFFF##1AB`,
    /// `123#R4`), and the frame type unless it is an ordinary one.
    std::ostream& print(std::ostream& out) const override;

    std::uint8_t getChannel() const { return channel; }
    canframe_t getType() const { return type; }
    std::uint8_t getStatus() const { return status; }
    cantype_t getCanType() const { return canType; }
    std::uint8_t getNumDataBytes() const { return numDataBytes; }
    std::uint32_t getCanId() const { return canId; }
    std::uint8_t* getDataBytes() { return data; }
    const std::uint8_t* getDataBytes() const { return data; }

    static bool isExtended(cantype_t canType) { return (canType & ~2U) == CT_EXTENDED; }

    /// `id` masked to the width of `canType`.
    static std::uint32_t fixCanId(std::uint32_t id, cantype_t canType) {
        return id & (isExtended(canType) ? CAN_EFF_MASK : CAN_SFF_MASK);
    }

    /// Masks the message's identifier, then replaces 0 by 1.
    void fixCanId() {
        canId = fixCanId(canId, canType);
        canId = canId == 0 ? 1 : canId;
    }

    /// Sets the masked identifier. 0 remains 0 here.
    void setCanId(std::uint32_t id) { canId = fixCanId(id, canType); }

    /// The CAN FD length code for `num` bytes, rounded up to the next valid length (ISO 11898-1, DLC coding).
    static std::uint8_t numDataBytes2dlc(std::uint8_t num) {
        if (num <= 8) {
            return num;
        }
        if (num <= 24) {
            return static_cast<std::uint8_t>((num + 27) >> 2);
        }
        return num <= 64 ? static_cast<std::uint8_t>((num + 191) >> 4) : 15;
    }

    /// The length code, not the byte count: a loop over the payload up to it reaches bytes 0 to 14 of 64.
    std::uint8_t getDlc() const { return numDataBytes2dlc(numDataBytes); }

    /// Copies min(`n`, 64) bytes and makes that the byte count; the payload bytes after them are unchanged.
    void setDataBytes(const std::uint8_t* bytes, std::size_t n) {
        numDataBytes = static_cast<std::uint8_t>(std::min(n, sizeof data));
        if (numDataBytes > 0) {
            copyBytes(data, bytes, numDataBytes);
        }
    }

    /// The frame for a raw CAN socket, with everything after the payload 0. CAN_EFF_FLAG is set only for
    /// CT_EXTENDED, not for CT_FD_EXTENDED: that asymmetry is intended. No FD flags: the frame's writer sets
    /// them. A remote request carries no payload.
    canfd_frame getCanFdFrame() const;

    /// Starts the test pattern from an identifier in SocketCAN form, flags included; 64 bytes if `fd`, else
    /// 8.
    void resetPattern(std::uint32_t socketCanId, bool fd);

    /// Starts the test pattern: bytes 0 to 3 count from `_canId`, big-endian, byte 4 + i is i. A message
    /// identifier of 0 becomes 1, while the counter starts at 0: the difference is intended.
    void resetPattern(canframe_t _type, cantype_t _canType, std::uint32_t _canId, bool fd);

    /// Advances the test pattern by one frame: the 32-bit counter, the identifier derived from it (masked, 0
    /// replaced by 1), and each further byte independently.
    void mutatePattern();

    static const std::uint8_t FD_ESI_MASK;
    static const std::uint8_t FD_BRS_MASK;
    static const std::uint8_t CANSTATERR_MASK;

    /// Byte count of each length code (ISO 11898-1, DLC coding).
    static const unsigned char numDlcBytes[16];

private:
    /// Copies `n` bytes of payload, in a few instructions for the pattern's two lengths.
    static void copyBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t n) {
        switch (n) {
        case 8: std::memcpy(to, from, 8); break;
        case sizeof data: std::memcpy(to, from, sizeof data); break;
        default: std::memcpy(to, from, n); break;
        }
    }

    /// Adds 1 to each byte from byte 4 to before byte `n`. Given a constant, the compiler takes many at a
    /// time.
    void increment(std::size_t n) {
        for (std::size_t i = 4; i < n; ++i) {
            ++data[i];
        }
    }

    static void uint32ToByteArray(std::uint32_t value, std::uint8_t* bytes);
    static std::uint32_t byteArrayToUint32(const std::uint8_t* bytes);

    std::uint8_t channel;
    canframe_t type;
    std::uint8_t status; ///< low four bits a canstaterr_t, then FD_BRS_MASK and FD_ESI_MASK
    cantype_t canType;
    std::uint8_t numDataBytes;
    std::uint32_t canId; ///< without flag bits
    std::uint8_t data[CANFD_MAX_DLEN] = {};
};

inline canfd_frame CANTraceMessageBase::getCanFdFrame() const {
    canfd_frame frame{};
    frame.can_id = canId | (canType == CT_EXTENDED ? CAN_EFF_FLAG : 0U);
    frame.len = numDataBytes;
    if (type == CF_TXREQUEST) {
        frame.can_id |= CAN_RTR_FLAG;
    } else {
        copyBytes(frame.data, data, numDataBytes);
    }
    return frame;
}

inline void CANTraceMessageBase::uint32ToByteArray(std::uint32_t value, std::uint8_t* bytes) {
    bytes[0] = static_cast<std::uint8_t>(value >> 24U);
    bytes[1] = static_cast<std::uint8_t>(value >> 16U);
    bytes[2] = static_cast<std::uint8_t>(value >> 8U);
    bytes[3] = static_cast<std::uint8_t>(value);
}

inline std::uint32_t CANTraceMessageBase::byteArrayToUint32(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24U | std::uint32_t{bytes[1]} << 16U | std::uint32_t{bytes[2]} << 8U |
           bytes[3];
}

inline void CANTraceMessageBase::resetPattern(std::uint32_t socketCanId, bool fd) {
    const cantype_t width = (socketCanId & CAN_EFF_FLAG) != 0 ? CT_EXTENDED : CT_STANDARD;
    resetPattern((socketCanId & CAN_RTR_FLAG) != 0 ? CF_TXREQUEST : CF_STANDARD, width,
                 fixCanId(socketCanId, width), fd);
}

inline void CANTraceMessageBase::resetPattern(canframe_t _type, cantype_t _canType, std::uint32_t _canId,
                                              bool fd) {
    type = _type;
    canType = _canType;
    status = CSE_NO;
    numDataBytes = fd ? 64 : 8;
    uint32ToByteArray(_canId, data);
    canId = _canId;
    fixCanId();
    for (std::uint8_t i = 4; i < numDataBytes; ++i) {
        data[i] = static_cast<std::uint8_t>(i - 4);
    }
}

inline void CANTraceMessageBase::mutatePattern() {
    const std::uint32_t counter = byteArrayToUint32(data) + 1;
    uint32ToByteArray(counter, data);
    canId = counter;
    fixCanId();
    switch (numDataBytes) {
    case 8: increment(8); break;
    case sizeof data: increment(sizeof data); break;
    default: increment(numDataBytes); break;
    }
}
