#pragma once

#include "libqvcheck/recordingformat.h"

#include <array>
#include <cstdint>
#include <string_view>

/// Frames from what `qvcan -vv`, `qvcandev -vv` and `qvbus -v` print: `07:53:14.260885 ch0 123#1122` anywhere
/// in a line, with ` error=crc` and ` tx` behind it. A frame behind `send: ` or with ` tx` is this host's
/// own. Channel n is the interface "chn". Lines without such a frame are passed over.
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

    /// What the latest `return: ` lines held, as hashes, until a line that tells it again has come.
    std::array<std::size_t, 64> returned{};
    std::size_t nextReturned = 0;
};
