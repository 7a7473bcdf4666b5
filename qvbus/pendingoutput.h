#pragma once

#include <string>

/// Lines for a descriptor that it does not own and that never holds the program up: what its reader has no
/// room for waits here.
class PendingOutput {
public:
    explicit PendingOutput(int _fd) : fd(_fd) {}

    int descriptor() const { return fd; }

    /// Adds a line and writes what can be written.
    void line(const std::string& _text);

    /// Writes what can be written without waiting. Returns whether anything was written.
    bool flush();

    bool empty() const { return text.empty(); }

    /// A write has failed: what waited then, and all lines since, are lost.
    bool failed() const { return broken; }

private:
    bool isWritable() const;
    std::size_t pieceSize() const;

    int fd;
    std::string text;
    bool broken = false;
};
