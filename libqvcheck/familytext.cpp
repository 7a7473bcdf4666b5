#include "libqvcheck/familytext.h"

#include "libqvcheck/frametext.h"
#include "libqvutil/utility.h"

#include <algorithm>
#include <functional>
#include <string>

namespace {

constexpr std::int64_t nsPerDay = 86400 * nsPerSecond;
constexpr std::string_view timeForm = "00:00:00.000000"; // 0 stands for any digit
constexpr std::string_view channelMark = " ch";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool hasTimeForm(std::string_view text) {
    return std::equal(timeForm.begin(), timeForm.end(), text.begin(), text.end(),
                      [](char form, char c) { return form == '0' ? isDigit(c) : form == c; });
}

std::int64_t twoDigits(const char* at) {
    return (at[0] - '0') * 10 + (at[1] - '0');
}

std::int64_t timeOfDay(const char* at) {
    std::int64_t micros = 0;
    for (const char* digit = at + 9; digit < at + timeForm.size(); ++digit) {
        micros = micros * 10 + (*digit - '0');
    }
    const std::int64_t seconds = (twoDigits(at) * 60 + twoDigits(at + 3)) * 60 + twoDigits(at + 6);
    return seconds * nsPerSecond + micros * 1000;
}

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/// Where the time stamp of a frame begins: the one followed by a channel. npos: nowhere.
std::size_t findStamp(std::string_view text) {
    for (std::size_t mark = text.find(channelMark); mark != std::string_view::npos;
         mark = text.find(channelMark, mark + 1)) {
        if (mark >= timeForm.size() && hasTimeForm(text.substr(mark - timeForm.size(), timeForm.size()))) {
            return mark - timeForm.size();
        }
    }
    return std::string_view::npos;
}

/// "ch" and its number, at most three digits, from the beginning of `text`; else empty.
std::string_view channelName(std::string_view text) {
    std::size_t n = 2;
    while (n < text.size() && n < 5 && isDigit(text[n])) {
        ++n;
    }
    return n > 2 && n < text.size() && text[n] == ' ' ? text.substr(0, n) : std::string_view();
}

/// What may follow a frame. Sets the flags of an error frame and of one sent by this host.
bool readMarks(std::string_view marks, receivedFrame_t& frame) {
    if (endsWith(marks, "\r")) {
        marks.remove_suffix(1);
    }
    if (endsWith(marks, " tx")) {
        frame.own = true;
        marks.remove_suffix(3);
    }
    constexpr std::string_view error = " error=";
    if (marks.substr(0, error.size()) == error && marks.find(' ', 1) == std::string_view::npos) {
        frame.canId |= CAN_ERR_FLAG;
        return true;
    }
    return marks.empty();
}

} // namespace

std::size_t FamilyText::read(receivedFrame_t* frames, std::size_t n) {
    std::size_t got = 0;
    inputLine_t line;
    while (got < n && input.takeLine(line)) {
        switch (readLine(line, frames[got])) {
        case FRAME: ++got; break;
        case BROKEN: counts.countBroken(input.lineNumber()); break;
        case NO_FRAME: break;
        }
    }
    counts.frames += got;
    return got;
}

FamilyText::outcome_t FamilyText::readLine(const inputLine_t& line, receivedFrame_t& frame) {
    const std::string_view text(line.begin, static_cast<std::size_t>(line.end - line.begin));
    const std::size_t stamp = findStamp(text);
    if (stamp == std::string_view::npos) {
        return NO_FRAME;
    }
    const std::string_view before = text.substr(0, stamp);
    const std::string_view channel = channelName(text.substr(stamp + timeForm.size() + 1));
    frame.own = endsWith(before, "send: ");
    const char* const end =
        channel.empty() ? nullptr : readFrameText(channel.data() + channel.size() + 1, line.end, frame);
    if (end == nullptr || !(line.whole || hasAllBytes(frame)) ||
        !readMarks(std::string_view(end, static_cast<std::size_t>(line.end - end)), frame)) {
        return BROKEN;
    }
    if (isToldAgain(before, text.substr(stamp))) {
        return NO_FRAME;
    }
    frame.time = sinceFirstMidnight(timeOfDay(text.data() + stamp));
    frame.interface = interfaces.indexOf(channel);
    frame.dropped = 0;
    frame.leftOut = false;
    return FRAME;
}

/// The printed time of day restarts at midnight, the clock behind it does not.
std::int64_t FamilyText::sinceFirstMidnight(std::int64_t time) {
    if (days + time < lastTime - nsPerDay / 2) {
        days += nsPerDay;
    }
    lastTime = days + time;
    return lastTime;
}

/// With -vv a node on a device file prints a frame when it takes the record (`return: `) and, except in the
/// reading loop, again when it handles it (`rcvd `, `discard: `). Lines of several nodes may interleave.
bool FamilyText::isToldAgain(std::string_view before, std::string_view text) {
    const std::size_t hash = std::hash<std::string_view>()(text);
    if (endsWith(before, ": return: ")) {
        returned[nextReturned++ % returned.size()] = hash;
        return false;
    }
    if (!endsWith(before, "rcvd ") && !endsWith(before, "discard: ")) {
        return false;
    }
    const auto told = std::find(returned.begin(), returned.end(), hash);
    if (told == returned.end()) {
        return false;
    }
    *told = 0;
    return true;
}
