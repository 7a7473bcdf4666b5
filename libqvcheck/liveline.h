#pragma once

#include "libqvcheck/summary.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// How a check stands, for one line: "  83.2 s  s1 7A31  500/s  lost 3  repeated 0  reordered 0  corrupted 12
/// = injected 12  open 1  this host 0"; with several streams their number in place of the one's last counter.
///
/// `time` is ns since the first frame, `rate` frames of streams a second. Cut to `width` columns; 0: whole.
/// With `colour` counts that are not zero stand out.
std::string liveLine(const summary_t& summary, std::int64_t time, std::uint64_t rate, std::size_t width,
                     bool colour);

/// Frames of streams a second, over about the last second.
class FrameRate {
public:
    /// The count `frames` at the time `now` in ns, which never goes back. Returns the rate.
    std::uint64_t at(std::int64_t now, std::uint64_t frames);

private:
    static constexpr std::size_t LOOKS = 4; ///< at four looks a second

    struct look_t {
        std::int64_t time = 0;
        std::uint64_t frames = 0;
    };
    look_t looks[LOOKS];
    std::size_t count = 0;
};
