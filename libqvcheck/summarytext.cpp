#include "libqvcheck/summarytext.h"

#include "libqvcheck/findingtext.h"
#include "libqvcheck/hosttext.h"
#include "libqvcheck/numbertext.h"
#include "libqvcheck/rowtext.h"
#include "libqvcheck/streamrows.h"

#include <algorithm>

namespace {

constexpr std::size_t shownStreams = 20;

/// A block of rows under one label, which precedes the first.
class Rows {
public:
    explicit Rows(std::string& _text) : text(_text) {}

    void add(const std::string& label, const std::string& row) {
        if (!row.empty()) {
            text += leftAligned(label == last ? "" : label, 12) + row + '\n';
            last = label;
        }
    }

private:
    std::string& text;
    std::string last;
};

std::string of(const streamSummary_t& stream, const std::string& row) {
    return row.empty() ? row : streamName(stream.number) + ": " + row;
}

std::string headText(const runResult_t& run, const runSettings_t& settings) {
    std::string text;
    for (const std::string& input : settings.inputs) {
        text += printable(input == "-" ? "standard input" : input) + ", ";
    }
    const bool bySignal = run.ended.compare(0, 3, "SIG") == 0;
    return text + secondsText(run.summary.duration, 3) + " s, " + countedText(run.summary.frames, "frame") +
           ", " + (bySignal ? "ended by " : "") + run.ended + '\n';
}

std::string numbersText(const totals_t& totals) {
    const auto column = [](std::uint64_t n, std::size_t width) { return rightAligned(grouped(n), width); };
    return column(totals.expected, 12) + column(totals.intact, 10) + column(totals.corrupted, 11) +
           column(totals.lost, 6 < grouped(totals.lost).size() + 2 ? grouped(totals.lost).size() + 2 : 6) +
           column(totals.repeated, 10) + column(totals.reordered, 11) + '\n';
}

/// "answers to s1" if the answered frames are seen as well.
std::string kindText(const streamSummary_t& stream, const summary_t& summary) {
    for (const pairSummary_t& pair : summary.pairs) {
        if (pair.answers == stream.number) {
            return "answers to " + streamName(pair.direct);
        }
    }
    return streamKind(stream);
}

std::string tableText(const summary_t& summary, const runSettings_t& settings) {
    if (summary.streams.empty()) {
        return {};
    }
    const bool several = settings.interfaces.size() > 1;
    std::string text =
        leftAligned("stream", 8) + (several ? leftAligned("interface", 11) : "") + leftAligned("kind", 21) +
        "start       first        last    expected    intact  corrupted  lost  repeated  reordered\n";
    totals_t rest{};
    for (std::size_t i = 0; i < summary.streams.size(); ++i) {
        const streamSummary_t& stream = summary.streams[i];
        if (i >= shownStreams) {
            rest += stream.totals;
            continue;
        }
        text += leftAligned(streamName(stream.number) + (stream.ambiguous ? "*" : ""), 8) +
                (several ? leftAligned(printable(settings.interfaces.name(stream.interface)), 11) : "") +
                leftAligned(kindText(stream, summary), 21) + leftAligned(startText(stream), 9) +
                rightAligned(counterText(stream.first), 8) + rightAligned(counterText(stream.last), 12) +
                numbersText(stream.totals);
    }
    if (summary.streams.size() > shownStreams) {
        const std::string more = grouped(summary.streams.size() - shownStreams) + " more";
        text += leftAligned(more, (several ? 19 : 8) + 21 + 9 + 20) + numbersText(rest);
    }
    return '\n' + text + '\n';
}

std::string inputRow(const runResult_t& run) {
    std::string row;
    if (run.input != nullptr) {
        addPart(row, run.input->broken, run.input->broken == 1 ? "line" : "lines");
        row += row.empty() ? "" : " that cannot be read, the first is " + printable(run.input->firstBroken);
        addPart(row, run.input->passedOver, "bytes of no trace record");
    }
    return row;
}

std::string othersRow(const summary_t& summary) {
    std::string row;
    addPart(row, summary.foreign, summary.foreign == 1 ? "frame of others" : "frames of others");
    if (!row.empty()) {
        row += std::string(" (") + (summary.manyForeignIdentifiers ? "at least " : "") +
               countedText(summary.foreignIdentifiers, "identifier") + ')';
    }
    addPart(row, summary.remote, "remote");
    addPart(row, summary.tooShort, "too short");
    addPart(row, summary.errorFrames, summary.errorFrames == 1 ? "error frame" : "error frames");
    addPart(row, summary.xl, "CAN XL");
    return row;
}

void addStreamRows(Rows& rows, const summary_t& summary, const demands_t& demands) {
    const std::size_t n = std::min(summary.streams.size(), shownStreams);
    const auto each = [&](const char* label, auto row) {
        for (std::size_t i = 0; i < n; ++i) {
            rows.add(label, of(summary.streams[i], row(summary.streams[i])));
        }
    };
    each("corrupted", corruptedRow);
    each("lost", lostRow);
    if (std::any_of(summary.streams.begin(), summary.streams.end(),
                    [](const streamSummary_t& stream) { return stream.causes[LC_BEFORE] > 0; })) {
        rows.add("lost", "on the sender: grep -c \"write error\", ip -s link (tx_dropped), txqueuelen 1000");
    }
    each("reordered", reorderedRow);
    each("besides", besidesRow);
    each("gap", [&](const streamSummary_t& stream) { return gapRow(stream, demands); });
}

void addHostRows(Rows& rows, const runSettings_t& settings) {
    const auto each = [&](const char* label, auto row) {
        for (const interfaceSummary_t& interface : settings.host->interfaces) {
            const std::string name = settings.host->interfaces.size() > 1
                                         ? printable(settings.interfaces.name(interface.interface)) + ": "
                                         : std::string();
            const std::string text = row(interface);
            rows.add(label, text.empty() ? text : name + text);
        }
    };
    each("this host", hostRow);
    if (settings.host->softnetDrops > 0) {
        rows.add("this host", countedText(settings.host->softnetDrops, "frame") +
                                  " dropped before the protocols, on all interfaces of the host");
    }
    each("bus", busRow);
}

void addRunRows(Rows& rows, const runResult_t& run, const runSettings_t& settings) {
    const summary_t& summary = run.summary;
    for (const pairSummary_t& pair : summary.pairs) {
        rows.add("round trip", streamName(pair.direct) + ": " + roundTripRow(pair));
    }
    if (settings.host != nullptr) {
        addHostRows(rows, settings);
    }
    for (const std::string& failure : run.failures) {
        rows.add("input", printable(failure));
    }
    rows.add("input", inputRow(run));
    rows.add("others", othersRow(summary));
    if (summary.furtherStreams > 0) {
        rows.add("others", "pattern frames of further streams: " + grouped(summary.furtherStreams));
    }
    rows.add("others", summary.streamsLeft ? "frames that look like a pattern, no stream" : "");
    rows.add("clock", summary.clockSteps == 0 ? "" : countedText(summary.clockSteps, "step"));
    if (std::any_of(summary.streams.begin(), summary.streams.end(),
                    [](const streamSummary_t& stream) { return stream.ambiguous; })) {
        rows.add("*", "start identifiers that differ in the low byte keep streams apart");
    }
}

} // namespace

std::string summaryText(const runResult_t& run, const runSettings_t& settings) {
    std::string text = headText(run, settings) + tableText(run.summary, settings);
    Rows rows(text);
    addStreamRows(rows, run.summary, settings.demands);
    addRunRows(rows, run, settings);
    return text;
}
