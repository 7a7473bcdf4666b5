#pragma once

#include <sstream>
#include <string>

/// An output string stream that lets std::bad_alloc through. A plain one only sets its bad bit if memory runs
/// out, which silently truncates the text.
class TextStream : public std::ostringstream {
public:
    TextStream() { exceptions(std::ios_base::badbit); }
};
