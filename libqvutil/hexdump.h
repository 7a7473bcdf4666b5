#pragma once

#include "libqvutil/hex.h"

#include <cstdint>
#include <ostream>
#include <string>

/// The prefix of each line of a hex dump.
enum hexdumpPrefix_t {
    HEXDUMP_PREFIX_NONE = 0,
    HEXDUMP_PREFIX_ADDRESS = 1, ///< the address of the line's first byte in memory
    HEXDUMP_PREFIX_OFFSET = 2,  ///< its distance from the first byte
};

namespace hexdumpDetail {

inline char printable(unsigned char byte) {
    return byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
}

} // namespace hexdumpDetail

/// Writes the bytes in [`first`, `last`): a line with `title`, then lines of `perLine` (0: 16) bytes in
/// two-digit hexadecimal, each after the chosen prefix and, if `withText`, followed by a column of printable
/// characters. A single insertion and a flush, so that other output cannot split the dump.
template<typename Iterator>
[[gnu::cold]] void hexdump(std::ostream& out, Iterator first, Iterator last, const char* title,
                           unsigned int perLine, hexdumpPrefix_t prefix, bool withText) {
    const std::size_t width = perLine == 0 ? 16 : perLine;
    std::string text = std::string(title) + '\n';
    std::size_t offset = 0;
    while (first != last) {
        if (prefix == HEXDUMP_PREFIX_ADDRESS) {
            appendHex(text, reinterpret_cast<std::uintptr_t>(&*first), 2 * sizeof(void*));
            text += ": ";
        } else if (prefix == HEXDUMP_PREFIX_OFFSET) {
            appendHex(text, offset, 8);
            text += ": ";
        }
        std::string column;
        std::size_t n = 0;
        for (; n < width && first != last; ++n, ++first) {
            const auto byte = static_cast<unsigned char>(*first);
            text += n == 0 ? "" : " ";
            appendHex(text, byte, 2);
            column += hexdumpDetail::printable(byte);
        }
        if (withText) {
            text.append(3 * (width - n), ' ');
            text += "  |" + column + '|';
        }
        text += '\n';
        offset += n;
    }
    out << text << std::flush;
}
