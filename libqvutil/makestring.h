#pragma once

#include "libqvutil/textstream.h"

#include <ios>
#include <string>

/// The text of `value` as a string stream writes it when its flags are exactly `flags`: they replace all
/// flags the stream has, they are not added. `fixed` alone gives an unsigned integer in decimal ("1024"),
/// `hex | showbase | fixed` gives "0x1".
template<typename T>
std::string makeString(const T& value, std::ios_base::fmtflags flags) {
    TextStream out;
    out.flags(flags);
    out << value;
    return out.str();
}
