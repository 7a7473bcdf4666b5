#include "libqvcheck/frametext.h"

#include "libqvutil/hex.h"

#include <array>
#include <cstddef>
#include <cstring>

namespace {

/// Table entry of a character that is no digit; above every byte.
constexpr std::uint16_t noDigit = 0x100;

/// The value of each hexadecimal digit, shifted, or `noDigit`.
template<unsigned int shift>
constexpr std::array<std::uint16_t, 256> makeDigits() {
    std::array<std::uint16_t, 256> digits{};
    for (std::size_t c = 0; c < digits.size(); ++c) {
        const bool lower = c >= 'a' && c <= 'f';
        const bool upper = c >= 'A' && c <= 'F';
        const std::size_t value = lower ? c - 'a' + 10 : upper ? c - 'A' + 10 : c - '0';
        digits[c] =
            (c >= '0' && c <= '9') || lower || upper ? static_cast<std::uint16_t>(value << shift) : noDigit;
    }
    return digits;
}

constexpr std::array<std::uint16_t, 256> highDigits = makeDigits<4>();
constexpr std::array<std::uint16_t, 256> lowDigits = makeDigits<0>();

unsigned int digitAt(const char* at) {
    return lowDigits[static_cast<unsigned char>(*at)];
}

/// The byte given by two digits; more than a byte if either is not a digit.
unsigned int byteAt(const char* at) {
    return highDigits[static_cast<unsigned char>(*at)] | digitAt(at + 1);
}

/// Pairs of hexadecimal digits, each optionally followed by a dot, for at most `most` bytes. Returns null on
/// half a pair or a byte too many.
const char* readData(const char* at, const char* end, receivedFrame_t& frame, std::size_t most) {
    std::uint8_t* data = frame.data;
    const std::uint8_t* const full = data + most;
    while (end - at >= 2 && data != full) {
        const unsigned int byte = byteAt(at);
        if (byte < noDigit) {
            *data++ = static_cast<std::uint8_t>(byte);
            at += 2;
        } else if (*at == '.' && data != frame.data && at[-1] != '.') {
            ++at;
        } else {
            break;
        }
    }
    frame.length = static_cast<std::uint8_t>(data - frame.data);
    at += data != frame.data && at < end && *at == '.' && at[-1] != '.' ? 1 : 0;
    return at < end && digitAt(at) != noDigit ? nullptr : at;
}

/// `_` and a length code above 8, which only a classic frame of 8 bytes may have.
const char* readRawLengthCode(const char* at, const char* end, const receivedFrame_t& frame) {
    if (at == end || *at != '_') {
        return at;
    }
    const bool sound = frame.length == CAN_MAX_DLEN && end - at >= 2 && digitAt(at + 1) > CAN_MAX_DLEN &&
                       digitAt(at + 1) != noDigit;
    return sound ? at + 2 : nullptr;
}

const char* readRemote(const char* at, const char* end, receivedFrame_t& frame) {
    frame.canId |= CAN_RTR_FLAG;
    frame.length = 0;
    if (at < end && *at >= '0' && *at <= '8') {
        frame.length = static_cast<std::uint8_t>(*at - '0');
        ++at;
    }
    std::memset(frame.data, 0, frame.length);
    return readRawLengthCode(at, end, frame);
}

const char* readFd(const char* at, const char* end, receivedFrame_t& frame) {
    if (at == end || digitAt(at) == noDigit) {
        return nullptr;
    }
    frame.fd = true;
    frame.flags = static_cast<std::uint8_t>(digitAt(at) & (CANFD_BRS | CANFD_ESI));
    return readData(at + 1, end, frame, CANFD_MAX_DLEN);
}

/// What follows the identifier of a CAN XL frame: flags, type and acceptance field between colons, then `#`
/// and data. All of it is discarded.
const char* readXl(const char* at, const char* end, receivedFrame_t& frame) {
    frame.xl = true;
    frame.length = 0;
    int colons = 0;
    while (at < end && (*at == ':' || digitAt(at) != noDigit)) {
        colons += *at++ == ':' ? 1 : 0;
    }
    if (colons != 2 || at == end || *at != '#') {
        return nullptr;
    }
    for (++at; at < end && (*at == '.' || digitAt(at) != noDigit);) {
        ++at;
    }
    return at;
}

bool takeIdentifier(std::uint32_t id, std::ptrdiff_t width, receivedFrame_t& frame) {
    switch (width) {
    case 3: frame.canId = id; return id <= CAN_SFF_MASK;
    case 5: frame.canId = id & CAN_SFF_MASK; return true; // network id and priority of CAN XL
    case 8:
        // An identifier has 29 bits, so the error flag above them is unambiguous; it replaces the other
        // flags.
        frame.canId = (id & CAN_ERR_FLAG) != 0 ? id : id | CAN_EFF_FLAG;
        return id <= (CAN_ERR_FLAG | CAN_EFF_MASK);
    default: return false;
    }
}

} // namespace

const char* readFrameText(const char* at, const char* end, receivedFrame_t& frame) {
    const char* const begin = at;
    std::uint32_t id = 0;
    while (at < end && digitAt(at) != noDigit && at - begin < 9) {
        id = id << 4U | digitAt(at++);
    }
    if (at == end || *at != '#' || !takeIdentifier(id, at - begin, frame)) {
        return nullptr;
    }
    const bool xl = at - begin == 5;
    ++at;
    frame.flags = 0;
    frame.fd = false;
    frame.xl = false;
    if (xl) {
        return readXl(at, end, frame);
    }
    if (at < end && *at == '#') {
        return readFd(at + 1, end, frame);
    }
    if (at < end && (*at == 'R' || *at == 'r')) {
        return readRemote(at + 1, end, frame);
    }
    at = readData(at, end, frame, CAN_MAX_DLEN);
    return at == nullptr ? nullptr : readRawLengthCode(at, end, frame);
}

std::string frameText(const receivedFrame_t& frame) {
    const bool isError = (frame.canId & CAN_ERR_FLAG) != 0;
    const bool isLong = isError || (frame.canId & CAN_EFF_FLAG) != 0;
    std::string text;
    if (frame.xl) {
        appendHex(text, frame.canId & CAN_SFF_MASK, 5, true);
        return text + "#00:00:00000000#";
    }
    appendHex(text, frame.canId & (CAN_EFF_MASK | (isError ? CAN_ERR_FLAG : 0U)), isLong ? 8 : 3, true);
    text += frame.fd ? "##" : "#";
    if (frame.fd) {
        appendHex(text, frame.flags, 1, true);
    }
    if ((frame.canId & CAN_RTR_FLAG) != 0) {
        return text + 'R' + (frame.length > 0 ? std::to_string(frame.length) : "");
    }
    for (std::size_t i = 0; i < frame.length; ++i) {
        appendHex(text, frame.data[i], 2, true);
    }
    return text;
}
