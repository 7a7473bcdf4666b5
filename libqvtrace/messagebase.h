#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

typedef std::vector<std::uint8_t> byteVec_t;

/// Microseconds; in these tools the time of day as getMicroSecondsOfDay() gives it.
typedef std::uint64_t timeStamp_t;

/// The kinds of trace messages. Values in between belong to other tools of the family.
enum msgid_t : std::uint16_t {
    MSGID_CAN = 1,      ///< the older CAN kind: classic frames only
    MSGID_CAN_EXT = 11, ///< CAN and CAN FD
    MSGID_INVALID = 65535,
};

/// What happens to a sound record of an unregistered kind.
enum invalidMsgHandling_t {
    IMH_RETURN_NULL = 0,            ///< it is skipped
    IMH_RETURN_INVALID_MESSAGE = 1, ///< it is delivered as a plain MessageBase
};

/// Base of all trace messages, and itself a message of an unregistered kind, whose body is just bytes. A
/// value: copies are deep. Used by one thread at a time.
class MessageBase {
public:
    MessageBase(msgid_t _messageId, timeStamp_t _timeStamp) : messageId(_messageId), timeStamp(_timeStamp) {}
    MessageBase(const MessageBase&) = default;
    MessageBase& operator=(const MessageBase&) = default;
    virtual ~MessageBase();

    // The order of the virtual functions is part of the library's interface.

    /// Appends the record's body.
    virtual void appendBody(byteVec_t& out) const;

    /// Parses a record body of `n` bytes. Returns false and changes nothing if it is not a valid body of this
    /// kind.
    virtual bool readBody(const std::uint8_t* body, std::size_t n);

    /// Bytes of the record's body.
    virtual std::size_t getSize() const;

    /// The kind's readable name.
    virtual const char* getName() const;

    /// Writes the message as one line of text without a line end.
    virtual std::ostream& print(std::ostream& out) const;

    msgid_t getMessageId() const { return messageId; }
    timeStamp_t getTimeStamp() const { return timeStamp; }
    void setTimeStamp(timeStamp_t _timeStamp) { timeStamp = _timeStamp; }

    /// A note kept with the message in memory, not in its record.
    const std::string& getText() const { return text; }
    void setText(const std::string& _text) { text = _text; }

    /// Replaces `out` by the message's trace record (libqvtrace/record.h) and returns its size: header (if
    /// `withHeader`), body, checksum (if `withChecksum`; it covers the header even without `withHeader`).
    std::size_t createByteArray(byteVec_t& out, bool withHeader, bool withChecksum) const;

    /// `timeStamp` as a time of day, "HH:MM:SS.uuuuuu".
    static std::string printTimestamp(timeStamp_t timeStamp);

    /// Registers every kind of this library for `rebuild`. May be called again, but not while another thread
    /// rebuilds.
    static void registerMessages();

    /// Whether the kind is registered.
    static bool isRegistered(msgid_t kind);

    /// A new message, owned by the caller, from a record's kind and body. Null if the body is invalid for
    /// that kind, or if the kind is not registered and `invalidHandling` says so.
    static MessageBase* rebuild(msgid_t kind, const std::uint8_t* body, std::size_t n);

    static const std::uint8_t version; ///< of the record format
    static invalidMsgHandling_t invalidHandling;

private:
    std::string text;
    byteVec_t byteBuffer; ///< the body of a plain MessageBase
    msgid_t messageId;
    [[maybe_unused]] std::uint16_t word16 = 0; ///< reserved; copied along
    timeStamp_t timeStamp;
    [[maybe_unused]] std::uint32_t word32 = 0; ///< reserved; copied along
};

/// Writes the message with its own `print`.
inline std::ostream& operator<<(std::ostream& out, const MessageBase& message) {
    return message.print(out);
}
