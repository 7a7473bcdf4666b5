#pragma once

#include "libqvio/fdset.h"
#include "qvtools/busnode.h"

#include <memory>
#include <string>
#include <vector>

/// A bus in user space: hands each record that one node writes to all others. One thread.
class UserBus {
public:
    /// Makes `count` nodes under the names `prefix`0, `prefix`1, … Throws a QVException; nothing is left
    /// behind then. With `verbose` each record is printed in candump's notation.
    UserBus(const std::string& prefix, unsigned int count, bool verbose);

    /// Runs until `stopFd` is readable. Returns 0; -1 when waiting fails, which is reported.
    int run(int stopFd);

    /// Writes a line per node: records sent, received and missed.
    void printCounts() const;

private:
    bool watchNodes(FdSet& rfds, FdSet& wfds);
    void serve(BusNode& node);
    void serveLast();
    void distribute(BusNode& from, const MessageBase& message);

    std::vector<std::unique_ptr<BusNode>> nodes;
    bool verbose;
};
