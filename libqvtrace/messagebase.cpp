#include "libqvtrace/messagebase.h"

#include "libqvtrace/canexttracemessage.h"
#include "libqvtrace/cantracemessage.h"
#include "libqvtrace/record.h"
#include "libqvutil/hex.h"

#include <cstdio>
#include <map>
#include <memory>
#include <ostream>

namespace {

typedef MessageBase* (*creator_t)();

std::map<msgid_t, creator_t>& factory() {
    static std::map<msgid_t, creator_t> creators;
    return creators;
}

} // namespace

const std::uint8_t MessageBase::version = 1;
invalidMsgHandling_t MessageBase::invalidHandling = IMH_RETURN_NULL;

MessageBase::~MessageBase() = default;

void MessageBase::appendBody(byteVec_t& out) const {
    out.insert(out.end(), byteBuffer.begin(), byteBuffer.end());
}

bool MessageBase::readBody(const std::uint8_t* body, std::size_t n) {
    if (n > record::maxBody) {
        return false;
    }
    byteBuffer.assign(body, body + n);
    return true;
}

std::size_t MessageBase::getSize() const {
    return byteBuffer.size();
}

const char* MessageBase::getName() const {
    return "message";
}

std::ostream& MessageBase::print(std::ostream& out) const {
    std::string line = std::string(getName()) + " of kind " + std::to_string(messageId) + ", " +
                       std::to_string(byteBuffer.size()) + " bytes";
    for (const std::uint8_t byte : byteBuffer) {
        line += ' ';
        appendHex(line, byte, 2, true);
    }
    return out << line;
}

std::size_t MessageBase::createByteArray(byteVec_t& out, bool withHeader, bool withChecksum) const {
    out.clear();
    out.reserve(record::headerSize + getSize() + record::checksumSize);
    out.resize(record::headerSize);
    appendBody(out);
    record::putHeader(out.data(), messageId, out.size() - record::headerSize);
    if (withChecksum) {
        const std::uint32_t crc = record::crc32(out.data() + 2, out.size() - 2);
        out.resize(out.size() + record::checksumSize);
        record::putBigEndian(out.data() + out.size() - record::checksumSize, crc, record::checksumSize);
    }
    if (!withHeader) {
        out.erase(out.begin(), out.begin() + record::headerSize);
    }
    return out.size();
}

std::string MessageBase::printTimestamp(timeStamp_t timeStamp) {
    constexpr timeStamp_t second = 1000000;
    const auto part = [timeStamp](timeStamp_t unit, timeStamp_t count) {
        return static_cast<unsigned int>(timeStamp / unit % count);
    };
    char text[sizeof "HH:MM:SS.uuuuuu"];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u.%06u", part(3600 * second, 24), part(60 * second, 60),
                  part(second, 60), part(1, second));
    return text;
}

void MessageBase::registerMessages() {
    factory() = {
        {MSGID_CAN, []() -> MessageBase* { return new CANTraceMessage(); }},
        {MSGID_CAN_EXT, []() -> MessageBase* { return new CANExtTraceMessage(); }},
    };
}

bool MessageBase::isRegistered(msgid_t kind) {
    return factory().count(kind) != 0;
}

MessageBase* MessageBase::rebuild(msgid_t kind, const std::uint8_t* body, std::size_t n) {
    const auto entry = factory().find(kind);
    if (entry == factory().end() && invalidHandling == IMH_RETURN_NULL) {
        return nullptr;
    }
    std::unique_ptr<MessageBase> message(entry == factory().end() ? new MessageBase(kind, 0)
                                                                  : entry->second());
    return message->readBody(body, n) ? message.release() : nullptr;
}
