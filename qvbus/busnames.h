#pragma once

#include "libqvio/descriptor.h"

#include <map>
#include <string>

/// The names under which programs find the nodes of a bus: symbolic links `prefix`0, `prefix`1, … to its
/// terminals.
///
/// As long as it lives it holds a lock on the file `prefix`.lock, which lists them. So the next bus knows
/// which names a killed one has left behind, also when their terminals' numbers belong to somebody else
/// since.
class BusNames {
public:
    /// Takes the lock, and removes the names that a killed bus has left behind: those in its list that still
    /// lead where the list says, and, of the first `count` names, links to terminals that no longer exist.
    /// Throws a QVException when another bus has the names, or the lock cannot be had.
    BusNames(const std::string& _prefix, unsigned int count);

    /// Removes the lock and the names, but for those that have been replaced by something else.
    ~BusNames();
    BusNames(const BusNames&) = delete;
    BusNames& operator=(const BusNames&) = delete;

    std::string operator[](unsigned int i) const { return prefix + std::to_string(i); }

    /// Makes name `i` lead to `terminal`. Throws a QVException when the name is taken or cannot be made.
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
