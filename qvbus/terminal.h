#pragma once

#include "libqvio/descriptor.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The bus's side of a pseudo-terminal in raw mode. Programs open the other side by its path.
class Terminal {
public:
    /// Throws a QVException, which names `purpose`, when there is none to be had.
    explicit Terminal(const std::string& purpose);

    /// Not blocking.
    int descriptor() const { return master.get(); }

    /// The path of the other side.
    const std::string& path() const { return name; }

    /// Returns whether a program has the terminal open, or has left bytes that are not read yet.
    bool isInUse() const;

    /// Returns whether there are bytes to read.
    bool hasInput() const;

    /// Makes the terminal pass bytes as they are again, if a program has changed that.
    void makeRaw();

    /// How many bytes wait for the program that has the terminal open, as far as the system tells; 0 once it
    /// has read all.
    std::size_t unread() const;

    /// Takes back what the program has not read. The system would drop it with the terminal.
    std::vector<std::uint8_t> takeBack();

    /// Makes it as new for the next program: raw, and without what was not read.
    void reset();

private:
    Descriptor openOtherSide() const;

    Descriptor master;
    std::string name;
};
