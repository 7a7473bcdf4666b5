#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Numbers as reports write them, made from integers so that the text does not depend on type widths or the
// locale.

/// "30,000".
std::string grouped(std::uint64_t n);

/// Seconds with `digits` (1 to 9) decimals, rounded: 9546123456 and 3 give "9.546".
std::string secondsText(std::int64_t ns, unsigned int digits);

/// A time in the fitting unit: "0.113 ms", "64.120 ms", "3.284 s".
std::string spanText(std::int64_t ns);

/// A time in ms without its unit, which rows put at their end: "0.113".
std::string millisText(std::int64_t ns);

/// A counter in the style of candump's identifiers, without leading zeros: "4E1C".
std::string counterText(std::uint32_t counter);

/// An identifier in SocketCAN form, written as by candump in three or eight digits, plus " remote" if the
/// flag is set.
std::string identifierText(std::uint32_t canId);

/// "1 frame", "2,000 frames".
std::string countedText(std::uint64_t n, std::string_view noun);

/// Text from outside, with control characters replaced by question marks.
std::string printable(std::string_view text);
