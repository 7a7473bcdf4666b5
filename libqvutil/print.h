#pragma once

#include "libqvutil/utility.h"

#include <initializer_list>
#include <iostream>
#include <string>
#include <type_traits>

/// Refers to one thing to print, for the duration of a call: a text, or anything with an `operator<<`.
/// Type-erased, so that a call generates code only for its arguments.
class Piece {
public:
    Piece(const char* text) : object(text), insert(nullptr) {}

    template<typename T, typename = std::enable_if_t<!std::is_convertible_v<const T&, const char*>>>
    Piece(const T& value)
        : object(&value),
          insert([](std::ostream& out, const void* what) { out << *static_cast<const T*>(what); }) {}

    /// Inserts it; false if it is a null text.
    bool into(std::ostream& out) const;

private:
    const void* object;
    void (*insert)(std::ostream& out, const void* what); ///< null: `object` is a const char*
};

/// A text composed in memory, to be written in a single insertion with a flush, as threads share the standard
/// streams. Their flags neither affect it nor are changed.
///
/// A null `const char*` ends the text: what precedes it is written, then the stream's bad bit is set, as the
/// C++ library does for a null string. Throws std::bad_alloc if memory runs out, before anything is written.
class Text {
public:
    Text(std::initializer_list<Piece> pieces);

    void write(std::ostream& out) const;

private:
    std::string text;
    bool whole = true;
};

/// Writes the pieces; see Text.
template<typename... P>
void print(std::ostream& out, const P&... pieces) {
    Text({pieces...}).write(out);
}

/// The same plus a line end.
template<typename... P>
void printLine(std::ostream& out, const P&... pieces) {
    Text({pieces..., "\n"}).write(out);
}

/// Writes a line about a failed call to standard error: the pieces, ": " and the system's text for `errnum`.
/// Returns -1. errno need not be saved first: `printErrno(errno, "bind error")`.
template<typename... P>
[[gnu::cold]] int printErrno(int errnum, const P&... what) {
    printLine(std::cerr, what..., ": ", errorText(errnum));
    return -1;
}
