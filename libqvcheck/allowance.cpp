#include "libqvcheck/allowance.h"

namespace {

bool isNumber(std::string_view text, std::uint64_t& value) {
    value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9' || __builtin_mul_overflow(value, std::uint64_t{10}, &value) ||
            __builtin_add_overflow(value, static_cast<std::uint64_t>(c - '0'), &value)) {
            return false;
        }
    }
    return !text.empty();
}

} // namespace

bool Allowance::add(std::string_view list, std::string& wrong) {
    for (;;) {
        const std::size_t comma = list.find(',');
        const std::string_view entry = list.substr(0, comma);
        const std::size_t equals = entry.find('=');
        const std::string_view name = entry.substr(0, equals);
        std::uint64_t limit = unlimited;
        const auto kind = findingKind(name);
        if ((!kind && name != "all") ||
            (equals != std::string_view::npos && !isNumber(entry.substr(equals + 1), limit))) {
            wrong = entry;
            return false;
        }
        if (kind) {
            most[*kind] = limit;
        } else {
            most.fill(limit);
        }
        if (comma == std::string_view::npos) {
            return true;
        }
        list.remove_prefix(comma + 1);
    }
}
