#pragma once

#include "libqvio/descriptor.h"

#include <map>
#include <string>

/// The names of a bus's nodes for other programs: symbolic links `prefix`0, `prefix`1, … to its terminals.
///
/// Holds a lock on the file `prefix`.lock, which lists them, as long as it lives. So the next bus knows which
/// names a killed one left, even if their terminals' numbers have been reused since.
class BusNames {
public:
    /// Takes the lock, and removes the names left by a killed bus: those in its list whose target is still
    /// the listed one and, of the first `count` names, links to terminals that no longer exist. Throws a
    /// QVException if another bus has the names, or the lock cannot be taken.
    BusNames(const std::string& _prefix, unsigned int count);

    /// Removes the lock and the names, except those that have since been replaced.
    ~BusNames();
    BusNames(const BusNames&) = delete;
    BusNames& operator=(const BusNames&) = delete;

    std::string operator[](unsigned int i) const { return prefix + std::to_string(i); }

    /// Makes name `i` a link to `terminal`. Throws a QVException if the name is taken or cannot be created.
    void link(unsigned int i, const std::string& terminal);

private:
    void openLock();
    bool isInPlace() const;
    void removeOld(unsigned int count);

    std::string prefix;
    std::string lockName;
    Descriptor lock;
    std::map<std::string, std::string> made; ///< name and terminal
};
