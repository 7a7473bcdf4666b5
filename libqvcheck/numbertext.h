#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Numbers as the reports write them, made from integers, so that every width and locale gives the same text.

/// "30,000".
std::string grouped(std::uint64_t n);

/// Seconds with `digits` (1 to 9) behind the point, rounded: 9546123456 and 3 give "9.546".
std::string secondsText(std::int64_t ns, unsigned int digits);

/// A time in the unit that fits: "0.113 ms", "64.120 ms", "3.284 s".
std::string spanText(std::int64_t ns);

/// A time in ms without its unit, which rows have at their end: "0.113".
std::string millisText(std::int64_t ns);

/// A counter as candump writes identifiers, without leading zeros: "4E1C".
std::string counterText(std::uint32_t counter);

/// An identifier in SocketCAN form as candump writes it, three or eight digits; " remote" behind it where the
/// flag says so.
std::string identifierText(std::uint32_t canId);

/// "1 frame", "2,000 frames".
std::string countedText(std::uint64_t n, std::string_view noun);

/// Text that came from outside, with a question mark for each control character.
std::string printable(std::string_view text);
