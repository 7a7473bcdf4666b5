#pragma once

#include "libqvutil/textstream.h"

#include <iosfwd>
#include <string>

/// One line of output, composed in memory and written in one insertion with a flush.
///
/// Why not insert piece by piece: threads share the standard streams. One insertion keeps a line whole, a
/// manipulator such as std::hex stays inside this line, and the flush shows it at once at the other end of a
/// pipe.
///
/// A null `const char*` ends the line: what came before it is written, then the stream's bad bit is set, as
/// the C++ library does for a null string.
class Line {
public:
    Line& operator<<(const char* piece);
    Line& operator<<(char* piece) { return *this << static_cast<const char*>(piece); }

    template<typename T>
    Line& operator<<(const T& value) {
        if (!broken) {
            text << value;
        }
        return *this;
    }

    /// For functions that write to a stream.
    std::ostream& stream() { return text; }

    /// The text so far.
    std::string str() const { return text.str(); }

    /// Writes the text as it stands, without a line end, and flushes.
    void write(std::ostream& out) const;

    /// Writes the text and a line end, and flushes.
    void writeLine(std::ostream& out) const;

private:
    void put(std::ostream& out, const char* end) const;

    TextStream text;
    bool broken = false;
};
