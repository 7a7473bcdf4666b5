#pragma once

#include <cstdint>

// The target is 32-bit ARM, whose `unsigned long` has 32 bits. These functions give its results on every
// platform.

/// The low 32 bits: what the target's `unsigned long` keeps of `value`.
constexpr unsigned long toTargetLong(std::uint64_t value) {
    return static_cast<unsigned long>(value & 0xFFFFFFFFU);
}

/// `strtoul(text, nullptr, 0)` as on the target: "0x" introduces hexadecimal, "0" octal, anything else is
/// decimal; text that is not a number gives 0, text after the number is ignored, a value beyond 32 bits gives
/// 0xFFFFFFFF, and a minus sign negates within 32 bits. "0b" is not a prefix with any C library: it gives 0.
std::uint32_t targetStrtoul(const char* text);

/// `value` converted to 64 bits by truncation toward zero. 2^64 and above give 2^64 - 1, values below 0 and
/// NaN give 0: the target's result where C++ leaves it undefined.
std::uint64_t saturateToUint64(double value);
