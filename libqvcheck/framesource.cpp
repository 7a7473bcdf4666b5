#include "libqvcheck/framesource.h"

#include <algorithm>

std::uint8_t InterfaceTable::indexOf(std::string_view name) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end() && names.size() < UINT8_MAX) {
        names.emplace_back(name);
        return static_cast<std::uint8_t>(names.size() - 1);
    }
    return static_cast<std::uint8_t>(std::min<std::ptrdiff_t>(found - names.begin(), UINT8_MAX - 1));
}
