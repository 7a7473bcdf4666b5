#pragma once

#include "libqvcheck/recordingformat.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// Frames from the lines of a candump log, as `candump -l` and `-L` write them:
/// `(1436509052.249713) can0 123#1122`, followed by ` R` or ` T` if the logger distinguishes received from
/// sent. The DROPCOUNT lines of `candump -d` become `dropped` of that interface's next frame, as do the
/// comments in which DumpReport reports what it left out: `# left out 9 CAN frames on 'can0'`. Any other line
/// that does not begin with `(` is a comment.
class CandumpLog : public RecordingFormat {
public:
    /// Longer than any interface name (IFNAMSIZ is 16): other loggers name channels.
    static constexpr std::size_t LONGEST_NAME = 128;

    using RecordingFormat::RecordingFormat;

    std::size_t read(receivedFrame_t* frames, std::size_t n) override;

private:
    bool readLine(const inputLine_t& line, receivedFrame_t& frame);
    const char* readInterface(const char* at, const char* end, std::uint8_t& index);
    void readComment(const inputLine_t& line);

    std::string lastName; ///< the interface of the previous line, and its index
    std::uint8_t lastIndex = 0;
};
