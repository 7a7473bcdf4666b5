#pragma once

#include "libqvutil/textstream.h"

#include <ios>
#include <string>

/// The text of `value` as written by a string stream whose flags are exactly `flags`: they replace the
/// stream's default flags. `fixed` alone gives an unsigned integer in decimal ("1024"),
/// `hex | showbase | fixed` gives "0x1".
template<typename T>
std::string makeString(const T& value, std::ios_base::fmtflags flags) {
    TextStream out;
    out.flags(flags);
    out << value;
    return out.str();
}
