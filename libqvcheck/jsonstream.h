#pragma once

#include "libqvcheck/cause.h"
#include "libqvcheck/framesource.h"
#include "libqvcheck/jsonstatistics.h"
#include "libqvcheck/summary.h"

#include <cmath>

/// Streams and pairs of them as JSON.
namespace inJson {

inline const char* roleName(streamRole_t role) {
    switch (role) {
    case SR_ANSWER: return "answer";
    case SR_REMOTE: return "remote";
    case SR_DIRECT: break;
    }
    return "direct";
}

inline json causesObject(const lossShares_t& causes) {
    return countsOf(causes, [](std::size_t i) { return causeName(static_cast<lossCause_t>(i)); });
}

inline json totalsObject(const totals_t& totals) {
    return {{"expected", totals.expected},
            {"intact", totals.intact},
            {"corrupted", totals.corrupted},
            {"lost", totals.lost},
            {"open", totals.open},
            {"repeated", totals.repeated},
            {"corruptedRepeats", totals.corruptedRepeats},
            {"reordered", totals.reordered},
            {"overtaken", totals.overtaken},
            {"late", totals.late},
            {"stray", totals.stray}};
}

inline json gapObject(const streamSummary_t& stream) {
    if (stream.gaps == nullptr || stream.gaps->count() == 0) {
        return nullptr;
    }
    json object = histogramObject(*stream.gaps);
    if (stream.rated) {
        object["ratePpm"] = std::llround(stream.ratePpm);
    }
    if (stream.jitter >= 0) {
        object["jitter"] = seconds(std::llround(stream.jitter));
    }
    return object;
}

inline json injectedObject(const injectionSummary_t& injection) {
    if (injection.period == 0) {
        return nullptr;
    }
    return {{"period", injection.period}, {"told", injection.told},
            {"found", injection.found},   {"missing", injection.missing},
            {"lost", injection.lost},     {"damagedOtherwise", injection.damagedOtherwise}};
}

inline json startOf(const streamSummary_t& stream) {
    return stream.startKnown ? json(stream.start) : json(nullptr);
}

/// What is known about a stream both at its birth and later.
inline json streamHead(const streamSummary_t& stream, const InterfaceTable& interfaces) {
    return {{"name", nameOf(stream.number)}, {"interface", text(interfaces.name(stream.interface))},
            {"role", roleName(stream.role)}, {"width", stream.width},
            {"length", stream.length},       {"fd", stream.fd},
            {"start", startOf(stream)},      {"startKnown", stream.startKnown}};
}

inline json streamObject(const streamSummary_t& stream, const InterfaceTable& interfaces) {
    json object = streamHead(stream, interfaces);
    object.update({{"ambiguous", stream.ambiguous},
                   {"demanded", stream.demanded},
                   {"ownHost", stream.own},
                   {"first", stream.first},
                   {"last", stream.last}});
    object.update(totalsObject(stream.totals));
    object.update({{"maxExtentFrames", stream.maxExtent},
                   {"maxLateTime", seconds(stream.maxLateTime)},
                   {"orderedByIdentifier", stream.orderedByIdentifier},
                   {"restarts", stream.restarts},
                   {"jumps", stream.jumps},
                   {"surplus", stream.surplus},
                   {"wrongFormat", stream.wrongFormat},
                   {"follows", stream.follows},
                   {"injected", injectedObject(stream.injection)},
                   {"causes", causesObject(stream.causes)},
                   {"gap", gapObject(stream)},
                   {"series", streamSeries(stream.series)}});
    return object;
}

inline json pairObject(const pairSummary_t& pair) {
    const bool measured = pair.roundTrips != nullptr && pair.roundTrips->count() > 0;
    return {{"direct", nameOf(pair.direct)},
            {"answers", nameOf(pair.answers)},
            {"answered", pair.answered},
            {"unanswered", pair.unanswered},
            {"early", pair.early},
            {"slow", pair.slow},
            {"echoedDamage", pair.echoedDamage},
            {"unseen", pair.unseen},
            {"queueHint", pair.queueHint},
            {"roundTrip", measured ? histogramObject(*pair.roundTrips) : json(nullptr)}};
}

} // namespace inJson
