#pragma once

#include "libqvcheck/framesource.h"
#include "libqvcheck/inputblocks.h"
#include "libqvcheck/inputcounts.h"

#include <memory>
#include <string>
#include <vector>

/// The frames of files, read one after the other as a single run. "-" is standard input. The first bytes show
/// the format: `(`, `#` and DROPCOUNT begin a candump log, A7 5E trace records, and anything else is text of
/// these tools.
///
/// A file that cannot be opened or read to its end is listed in `failures`, and the next one is read.
class Recordings : public FrameSource {
public:
    Recordings(std::vector<std::string> _names, InterfaceTable& _interfaces)
        : names(std::move(_names)),
          interfaces(_interfaces) {}
    ~Recordings() override;

    /// Opens the next file, or reads once from the current descriptor, blocking if that blocks. 0 means the
    /// end only if `ended`.
    std::size_t read(receivedFrame_t* frames, std::size_t n) override;

    /// Frames that have already been read; does not touch the descriptor.
    std::size_t readBuffered(receivedFrame_t* frames, std::size_t n) {
        return format ? format->read(frames, n) : 0;
    }

    bool ended() const { return next == names.size() && fd == -1; }

    /// The descriptor read next, to poll for input; -1 between files.
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
    std::size_t next = 0; ///< index of the next name to open
    int fd = -1;          ///< owned, except for standard input
    std::unique_ptr<InputBlocks> input;
    std::unique_ptr<FrameSource> format; ///< null until recognised
    inputCounts_t met;
    std::vector<std::string> failed;
};
