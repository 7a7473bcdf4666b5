#include "libqvcheck/rowtext.h"

#include "libqvcheck/numbertext.h"

#include <algorithm>

std::string leftAligned(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

std::string rightAligned(const std::string& text, std::size_t width) {
    return std::string(width - std::min(text.size(), width), ' ') + text;
}

void addPart(std::string& list, std::uint64_t n, const std::string& what) {
    if (n > 0) {
        list += (list.empty() ? "" : ", ") + grouped(n) + ' ' + what;
    }
}

std::string streamName(std::uint16_t number) {
    return 's' + std::to_string(number);
}
