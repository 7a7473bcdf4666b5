#pragma once

#include <cstddef>
#include <string>

/// Bytes in two-digit hexadecimal, a blank between groups of `group`.
inline std::string hexadecimal(const void* bytes, std::size_t n, std::size_t group = 8) {
    std::string text;
    for (std::size_t i = 0; i < n; ++i) {
        const unsigned int byte = static_cast<const unsigned char*>(bytes)[i];
        text += i > 0 && i % group == 0 ? " " : "";
        text += "0123456789abcdef"[byte >> 4U];
        text += "0123456789abcdef"[byte & 15U];
    }
    return text;
}
