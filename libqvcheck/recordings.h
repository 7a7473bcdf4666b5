#pragma once

#include "libqvcheck/framesource.h"
#include "libqvcheck/inputblocks.h"
#include "libqvcheck/inputcounts.h"

#include <memory>
#include <string>
#include <vector>

/// The frames of files, read one behind the other as one run. "-" is standard input. What a file holds shows
/// in its first bytes: `(`, `#` and DROPCOUNT begin a candump log, A7 5E trace records, and anything else is
/// text of these tools.
///
/// A file that cannot be opened or read to its end is noted in `failures`, and the next one is read.
class Recordings : public FrameSource {
public:
    Recordings(std::vector<std::string> _names, InterfaceTable& _interfaces)
        : names(std::move(_names)),
          interfaces(_interfaces) {}
    ~Recordings() override;

    /// Opens the next file, or reads the descriptor of the present one once, blocking as that does. 0 is the
    /// end only when `ended`.
    std::size_t read(receivedFrame_t* frames, std::size_t n) override;

    /// Frames that have been read and wait here; touches no descriptor.
    std::size_t readBuffered(receivedFrame_t* frames, std::size_t n) {
        return format ? format->read(frames, n) : 0;
    }

    bool ended() const { return next == names.size() && fd == -1; }

    /// What is read next, for who waits until there is something; -1 between files.
    int descriptor() const { return fd; }

    const inputCounts_t& counts() const { return met; }

    /// "name: reason" for each file that failed.
    const std::vector<std::string>& failures() const { return failed; }

private:
    void open();
    void close();
    bool recognise();
    void fail(int errnum);

    std::vector<std::string> names;
    InterfaceTable& interfaces;
    std::size_t next = 0; ///< the name to be opened
    int fd = -1;          ///< owned, but for standard input
    std::unique_ptr<InputBlocks> input;
    std::unique_ptr<FrameSource> format; ///< null until it is known
    inputCounts_t met;
    std::vector<std::string> failed;
};
