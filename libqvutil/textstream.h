#pragma once

#include <sstream>
#include <string>

/// A string stream for output that lets std::bad_alloc through. A plain one only sets its bad bit when memory
/// runs out, and the text would end anywhere without anybody noticing.
class TextStream : public std::ostringstream {
public:
    TextStream() { exceptions(std::ios_base::badbit); }
};
