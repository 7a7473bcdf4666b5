#include "libqvcheck/summarytext.h"

#include "libqvcheck/findingtext.h"
#include "libqvcheck/hosttext.h"
#include "libqvcheck/numbertext.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr std::size_t shownStreams = 20;

std::string left(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

std::string right(const std::string& text, std::size_t width) {
    return std::string(width - std::min(text.size(), width), ' ') + text;
}

/// A block of rows under one label, which stands in front of the first.
class Rows {
public:
    explicit Rows(std::string& _text) : text(_text) {}

    void add(const std::string& label, const std::string& row) {
        if (!row.empty()) {
            text += left(label == last ? "" : label, 12) + row + '\n';
            last = label;
        }
    }

private:
    std::string& text;
    std::string last;
};

std::string name(std::uint16_t stream) {
    return 's' + std::to_string(stream);
}

std::string of(const streamSummary_t& stream, const std::string& row) {
    return row.empty() ? row : name(stream.number) + ": " + row;
}

/// A part of a list that has a number, empty when that is 0.
void part(std::string& list, std::uint64_t n, const std::string& what) {
    if (n > 0) {
        list += (list.empty() ? "" : ", ") + grouped(n) + ' ' + what;
    }
}

std::string orNone(std::uint64_t n) {
    return n == 0 ? "none" : grouped(n);
}

std::string headText(const runEnd_t& run, const runSettings_t& settings) {
    std::string text;
    for (const std::string& input : settings.inputs) {
        text += printable(input == "-" ? "standard input" : input) + ", ";
    }
    const bool bySignal = run.ended.compare(0, 3, "SIG") == 0;
    return text + secondsText(run.summary.duration, 3) + " s, " + countedText(run.summary.frames, "frame") +
           ", " + (bySignal ? "ended by " : "") + run.ended + '\n';
}

std::string numbersText(const totals_t& totals) {
    const auto column = [](std::uint64_t n, std::size_t width) { return right(grouped(n), width); };
    return column(totals.expected, 12) + column(totals.intact, 10) + column(totals.corrupted, 11) +
           column(totals.lost, 6 < grouped(totals.lost).size() + 2 ? grouped(totals.lost).size() + 2 : 6) +
           column(totals.repeated, 10) + column(totals.reordered, 11) + '\n';
}

/// "answers to s1" where the frames that are answered are seen as well.
std::string kindText(const streamSummary_t& stream, const summary_t& summary) {
    for (const pairSummary_t& pair : summary.pairs) {
        if (pair.answers == stream.number) {
            return "answers to " + name(pair.direct);
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
        left("stream", 8) + (several ? left("interface", 11) : "") + left("kind", 21) +
        "start       first        last    expected    intact  corrupted  lost  repeated  reordered\n";
    totals_t rest{};
    for (std::size_t i = 0; i < summary.streams.size(); ++i) {
        const streamSummary_t& stream = summary.streams[i];
        if (i >= shownStreams) {
            rest += stream.totals;
            continue;
        }
        text += left(name(stream.number) + (stream.ambiguous ? "*" : ""), 8) +
                (several ? left(printable(settings.interfaces.name(stream.interface)), 11) : "") +
                left(kindText(stream, summary), 21) + left(startText(stream), 9) +
                right(counterText(stream.first), 8) + right(counterText(stream.last), 12) +
                numbersText(stream.totals);
    }
    if (summary.streams.size() > shownStreams) {
        const std::string more = grouped(summary.streams.size() - shownStreams) + " more";
        text += left(more, (several ? 19 : 8) + 21 + 9 + 20) + numbersText(rest);
    }
    return '\n' + text + '\n';
}

std::string corruptedRow(const streamSummary_t& stream) {
    const injectionSummary_t& injection = stream.injection;
    if (injection.period == 0) {
        return {};
    }
    if (!injection.told) {
        return "looks like -e " + std::to_string(injection.period) + ": " + grouped(injection.found) +
               " of " + grouped(stream.totals.corrupted) + " corrupted frames fit";
    }
    std::string row = grouped(injection.found) + " injected as told by -e " +
                      std::to_string(injection.period) + ", " + orNone(injection.missing) + " missing";
    part(row, injection.lost, "lost");
    return row + ", " + orNone(stream.totals.corrupted - injection.found) + " besides";
}

std::string lostRow(const streamSummary_t& stream) {
    std::string row = causesText(stream.causes);
    part(row, stream.follows, "follow");
    return row;
}

std::string reorderedRow(const streamSummary_t& stream) {
    if (stream.totals.reordered + stream.totals.late == 0) {
        return {};
    }
    std::string row = countedText(stream.totals.reordered, "frame") + ", overtaken by " +
                      grouped(stream.totals.overtaken) + ", at most " +
                      countedText(stream.maxExtent, "frame") + " and " + spanText(stream.maxLateTime) +
                      " late";
    part(row, stream.totals.late, "after it was given up");
    return row + (stream.orderedByIdentifier
                      ? "; all at the identifier's wrap: a controller that sends by identifier"
                      : "");
}

std::string begunRow(const streamSummary_t& stream) {
    std::string row;
    part(row, stream.restarts, stream.restarts == 1 ? "restart" : "restarts");
    part(row, stream.jumps, stream.jumps == 1 ? "jump" : "jumps");
    part(row, stream.totals.corruptedRepeats,
         stream.totals.corruptedRepeats == 1 ? "corrupted repeat" : "corrupted repeats");
    part(row, stream.totals.stray, "stray");
    part(row, stream.surplus, "surplus");
    part(row, stream.wrongFormat, "of another format");
    return row;
}

std::string millis(std::int64_t ns) {
    return secondsText(ns * 1000, 3);
}

std::string histogramText(const Histogram* times) {
    if (times == nullptr || times->count() == 0) {
        return {};
    }
    std::string text = "min " + millis(times->min()) + "  mean " + millis(std::llround(times->mean()));
    for (const auto& [label, q] :
         {std::pair("p50", 5000U), {"p90", 9000U}, {"p99", 9900U}, {"p99.9", 9990U}}) {
        text += std::string("  ") + label + ' ' + millis(times->percentile(q));
    }
    return text + "  max " + millis(times->max()) + " ms";
}

std::string gapRow(const streamSummary_t& stream, const demands_t& demands) {
    std::string row = histogramText(stream.gaps);
    if (row.empty() || !stream.rated) {
        return row;
    }
    const std::int64_t ppm = std::llround(stream.ratePpm);
    row +=
        "; told " + spanText(demands.gap) + ", rate " + (ppm > 0 ? "+" : "") + std::to_string(ppm) + " ppm";
    return row +
           (stream.jitter < 0 ? "" : ", jitter " + millis(std::llround(stream.jitter)) + " ms (RFC 3550)");
}

std::string pairRow(const pairSummary_t& pair) {
    std::string row = histogramText(pair.roundTrips);
    part(row, pair.unanswered, "unanswered");
    part(row, pair.early, "early");
    part(row, pair.slow, "slow");
    part(row, pair.echoedDamage, "damaged as their frames were");
    return row + (pair.queueHint
                      ? "; the answering node's receive queue was full: net.core.rmem_default there"
                      : "");
}

std::string inputRow(const runEnd_t& run) {
    std::string row;
    if (run.input != nullptr) {
        part(row, run.input->broken, run.input->broken == 1 ? "line" : "lines");
        row += row.empty() ? "" : " that cannot be read, the first is " + printable(run.input->firstBroken);
        part(row, run.input->passedOver, "bytes of no trace record");
    }
    return row;
}

std::string othersRow(const summary_t& summary) {
    std::string row;
    part(row, summary.foreign, summary.foreign == 1 ? "frame of others" : "frames of others");
    if (!row.empty()) {
        row += std::string(" (") + (summary.manyForeignIdentifiers ? "at least " : "") +
               countedText(summary.foreignIdentifiers, "identifier") + ')';
    }
    part(row, summary.remote, "remote");
    part(row, summary.tooShort, "too short");
    part(row, summary.errorFrames, summary.errorFrames == 1 ? "error frame" : "error frames");
    part(row, summary.xl, "CAN XL");
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
    each("besides", begunRow);
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

void addRunRows(Rows& rows, const runEnd_t& run, const runSettings_t& settings) {
    const summary_t& summary = run.summary;
    for (const pairSummary_t& pair : summary.pairs) {
        rows.add("round trip", name(pair.direct) + ": " + pairRow(pair));
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

std::string summaryText(const runEnd_t& run, const runSettings_t& settings) {
    std::string text = headText(run, settings) + tableText(run.summary, settings);
    Rows rows(text);
    addStreamRows(rows, run.summary, settings.demands);
    addRunRows(rows, run, settings);
    return text;
}

std::string intervalText(const intervalSummary_t& piece) {
    const std::int64_t length = piece.end - piece.begin;
    const double rate =
        length > 0 ? static_cast<double>(piece.frames) * 1e9 / static_cast<double>(length) : 0;
    const totals_t& totals = piece.totals;
    const auto count = [](const char* what, std::uint64_t n) {
        return std::string(what) + ' ' + std::to_string(n);
    };
    return '[' + right(secondsText(piece.begin, 1), 7) + " - " + right(secondsText(piece.end, 1), 9) + "] " +
           name(piece.stream) + "  " + std::to_string(piece.frames) + " frames  " +
           secondsText(std::llround(rate * 1e9), 1) + "/s  " + count("lost", totals.lost) + ' ' +
           count("repeated", totals.repeated) + ' ' + count("reordered", totals.reordered) + ' ' +
           count("corrupted", totals.corrupted) +
           (totals.injected > 0 ? " (injected " + std::to_string(totals.injected) + ")" : "") +
           (totals.corruptedRepeats > 0 ? ' ' + count("corrupted repeats", totals.corruptedRepeats) : "") +
           ' ' + count("open", totals.open) +
           (piece.gapCount > 0 ? "  gap p99 " + millis(piece.gapP99) + " max " + millis(piece.gapMax) + " ms"
                               : "");
}
