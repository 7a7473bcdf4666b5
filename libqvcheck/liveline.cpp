#include "libqvcheck/liveline.h"

#include "libqvcheck/numbertext.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr const char* standOut = "\033[1;31m";
constexpr const char* plain = "\033[0m";

/// A line of items, cut to a width in which colours do not count.
class Cut {
public:
    Cut(std::size_t _width, bool _colour) : width(_width), colour(_colour) {}

    void add(const std::string& item, bool loud = false) {
        const std::size_t left = width == 0 ? item.size() : width - std::min(width, columns);
        const std::string piece = item.substr(0, left);
        columns += piece.size();
        const bool marked = loud && colour && !piece.empty();
        text += (marked ? standOut : "") + piece + (marked ? plain : "");
    }
    void count(const char* what, std::uint64_t n) {
        add(std::string("  ") + what + ' ');
        add(std::to_string(n), n > 0);
    }

    std::string text;

private:
    std::size_t width;
    bool colour;
    std::size_t columns = 0;
};

std::string streamsText(const summary_t& summary) {
    if (summary.streams.size() == 1) {
        return "  s1 " + counterText(summary.streams[0].last);
    }
    return "  " + countedText(summary.streams.size(), "stream");
}

} // namespace

std::string liveLine(const summary_t& summary, std::int64_t time, std::uint64_t rate, std::size_t width,
                     bool colour) {
    totals_t totals{};
    for (const streamSummary_t& stream : summary.streams) {
        totals += stream.totals;
    }
    const std::string seconds = secondsText(time, 1);
    Cut line(width, colour);
    line.add(std::string(6 - std::min<std::size_t>(seconds.size(), 6), ' ') + seconds + " s" +
             streamsText(summary) + "  " + std::to_string(rate) + "/s");
    line.count("lost", totals.lost - totals.overrun);
    line.count("repeated", totals.repeated);
    line.count("reordered", totals.reordered);
    line.add("  corrupted ");
    line.add(std::to_string(totals.corrupted), totals.corrupted > totals.injected);
    line.add(totals.injected > 0 ? " = injected " + std::to_string(totals.injected) : "");
    if (totals.corruptedRepeats > 0) {
        line.count("corrupted repeats", totals.corruptedRepeats);
    }
    line.count("open", totals.open);
    line.count("this host", summary.findings[FK_OVERRUN]);
    return line.text;
}

std::uint64_t FrameRate::at(std::int64_t now, std::uint64_t frames) {
    const look_t oldest = count < LOOKS ? looks[0] : looks[count % LOOKS];
    looks[count++ % LOOKS] = {now, frames};
    const std::int64_t span = now - oldest.time;
    return count == 1 || span <= 0
               ? 0
               : static_cast<std::uint64_t>(std::llround(static_cast<double>(frames - oldest.frames) * 1e9 /
                                                         static_cast<double>(span)));
}
