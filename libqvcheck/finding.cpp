#include "libqvcheck/finding.h"

#include <algorithm>

namespace {

constexpr std::array<std::string_view, FK_NUM> names = {
    "lost",    "repeated", "reordered", "late",    "corrupted", "uninjected", "format",
    "restart", "jump",     "stray",     "gap",     "absent",    "surplus",    "unanswered",
    "slow",    "early",    "pace",      "overrun", "foreign",
};

} // namespace

std::string_view findingName(findingKind_t kind) {
    return names[kind];
}

std::optional<findingKind_t> findingKind(std::string_view name) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        return std::nullopt;
    }
    return static_cast<findingKind_t>(found - names.begin());
}
