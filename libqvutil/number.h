#pragma once

#include <cstdint>

// The target is 32-bit ARM, whose `unsigned long` has 32 bits. These functions give its values on every
// width.

/// The low 32 bits: what the target's `unsigned long` keeps of `value`.
constexpr unsigned long toTargetLong(std::uint64_t value) {
    return static_cast<unsigned long>(value & 0xFFFFFFFFU);
}

/// `strtoul(text, nullptr, 0)` as the target reads it: "0x" introduces hexadecimal, "0" octal, anything else
/// is decimal; text that is no number gives 0, text behind the number is ignored, a value beyond 32 bits
/// gives 0xFFFFFFFF, and a minus sign negates within 32 bits. "0b" is no prefix, whatever the C library: 0.
std::uint32_t targetStrtoul(const char* text);

/// `value` converted to 64 bits by truncation toward zero. Beyond 2^64 it is 2^64 - 1, below 0 and for a NaN
/// it is 0: what the target's conversion gives where C++ leaves it undefined.
std::uint64_t saturateToUint64(double value);
