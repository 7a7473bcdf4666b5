#include "libqvtrace/cantracemessagebase.h"

#include "libqvtrace/record.h"
#include "libqvutil/hex.h"

#include <array>
#include <ostream>
#include <string>

namespace {

constexpr std::size_t fixedBodySize = 16; // time stamp 8, channel, frame type, status, CAN type, identifier 4

const char* errorName(std::uint8_t state) {
    static const std::array<const char*, CSE_NUM> names = {"no",   "stuff", "format", "acknowledge",
                                                           "bit1", "bit0",  "crc",    "overrun"};
    return state < names.size() ? names[state] : "unknown";
}

} // namespace

const std::uint8_t CANTraceMessageBase::FD_ESI_MASK = 0x80;
const std::uint8_t CANTraceMessageBase::FD_BRS_MASK = 0x40;
const std::uint8_t CANTraceMessageBase::CANSTATERR_MASK = 0x0F;
const unsigned char CANTraceMessageBase::numDlcBytes[16] = {0, 1,  2,  3,  4,  5,  6,  7,
                                                            8, 12, 16, 20, 24, 32, 48, 64};

// Extended, not standard: intended.
CANTraceMessageBase::CANTraceMessageBase(msgid_t kind, timeStamp_t time)
    : MessageBase(kind, time),
      channel(0),
      type(CF_STANDARD),
      status(CSE_NO),
      canType(CT_EXTENDED),
      numDataBytes(0),
      canId(0) {}

CANTraceMessageBase::CANTraceMessageBase(msgid_t kind, timeStamp_t time, std::uint8_t _channel,
                                         const canfd_frame& frame)
    : MessageBase(kind, time),
      channel(_channel),
      type((frame.can_id & CAN_RTR_FLAG) != 0 ? CF_TXREQUEST : CF_STANDARD),
      status(CSE_NO),
      canType((frame.can_id & CAN_EFF_FLAG) != 0 ? CT_EXTENDED : CT_STANDARD),
      numDataBytes(0),
      canId(fixCanId(frame.can_id, canType)) {
    if (type == CF_TXREQUEST) {
        numDataBytes = std::min<std::uint8_t>(frame.len, sizeof data);
    } else {
        setDataBytes(frame.data, frame.len);
    }
}

void CANTraceMessageBase::appendBody(byteVec_t& out) const {
    const std::size_t begin = out.size();
    out.resize(begin + getSize());
    std::uint8_t* const body = out.data() + begin;
    record::putBigEndian(body, getTimeStamp(), 8);
    body[8] = channel;
    body[9] = static_cast<std::uint8_t>(type);
    body[10] = status;
    body[11] = static_cast<std::uint8_t>(canType);
    record::putBigEndian(body + 12, canId, 4);
    std::copy_n(data, numDataBytes, body + fixedBodySize);
}

bool CANTraceMessageBase::readBody(const std::uint8_t* body, std::size_t n) {
    if (n < fixedBodySize || n > fixedBodySize + sizeof data) {
        return false;
    }
    const std::uint8_t state = body[10] & CANSTATERR_MASK;
    const bool knownStatus =
        state < CSE_NUM && (body[10] & ~(CANSTATERR_MASK | FD_BRS_MASK | FD_ESI_MASK)) == 0;
    if (body[9] >= CF_NUM || body[11] > CT_FD_EXTENDED || !knownStatus) {
        return false;
    }
    const auto width = static_cast<cantype_t>(body[11]);
    const auto id = static_cast<std::uint32_t>(record::getBigEndian(body + 12, 4));
    if (id != fixCanId(id, width)) {
        return false;
    }
    setTimeStamp(record::getBigEndian(body, 8));
    channel = body[8];
    type = static_cast<canframe_t>(body[9]);
    status = body[10];
    canType = width;
    canId = id;
    setDataBytes(body + fixedBodySize, n - fixedBodySize);
    return true;
}

std::size_t CANTraceMessageBase::getSize() const {
    return fixedBodySize + numDataBytes;
}

const char* CANTraceMessageBase::getName() const {
    return "CAN";
}

std::ostream& CANTraceMessageBase::print(std::ostream& out) const {
    std::string line = printTimestamp(getTimeStamp()) + " ch" + std::to_string(channel) + ' ';
    appendHex(line, canId, isExtended(canType) ? 8 : 3, true);
    const bool fd = (canType & CT_FD_STANDARD) != 0 || numDataBytes > CAN_MAX_DLEN;
    line += fd ? "##" : "#";
    if (fd) {
        const unsigned int flags =
            ((status & FD_BRS_MASK) != 0 ? CANFD_BRS : 0U) | ((status & FD_ESI_MASK) != 0 ? CANFD_ESI : 0U);
        appendHex(line, flags, 1, true);
    }
    if (type == CF_TXREQUEST) {
        line += 'R' + (numDataBytes > 0 ? std::to_string(numDataBytes) : std::string());
    } else {
        for (std::uint8_t i = 0; i < numDataBytes; ++i) {
            appendHex(line, data[i], 2, true);
        }
    }
    if (type == CF_ERROR || (status & CANSTATERR_MASK) != CSE_NO) {
        line += std::string(" error=") + errorName(status & CANSTATERR_MASK);
    }
    line += type == CF_TXMESSAGE ? " tx" : "";
    return out << line;
}
