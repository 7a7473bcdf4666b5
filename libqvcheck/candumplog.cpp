#include "libqvcheck/candumplog.h"

#include "libqvcheck/frametext.h"
#include "libqvutil/utility.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view dropLine = "DROPCOUNT: dropped ";
constexpr std::string_view leftOutLine = "# left out ";

unsigned int digitOf(char c) {
    return static_cast<unsigned int>(c) - '0';
}

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

const char* passBlanks(const char* at, const char* end) {
    while (at < end && isBlank(*at)) {
        ++at;
    }
    return at;
}

/// Reads the digits from `at` on as a number, exact up to 19 digits, and moves `at` past them.
std::uint64_t readDigits(const char*& at) {
    std::uint64_t number = 0;
    for (unsigned int digit; (digit = digitOf(*at)) < 10; ++at) {
        number = number * 10 + digit;
    }
    return number;
}

/// `(`, seconds, a point, one to nine digits, `)`. Returns the position after it, or null if it is malformed.
const char* readTime(const char* at, std::int64_t& time) {
    static constexpr std::array<std::uint32_t, 10> scale = {0,     100000000, 10000000, 1000000, 100000,
                                                            10000, 1000,      100,      10,      1};
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max() / nsPerSecond;
    const char* const begin = ++at;
    const std::uint64_t seconds = readDigits(at);
    const char* const point = at;
    if (at == begin || at - begin > 10 || *at != '.' || seconds >= most) {
        return nullptr;
    }
    const std::uint64_t fraction = readDigits(++at);
    const auto digits = static_cast<std::size_t>(at - point - 1);
    if (digits == 0 || digits >= scale.size() || *at != ')') {
        return nullptr;
    }
    time = static_cast<std::int64_t>(seconds * std::uint64_t{nsPerSecond} + fraction * scale[digits]);
    return at + 1;
}

/// What may follow the frame: nothing, or R or T and nothing more. A carriage return counts as a blank.
bool readDirection(const char* at, const char* end, bool& own) {
    own = false;
    if (at == end) {
        return true;
    }
    while (end > at && (isBlank(end[-1]) || end[-1] == '\r')) {
        --end;
    }
    const char* const word = passBlanks(at, end);
    own = word != at && end - word == 1 && *word == 'T';
    return word == end || own || (word != at && end - word == 1 && *word == 'R');
}

} // namespace

std::size_t CandumpLog::read(receivedFrame_t* frames, std::size_t n) {
    std::size_t got = 0;
    inputLine_t line;
    while (got < n && input.takeLine(line)) {
        if (line.begin == line.end || *line.begin != '(') {
            readComment(line);
        } else if (readLine(line, frames[got])) {
            ++got;
        } else {
            counts.countBroken(input.lineNumber());
        }
    }
    counts.frames += got;
    return got;
}

bool CandumpLog::readLine(const inputLine_t& line, receivedFrame_t& frame) {
    const char* at = readTime(line.begin, frame.time);
    at = at == nullptr ? nullptr : readInterface(at, line.end, frame.interface);
    at = at == nullptr ? nullptr : readFrameText(at, line.end, frame);
    if (at == nullptr || !readDirection(at, line.end, frame.own) || !(line.whole || hasAllBytes(frame))) {
        return false;
    }
    frame.leftOut = false;
    frame.dropped = counts.waiting == 0 ? 0 : counts.takeDropped(frame.interface, frame.leftOut);
    return true;
}

const char* CandumpLog::readInterface(const char* at, const char* end, std::uint8_t& index) {
    const char* const begin = passBlanks(at, end);
    if (begin == at) {
        return nullptr;
    }
    const std::size_t known = lastName.size();
    if (static_cast<std::size_t>(end - begin) > known && isBlank(begin[known]) && known > 0 &&
        std::memcmp(begin, lastName.data(), known) == 0) {
        at = begin + known;
    } else {
        at = std::find_if(begin, end, isBlank);
        if (begin == at || at == end || static_cast<std::size_t>(at - begin) > LONGEST_NAME) {
            return nullptr;
        }
        lastName.assign(begin, at);
        lastIndex = interfaces.indexOf(lastName);
    }
    index = lastIndex;
    return passBlanks(at, end);
}

void CandumpLog::readComment(const inputLine_t& line) {
    const std::string_view text(line.begin, static_cast<std::size_t>(line.end - line.begin));
    const bool leftOut = text.substr(0, leftOutLine.size()) == leftOutLine;
    if (!leftOut && text.substr(0, dropLine.size()) != dropLine) {
        return;
    }
    const char* const digits = line.begin + (leftOut ? leftOutLine : dropLine).size();
    const char* at = digits;
    const std::uint64_t number = readDigits(at);
    const auto n = static_cast<std::uint32_t>(at - digits > 19 ? UINT32_MAX
                                                               : std::min<std::uint64_t>(number, UINT32_MAX));
    const std::size_t quote = text.find('\'');
    const std::size_t length = quote == std::string_view::npos ? quote : text.substr(quote + 1).find('\'');
    if (length == std::string_view::npos || length == 0 || length > LONGEST_NAME) {
        return;
    }
    const std::string_view name = text.substr(quote + 1, length);
    if (leftOut) {
        counts.addLeftOut(interfaces.indexOf(name), n);
    } else {
        counts.addDropped(name == "any" ? inputCounts_t::everyInterface : interfaces.indexOf(name), n);
    }
}
