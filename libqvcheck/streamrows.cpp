#include "libqvcheck/streamrows.h"

#include "libqvcheck/findingtext.h"
#include "libqvcheck/numbertext.h"
#include "libqvcheck/rowtext.h"

#include <cmath>

namespace {

std::string orNone(std::uint64_t n) {
    return n == 0 ? "none" : grouped(n);
}

std::string histogramText(const Histogram* times) {
    if (times == nullptr || times->count() == 0) {
        return {};
    }
    std::string text =
        "min " + millisText(times->min()) + "  mean " + millisText(std::llround(times->mean()));
    for (const auto& [label, q] :
         {std::pair("p50", 5000U), {"p90", 9000U}, {"p99", 9900U}, {"p99.9", 9990U}}) {
        text += std::string("  ") + label + ' ' + millisText(times->percentile(q));
    }
    return text + "  max " + millisText(times->max()) + " ms";
}

} // namespace

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
    addPart(row, injection.lost, "lost");
    return row + ", " + orNone(stream.totals.corrupted - injection.found) + " besides";
}

std::string lostRow(const streamSummary_t& stream) {
    std::string row = causesText(stream.causes);
    addPart(row, stream.follows, "follow");
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
    addPart(row, stream.totals.late, "after it was given up");
    return row + (stream.orderedByIdentifier
                      ? "; all at the identifier's wrap: a controller that sends by identifier"
                      : "");
}

std::string besidesRow(const streamSummary_t& stream) {
    std::string row;
    addPart(row, stream.restarts, stream.restarts == 1 ? "restart" : "restarts");
    addPart(row, stream.jumps, stream.jumps == 1 ? "jump" : "jumps");
    addPart(row, stream.totals.corruptedRepeats,
            stream.totals.corruptedRepeats == 1 ? "corrupted repeat" : "corrupted repeats");
    addPart(row, stream.totals.stray, "stray");
    addPart(row, stream.surplus, "surplus");
    addPart(row, stream.wrongFormat, "of another format");
    return stream.own ? row + (row.empty() ? "" : ", ") + "sent by this host" : row;
}

std::string gapRow(const streamSummary_t& stream, const demands_t& demands) {
    std::string row = histogramText(stream.gaps);
    if (row.empty() || !stream.rated) {
        return row;
    }
    const std::int64_t ppm = std::llround(stream.ratePpm);
    row +=
        "; told " + spanText(demands.gap) + ", rate " + (ppm > 0 ? "+" : "") + std::to_string(ppm) + " ppm";
    return row + (stream.jitter < 0
                      ? ""
                      : ", jitter " + millisText(std::llround(stream.jitter)) + " ms (RFC 3550)");
}

std::string roundTripRow(const pairSummary_t& pair) {
    std::string row = histogramText(pair.roundTrips);
    addPart(row, pair.unanswered, "unanswered");
    addPart(row, pair.early, "early");
    addPart(row, pair.slow, "slow");
    addPart(row, pair.echoedDamage, "damaged as their frames were");
    return row + (pair.queueHint
                      ? "; the answering node's receive queue was full: net.core.rmem_default there"
                      : "");
}
