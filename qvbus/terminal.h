#pragma once

#include "libqvio/descriptor.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The bus's side of a pseudo-terminal in raw mode. Programs open the other side by its path.
class Terminal {
public:
    /// Throws a QVException, which names `purpose`, if none is available.
    explicit Terminal(const std::string& purpose);

    /// Non-blocking.
    int descriptor() const { return master.get(); }

    /// The path of the other side.
    const std::string& path() const { return name; }

    /// Returns whether a program has the terminal open, or has left unread bytes.
    bool isInUse() const;

    /// Returns whether there are bytes to read.
    bool hasInput() const;

    /// Restores raw mode if a program has changed it.
    void makeRaw();

    /// How many bytes wait for the program that has the terminal open, as far as the system says; 0 once it
    /// has read everything.
    std::size_t unread() const;

    /// Takes back what the program has not read, which the system would drop with the terminal.
    std::vector<std::uint8_t> takeBack();

    /// Resets it for the next program: raw, without unread bytes.
    void reset();

private:
    Descriptor openOtherSide() const;

    Descriptor master;
    std::string name;
};
