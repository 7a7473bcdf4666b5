#pragma once

#include "libqvcheck/summary.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// The state of a check in one line: "  83.2 s  s1 7A31  500/s  lost 3  repeated 0  reordered 0  corrupted 12
/// = injected 12  open 1  this host 0"; with several streams their number replaces the last counter.
///
/// `time` is ns since the first frame, `rate` frames of streams per second. Cut to `width` columns; 0: not
/// cut. `colour` highlights counts that are not zero.
std::string liveLine(const summary_t& summary, std::int64_t time, std::uint64_t rate, std::size_t width,
                     bool colour);

/// Frames of streams per second, over about the last second.
class FrameRate {
public:
    /// `frames` is the count at the time `now` in ns, which never goes back. Returns the rate.
    std::uint64_t at(std::int64_t now, std::uint64_t frames);

private:
    static constexpr std::size_t LOOKS = 4; ///< a second at four calls a second

    struct look_t {
        std::int64_t time = 0;
        std::uint64_t frames = 0;
    };
    look_t looks[LOOKS];
    std::size_t count = 0;
};
