#include "libqvcheck/numbertext.h"

#include "libqvutil/hex.h"
#include "libqvutil/utility.h"

#include <linux/can.h>

namespace {

/// `value` in units of 10^-`digits`, with a point.
std::string withPoint(std::uint64_t value, unsigned int digits) {
    std::string text = std::to_string(value);
    if (text.size() <= digits) {
        text.insert(0, digits + 1 - text.size(), '0');
    }
    return text.insert(text.size() - digits, 1, '.');
}

/// Nanoseconds below 0 lose their sign.
std::uint64_t magnitude(std::int64_t ns) {
    return ns < 0 ? 0 - static_cast<std::uint64_t>(ns) : static_cast<std::uint64_t>(ns);
}

} // namespace

std::string grouped(std::uint64_t n) {
    std::string text = std::to_string(n);
    for (std::size_t at = text.size(); at > 3;) {
        at -= 3;
        text.insert(at, 1, ',');
    }
    return text;
}

std::string secondsText(std::int64_t ns, unsigned int digits) {
    std::uint64_t unit = nsPerSecond;
    for (unsigned int i = 0; i < digits; ++i) {
        unit /= 10;
    }
    return (ns < 0 ? "-" : "") + withPoint((magnitude(ns) + unit / 2) / unit, digits);
}

std::string spanText(std::int64_t ns) {
    const std::uint64_t micros = (magnitude(ns) + 500) / 1000;
    const std::string sign = ns < 0 ? "-" : "";
    return sign + (micros < 1000000 ? withPoint(micros, 3) + " ms"
                                    : secondsText(static_cast<std::int64_t>(magnitude(ns)), 3) + " s");
}

std::string millisText(std::int64_t ns) {
    return secondsText(ns * 1000, 3);
}

std::string counterText(std::uint32_t counter) {
    std::string text;
    unsigned int digits = 1;
    while (digits < 8 && counter >> (4 * digits) != 0) {
        ++digits;
    }
    appendHex(text, counter, digits, true);
    return text;
}

std::string identifierText(std::uint32_t canId) {
    const bool extended = (canId & CAN_EFF_FLAG) != 0;
    std::string text;
    appendHex(text, canId & (extended ? CAN_EFF_MASK : CAN_SFF_MASK), extended ? 8 : 3, true);
    return text + ((canId & CAN_RTR_FLAG) != 0 ? " remote" : "");
}

std::string countedText(std::uint64_t n, std::string_view noun) {
    return grouped(n) + ' ' + std::string(noun) + (n == 1 ? "" : "s");
}

std::string printable(std::string_view text) {
    std::string shown(text);
    for (char& c : shown) {
        const auto byte = static_cast<unsigned char>(c);
        c = byte < 0x20 || byte == 0x7F ? '?' : c;
    }
    return shown;
}
