#include "libqvutil/number.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace {

const char* behindBlanks(const char* text) {
    while (std::isspace(static_cast<unsigned char>(*text)) != 0) {
        ++text;
    }
    return text;
}

/// The base that strtoul() detects itself for base 0, but never 2: glibc 2.38 and later read "0b11" as 3,
/// earlier ones as 0.
int baseOf(const char* number) {
    number += *number == '-' || *number == '+' ? 1 : 0;
    if (*number != '0') {
        return 10;
    }
    return number[1] == 'x' || number[1] == 'X' ? 16 : 8;
}

} // namespace

std::uint32_t targetStrtoul(const char* text) {
    constexpr std::uint32_t highest = std::numeric_limits<std::uint32_t>::max();
    const int savedErrno = errno;
    errno = 0;
    const char* const number = behindBlanks(text);
    const unsigned long long value = std::strtoull(number, nullptr, baseOf(number));
    const bool outOfRange = errno == ERANGE;
    errno = savedErrno;
    // strtoull has negated within 64 bits; the magnitude decides whether 32 bits overflow.
    const unsigned long long magnitude = *number == '-' ? 0 - value : value;
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
