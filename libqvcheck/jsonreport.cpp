// The only file that includes the JSON library, through jsonvalues.h.

#include "libqvcheck/jsonreport.h"

#include "libqvcheck/jsonfinding.h"
#include "libqvcheck/jsonhost.h"
#include "libqvcheck/jsonstream.h"
#include "libqvcheck/verdictline.h"

#include <unistd.h>

using namespace inJson;

namespace {

json hostName() {
    char name[256] = {};
    return gethostname(name, sizeof name - 1) == 0 ? text(name) : json(nullptr);
}

json paceObject(const demands_t& demands) {
    if (!demands.paced) {
        return nullptr;
    }
    return {{"gap", seconds(demands.gap)}, {"jitter", seconds(demands.jitter)}};
}

json inputObject(const inputCounts_t* input) {
    if (input == nullptr) {
        return nullptr;
    }
    return {{"frames", input->frames},
            {"brokenLines", input->broken},
            {"firstBroken", input->broken > 0 ? text(input->firstBroken) : json(nullptr)},
            {"passedOverBytes", input->passedOver}};
}

json findingsObject(const summary_t& summary) {
    return countsOf(summary.findings,
                    [](std::size_t i) { return findingName(static_cast<findingKind_t>(i)); });
}

json allowedList(const Allowance& allowance) {
    json array = json::array();
    for (std::uint8_t i = 0; i < FK_NUM; ++i) {
        const auto kind = static_cast<findingKind_t>(i);
        if (allowance.allows(kind)) {
            const bool limited = allowance.limit(kind) != Allowance::unlimited;
            array.push_back(std::string(findingName(kind)) +
                            (limited ? '=' + std::to_string(allowance.limit(kind)) : ""));
        }
    }
    return array;
}

json frameCounts(const summary_t& summary) {
    return {{"frames", summary.frames},
            {"pattern", summary.pattern},
            {"foreign", summary.foreign},
            {"foreignIdentifiers", summary.foreignIdentifiers},
            {"tooShort", summary.tooShort},
            {"remote", summary.remote},
            {"errorFrames", summary.errorFrames},
            {"xl", summary.xl},
            {"furtherStreams", summary.furtherStreams},
            {"clockSteps", summary.clockSteps},
            {"dropped", summary.dropped}};
}

json program() {
    return "qvcancheck " QV_VERSION;
}

} // namespace

void JsonReport::start(std::int64_t stamp) {
    firstStamp = stamp;
    write(out, {{"event", "start"},
                {"version", version},
                {"program", program()},
                {"start", dateOf(stamp)},
                {"host", hostName()},
                {"command", namesOf(settings.command)},
                {"inputs", namesOf(settings.inputs)},
                {"pace", paceObject(settings.demands)}});
}

void JsonReport::stream(const streamSummary_t& stream, std::int64_t time) {
    json object = {{"event", "stream"}, {"t", seconds(time)}};
    object.update(streamHead(stream, settings.interfaces));
    object["first"] = stream.first;
    write(out, object);
}

void JsonReport::finding(const finding_t& finding) {
    if (++findings <= mostFindings) {
        write(out, findingObject(finding, settings.interfaces));
    }
}

void JsonReport::event(const hostEvent_t& event) {
    json object = {{"event", "event"},
                   {"t", seconds(event.time)},
                   {"interface", text(settings.interfaces.name(event.interface))},
                   {"what", eventName(event.kind)}};
    if (event.kind == HE_LINK_UP || event.kind == HE_MADE) {
        object["after"] = seconds(event.span);
    } else if (event.kind == HE_ERROR_FRAME) {
        object["text"] = event.text;
    }
    write(out, object);
}

void JsonReport::interval(const std::vector<intervalSummary_t>& pieces) {
    for (const intervalSummary_t& piece : pieces) {
        json object = {{"event", "interval"},
                       {"t", seconds(piece.begin)},
                       {"end", seconds(piece.end)},
                       {"interface", text(settings.interfaces.name(piece.interface))},
                       {"stream", nameOf(piece.stream)},
                       {"frames", piece.frames}};
        object.update(totalsObject(piece.totals));
        object["injected"] = piece.totals.injected;
        object["gap"] = piece.gapCount == 0 ? json(nullptr)
                                            : json({{"count", piece.gapCount},
                                                    {"p99", seconds(piece.gapP99)},
                                                    {"max", seconds(piece.gapMax)}});
        write(out, object);
    }
}

void JsonReport::end(const runResult_t& run) {
    json streams = json::array();
    for (const streamSummary_t& stream : run.summary.streams) {
        streams.push_back(streamObject(stream, settings.interfaces));
    }
    json pairs = json::array();
    for (const pairSummary_t& pair : run.summary.pairs) {
        pairs.push_back(pairObject(pair));
    }
    json object = {{"event", "summary"},          {"version", version},
                   {"program", program()},        {"verdict", verdictName(run.verdict)},
                   {"status", run.verdict},       {"verdictLine", text(verdictLine(run, settings))},
                   {"ended", text(run.ended)},    {"planned", run.planned},
                   {"start", dateOf(firstStamp)}, {"duration", seconds(run.summary.duration)}};
    object.update(frameCounts(run.summary));
    object.update({{"input", inputObject(run.input)},
                   {"failures", namesOf(run.failures)},
                   {"streams", std::move(streams)},
                   {"pairs", std::move(pairs)},
                   {"host", hostObject(settings)},
                   {"series", findingSeries(run.summary.series)},
                   {"findings", findingsObject(run.summary)},
                   {"allowed", allowedList(settings.allowance)}});
    write(out, object);
}

bool JsonReport::flush() {
    return static_cast<bool>(out.flush());
}
