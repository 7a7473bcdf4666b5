#pragma once

#include <cstdint>
#include <string>

/// Appends the low `digits` hexadecimal digits of `value`, in lower case unless `upper`.
inline void appendHex(std::string& out, std::uint64_t value, unsigned int digits, bool upper = false) {
    const char* const symbols = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    for (unsigned int i = digits; i-- > 0;) {
        out += symbols[(value >> (4 * i)) & 0xFU];
    }
}
