#pragma once

#include "libqvcheck/finding.h"
#include "libqvcheck/findingtext.h"
#include "libqvcheck/jsonstream.h"

/// Findings as JSON.
namespace inJson {

inline json evidenceObject(const evidence_t& evidence) {
    json bytes = json::array();
    for (std::size_t i = 0; i < evidence.differing; ++i) {
        const differingByte_t& byte = evidence.bytes[i];
        bytes.push_back({{"index", byte.index}, {"got", byte.got}, {"wanted", byte.wanted}});
    }
    return {{"label", damageText(evidence)},
            {"length", evidence.length},
            {"bytes", std::move(bytes)},
            {"witnesses",
             {{"identifier", evidence.identifier}, {"counter", evidence.counter}, {"run", evidence.run}}}};
}

inline void addTimes(json& object, const finding_t& finding) {
    switch (finding.kind) {
    case FK_LOST:
    case FK_GAP: object["before"] = seconds(finding.before); [[fallthrough]];
    case FK_SLOW:
    case FK_EARLY:
    case FK_PACE: object["span"] = seconds(finding.span); break;
    case FK_REPEATED:
        if (finding.span >= 0) {
            object["span"] = seconds(finding.span);
        }
        break;
    case FK_REORDERED:
    case FK_LATE:
        object["span"] = seconds(finding.span);
        object["extent"] = finding.extent;
        break;
    default: break;
    }
}

inline json findingObject(const finding_t& finding, const InterfaceTable& interfaces) {
    json object = {{"event", "finding"}, {"t", seconds(finding.time)}};
    object["interface"] =
        finding.kind == FK_ABSENT ? json(nullptr) : text(interfaces.name(finding.interface));
    object["stream"] = finding.stream == 0 ? json(nullptr) : json(nameOf(finding.stream));
    object["kind"] = std::string(findingName(finding.kind));
    object["count"] = finding.count;
    object["first"] = finding.first;
    object["last"] = finding.last;
    addTimes(object, finding);
    if (finding.kind == FK_LOST) {
        object["causes"] = causesObject(finding.causes);
        object["injected"] = finding.injected;
    } else if (finding.kind == FK_RESTART) {
        object["began"] = finding.began;
    } else if (finding.kind == FK_CORRUPTED || finding.kind == FK_STRAY) {
        object.update(evidenceObject(finding.evidence));
    }
    return object;
}

} // namespace inJson
