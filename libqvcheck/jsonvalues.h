#pragma once

// The JSON library, which takes longer to compile than everything else, and what it lacks. Included by
// jsonreport.cpp only.

#include "libqvcheck/numbertext.h"
#include "libqvcheck/report.h"

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

/// The parts of a report in JSON.
namespace inJson {

using json = nlohmann::ordered_json;

/// Prefix of a number with a fixed number of decimals, which the library cannot write: it is stored as text
/// after this mark. No other text begins with it, as control characters are replaced in all of them.
inline constexpr char numberMark = '\1';
inline constexpr const char* writtenMark = "\"\\u0001";

inline json decimal(const std::string& digits) {
    return numberMark + digits;
}

inline json seconds(std::int64_t ns) {
    return decimal(secondsText(ns, 9));
}

inline json text(std::string_view from) {
    return printable(from);
}

inline void write(std::ostream& out, const json& object) {
    // Names from outside need not be UTF-8.
    std::string line = object.dump(-1, ' ', false, json::error_handler_t::replace);
    const std::string_view mark = writtenMark;
    for (std::size_t at = line.find(mark); at != std::string::npos; at = line.find(mark, at)) {
        line.erase(at, mark.size());
        line.erase(line.find('"', at), 1);
    }
    out << line << '\n';
}

inline std::string nameOf(std::uint16_t stream) {
    return 's' + std::to_string(stream);
}

inline json namesOf(const std::vector<std::string>& names) {
    json array = json::array();
    for (const std::string& name : names) {
        array.push_back(text(name));
    }
    return array;
}

/// Counts, by the name of their index; zeros are left out.
template<typename Counts, typename Name>
json countsOf(const Counts& counts, Name name) {
    json object = json::object();
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] > 0) {
            object[std::string(name(i))] = counts[i];
        }
    }
    return object;
}

inline json dateOf(std::int64_t stamp) {
    const std::string date = dateText(stamp, 'T');
    return date.empty() ? json(nullptr) : json(date);
}

} // namespace inJson
