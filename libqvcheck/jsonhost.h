#pragma once

#include "libqvcheck/hosttext.h"
#include "libqvcheck/jsonvalues.h"

/// What this host reports on its interfaces, as JSON.
namespace inJson {

inline json interfaceObject(const interfaceSummary_t& interface) {
    json object = {{"queueFrames", queueFrames(interface.receiveBuffer)},
                   {"queueDrops", interface.queueDrops},
                   {"rxOverErrors", interface.driverOverflows},
                   {"rxDropped", interface.kernelDrops},
                   {"linkDowns", interface.linkDowns},
                   {"state", interface.controller ? json(canStateName(interface.state)) : json(nullptr)},
                   {"errorFrames", countsOf(interface.errorFrames, errorClassName)}};
    if (interface.controller) {
        object.update({{"bitRate", interface.bitRate},
                       {"dataBitRate", interface.dataBitRate},
                       {"busErrors", interface.statistics.bus_error},
                       {"errorPassive", interface.statistics.error_passive},
                       {"busOff", interface.statistics.bus_off},
                       {"arbitrationLost", interface.statistics.arbitration_lost},
                       {"restarts", interface.statistics.restarts}});
    }
    return object;
}

inline json hostObject(const runSettings_t& settings) {
    if (settings.host == nullptr) {
        return nullptr;
    }
    json interfaces = json::object();
    for (const interfaceSummary_t& interface : settings.host->interfaces) {
        interfaces[printable(settings.interfaces.name(interface.interface))] = interfaceObject(interface);
    }
    return {{"interfaces", std::move(interfaces)}, {"softnetDrops", settings.host->softnetDrops}};
}

inline const char* eventName(hostEventKind_t kind) {
    switch (kind) {
    case HE_LINK_DOWN: return "link down";
    case HE_LINK_UP: return "link up";
    case HE_DELETED: return "interface deleted";
    case HE_MADE: return "interface made again";
    case HE_ERROR_FRAME: break;
    }
    return "error frame";
}

} // namespace inJson
