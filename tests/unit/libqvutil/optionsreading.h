#pragma once

#include "libqvutil/options.h"
#include "tests/fakes/arguments.h"

#include <string>
#include <vector>

/// Reads on through an argument vector: each option as its letter (above 255: its number) and, where it has
/// one, "=" and its argument; then "-1", or what `get` returned for an option that cannot be used, which ends
/// the reading.
inline std::vector<std::string> readOn(Options& options, Arguments& arguments) {
    std::vector<std::string> read;
    for (;;) {
        const int letter = options.get(arguments.count(), arguments.vector());
        if (letter == -1) {
            read.emplace_back("-1");
            return read;
        }
        std::string text = letter > 255 ? std::to_string(letter) : std::string(1, static_cast<char>(letter));
        if (letter == '?' || letter == ':') {
            read.push_back(text);
            return read;
        }
        text += optarg == nullptr ? std::string() : std::string("=") + optarg;
        read.push_back(text);
    }
}

/// Starts afresh and reads all of `texts`.
inline std::vector<std::string> readAll(Options& options, const std::vector<std::string>& texts) {
    Arguments arguments(texts);
    Options::restart();
    return readOn(options, arguments);
}
