#include "libqvcheck/intervaltext.h"

#include "libqvcheck/numbertext.h"
#include "libqvcheck/rowtext.h"

#include <cmath>

std::string intervalText(const intervalSummary_t& piece) {
    const std::int64_t length = piece.end - piece.begin;
    const double rate =
        length > 0 ? static_cast<double>(piece.frames) * 1e9 / static_cast<double>(length) : 0;
    const totals_t& totals = piece.totals;
    const auto count = [](const char* what, std::uint64_t n) {
        return std::string(what) + ' ' + std::to_string(n);
    };
    return '[' + rightAligned(secondsText(piece.begin, 1), 7) + " - " +
           rightAligned(secondsText(piece.end, 1), 9) + "] " + streamName(piece.stream) + "  " +
           std::to_string(piece.frames) + " frames  " + secondsText(std::llround(rate * 1e9), 1) + "/s  " +
           count("lost", totals.lost) + ' ' + count("repeated", totals.repeated) + ' ' +
           count("reordered", totals.reordered) + ' ' + count("corrupted", totals.corrupted) +
           (totals.injected > 0 ? " (injected " + std::to_string(totals.injected) + ")" : "") +
           (totals.corruptedRepeats > 0 ? ' ' + count("corrupted repeats", totals.corruptedRepeats) : "") +
           ' ' + count("open", totals.open) +
           (piece.gapCount > 0
                ? "  gap p99 " + millisText(piece.gapP99) + " max " + millisText(piece.gapMax) + " ms"
                : "");
}
