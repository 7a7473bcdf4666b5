#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Pieces of the text report's rows and columns.

/// Padded with blanks to `width` characters; a longer text is left unchanged.
std::string leftAligned(std::string text, std::size_t width);
std::string rightAligned(const std::string& text, std::size_t width);

/// Appends a number and what it counts to a comma-separated list, "2 lost, 1 stray"; nothing if the number is
/// 0.
void addPart(std::string& list, std::uint64_t n, const std::string& what);

/// "s1".
std::string streamName(std::uint16_t number);
