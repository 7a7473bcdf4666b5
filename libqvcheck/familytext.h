#pragma once

#include "libqvcheck/recordingformat.h"

#include <array>
#include <cstdint>
#include <string_view>

/// Frames from the output of `qvcan -vv`, `qvcandev -vv` and `qvbus -v`: `07:53:14.260885 ch0 123#1122`
/// anywhere in a line, optionally followed by ` error=crc` and ` tx`. A frame after `send: ` or with ` tx`
/// was sent by this host. Channel n is the interface "chn". Lines without such a frame are skipped.
class FamilyText : public RecordingFormat {
public:
    using RecordingFormat::RecordingFormat;

    std::size_t read(receivedFrame_t* frames, std::size_t n) override;

private:
    enum outcome_t { NO_FRAME, BROKEN, FRAME };

    outcome_t readLine(const inputLine_t& line, receivedFrame_t& frame);
    std::int64_t sinceFirstMidnight(std::int64_t timeOfDay);
    bool isToldAgain(std::string_view before, std::string_view text);

    std::int64_t days = 0;     ///< midnights passed, in ns
    std::int64_t lastTime = 0; ///< ns since the first midnight

    /// Hashes of the latest `return: ` lines, each until the line that repeats it has come.
    std::array<std::size_t, 64> returned{};
    std::size_t nextReturned = 0;
};
