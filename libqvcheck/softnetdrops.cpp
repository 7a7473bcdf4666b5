#include "libqvcheck/softnetdrops.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <string>

namespace {

/// The second column; 0 if there is none.
std::uint64_t dropsIn(std::string_view line) {
    std::uint64_t processed = 0;
    std::uint64_t dropped = 0;
    const char* const end = line.data() + line.size();
    const auto first = std::from_chars(line.data(), end, processed, 16);
    if (first.ec == std::errc() && first.ptr != end && *first.ptr == ' ') {
        std::from_chars(first.ptr + 1, end, dropped, 16);
    }
    return dropped;
}

} // namespace

std::uint64_t softnetDrops(std::string_view text) {
    std::uint64_t sum = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1);
        sum += dropsIn(text.substr(0, end + 1));
        text.remove_prefix(end + 1);
    }
    return sum;
}

std::uint64_t softnetDrops() {
    std::ifstream file("/proc/net/softnet_stat");
    std::string text;
    std::getline(file, text, '\0');
    return softnetDrops(text);
}
