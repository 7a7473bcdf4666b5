#pragma once

#include <string>

/// Output lines for a descriptor, which it does not own, that never block the program: what the reader has no
/// room for is buffered here.
class PendingOutput {
public:
    explicit PendingOutput(int _fd) : fd(_fd) {}

    int descriptor() const { return fd; }

    /// Adds a line and writes what can be written.
    void line(const std::string& _text);

    /// Writes what is possible without waiting. Returns whether anything was written.
    bool flush();

    bool empty() const { return text.empty(); }

    /// A write has failed: the lines then pending, and all later ones, are lost.
    bool failed() const { return broken; }

private:
    bool isWritable() const;
    std::size_t pieceSize() const;

    int fd;
    std::string text;
    bool broken = false;
};
