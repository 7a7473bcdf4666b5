#include "libqvutil/number.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace {

bool hasMinusSign(const char* text) {
    while (std::isspace(static_cast<unsigned char>(*text)) != 0) {
        ++text;
    }
    return *text == '-';
}

} // namespace

std::uint32_t targetStrtoul(const char* text) {
    constexpr std::uint32_t highest = std::numeric_limits<std::uint32_t>::max();
    const int savedErrno = errno;
    errno = 0;
    const unsigned long long value = std::strtoull(text, nullptr, 0);
    const bool outOfRange = errno == ERANGE;
    errno = savedErrno;
    // strtoull has negated within 64 bits; the magnitude decides whether 32 bits overflow.
    const bool negative = hasMinusSign(text);
    const unsigned long long magnitude = negative ? 0 - value : value;
    if (outOfRange || magnitude > highest) {
        return highest;
    }
    return static_cast<std::uint32_t>(value & highest);
}

std::uint64_t saturateToUint64(double value) {
    constexpr double limit = 18446744073709551616.0; // 2^64
    if (value >= limit) {
        return std::numeric_limits<std::uint64_t>::max();
    }
    return value > 0.0 ? static_cast<std::uint64_t>(value) : 0;
}
