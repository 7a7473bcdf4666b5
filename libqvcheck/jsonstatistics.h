#pragma once

#include "libqvcheck/histogram.h"
#include "libqvcheck/jsonvalues.h"
#include "libqvcheck/series.h"

#include <array>
#include <cmath>

/// Distributions and series as JSON.
namespace inJson {

inline json histogramObject(const Histogram& times) {
    json object = {{"count", times.count()},
                   {"min", seconds(times.min())},
                   {"mean", seconds(std::llround(times.mean()))},
                   {"p50", seconds(times.percentile(5000))},
                   {"p90", seconds(times.percentile(9000))},
                   {"p99", seconds(times.percentile(9900))},
                   {"p99.9", seconds(times.percentile(9990))},
                   {"max", seconds(times.max())}};
    json buckets = json::array();
    for (std::size_t i = 0; i < Histogram::buckets; ++i) {
        if (times.bucket(i) > 0) {
            buckets.push_back({seconds(Histogram::bucketEnd(i)), times.bucket(i)});
        }
    }
    object["buckets"] = std::move(buckets);
    return object;
}

/// A column for each figure of a slot, all of equal length.
template<typename Slot, typename Columns>
json seriesObject(const Series<Slot>* series, const Columns& columns) {
    if (series == nullptr) {
        return nullptr;
    }
    json object = {{"slot", seconds(series->slotLength())}};
    for (const auto& [label, figure] : columns) {
        json column = json::array();
        for (std::size_t i = 0; i < series->size(); ++i) {
            column.push_back(figure((*series)[i]));
        }
        object[label] = std::move(column);
    }
    return object;
}

template<typename Slot>
struct column_t {
    const char* label;
    json (*figure)(const Slot&);
};

inline json streamSeries(const Series<streamSlot_t>* series) {
    static const std::array<column_t<streamSlot_t>, 2> columns = {{
        {"frames", [](const streamSlot_t& slot) -> json { return slot.frames; }},
        {"longestGap", [](const streamSlot_t& slot) -> json { return seconds(slot.longestGap); }},
    }};
    return seriesObject(series, columns);
}

inline json findingSeries(const Series<findingSlot_t>* series) {
    static const std::array<column_t<findingSlot_t>, 6> columns = {{
        {"lost", [](const findingSlot_t& slot) -> json { return slot.lost; }},
        {"overrun", [](const findingSlot_t& slot) -> json { return slot.overrun; }},
        {"repeated", [](const findingSlot_t& slot) -> json { return slot.repeated; }},
        {"reordered", [](const findingSlot_t& slot) -> json { return slot.reordered; }},
        {"corrupted", [](const findingSlot_t& slot) -> json { return slot.corrupted; }},
        {"injected", [](const findingSlot_t& slot) -> json { return slot.injected; }},
    }};
    return seriesObject(series, columns);
}

} // namespace inJson
