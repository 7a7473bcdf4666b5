#pragma once

#include <iosfwd>
#include <stdexcept>
#include <string>

/// The libraries' own exception: unusable input (a descriptor, a record). Its text is for the user.
class QVException : public std::runtime_error {
public:
    explicit QVException(const std::string& text) : std::runtime_error(text) {}
};

/// Writes the exception's text: one line, no line end.
std::ostream& operator<<(std::ostream& out, const QVException& exception);
