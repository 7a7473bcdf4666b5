#include "libqvcheck/textreport.h"

#include "libqvcheck/findingtext.h"
#include "libqvcheck/frametext.h"
#include "libqvcheck/hosttext.h"
#include "libqvcheck/intervaltext.h"
#include "libqvcheck/numbertext.h"
#include "libqvcheck/rowtext.h"
#include "libqvcheck/summarytext.h"
#include "libqvcheck/verdictline.h"

#include <array>
#include <ostream>

namespace {

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + printable(word == "-" ? "standard input" : word);
    }
    return text;
}

/// ": receive queue ..." of the only interface, or a line for each of several.
std::string hostText(const runSettings_t& settings) {
    if (settings.host == nullptr) {
        return {};
    }
    std::string text;
    const bool several = settings.host->interfaces.size() > 1;
    for (const interfaceSummary_t& interface : settings.host->interfaces) {
        const std::string about = interfaceText(interface);
        if (!about.empty()) {
            text +=
                (several ? "\n         " + printable(settings.interfaces.name(interface.interface)) : "") +
                ": " + about;
        }
    }
    return text;
}

const char* takenText(taken_t taken) {
    static constexpr std::array<const char*, FT_XL + 1> texts = {
        "in order", "reordered", "late",    "repeated",  "corrupted", "corrupted as told", "corrupted repeat",
        "stray",    "further",   "foreign", "too short", "remote",    "error frame",       "CAN XL"};
    return texts[taken];
}

std::string timeColumn(std::int64_t time) {
    return rightAligned(secondsText(time, 3), 8) + ' ';
}

} // namespace

void TextReport::watch(Judge& _judge) {
    judge = &_judge;
    _judge.watch(this);
}

void TextReport::line(std::int64_t time, std::uint8_t interface, std::uint16_t stream,
                      const std::string& text) {
    out << timeColumn(time) << printable(settings.interfaces.name(interface)) << ' '
        << leftAligned(stream == 0 ? "" : streamName(stream), 6) << ' ' << text << '\n';
}

void TextReport::start(std::int64_t stamp) {
    if (detail == VERDICT) {
        return;
    }
    const std::string date = dateText(stamp, ' ');
    out << "start    " << date << (date.empty() ? "" : ", ") << joined(settings.inputs) << hostText(settings)
        << '\n';
}

void TextReport::stream(const streamSummary_t& stream, std::int64_t time) {
    if (detail != VERDICT) {
        line(time, stream.interface, stream.number, "stream: " + streamText(stream));
    }
}

void TextReport::finding(const finding_t& finding) {
    if (detail == VERDICT) {
        return;
    }
    const std::string text = findingText(finding, settings.demands);
    if (finding.kind == FK_ABSENT) { // it has no interface, and there may be none
        out << timeColumn(finding.time) << text << '\n';
    } else {
        line(finding.time, finding.interface, finding.stream, text);
    }
    if (detail == FRAMES && finding.frame != nullptr && judge == nullptr) {
        out << std::string(21, ' ') << frameText(*finding.frame) << '\n';
    }
}

void TextReport::frame(const receivedFrame_t& frame, taken_t taken, std::uint16_t stream,
                       std::uint32_t counter) {
    const std::string what =
        stream == 0 ? takenText(taken) : std::string(takenText(taken)) + ' ' + counterText(counter);
    line(judge->elapsed(frame.interface, frame.time), frame.interface, stream,
         what + ": " + frameText(frame));
}

void TextReport::event(const hostEvent_t& event) {
    if (detail != VERDICT) {
        line(event.time, event.interface, 0, eventText(event));
    }
}

void TextReport::interval(const std::vector<intervalSummary_t>& pieces) {
    if (detail == VERDICT) {
        return;
    }
    for (const intervalSummary_t& piece : pieces) {
        out << intervalText(piece) << '\n';
    }
}

void TextReport::end(const runResult_t& run) {
    if (detail != VERDICT) {
        out << '\n' << summaryText(run, settings) << '\n';
    }
    out << verdictLine(run, settings) << '\n';
}

bool TextReport::flush() {
    return static_cast<bool>(out.flush());
}
