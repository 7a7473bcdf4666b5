#pragma once

#include "libqvio/fdset.h"
#include "qvbus/busnames.h"
#include "qvbus/busnode.h"
#include "qvbus/pendingoutput.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// A bus in user space: passes each record written by one node to all others. One thread.
///
/// Nothing is lost between nodes that read: while a node's queue is full, the bus accepts nothing from the
/// others. A node that reads nothing for BusNode::PATIENCE then misses records until it reads again.
class UserBus {
public:
    /// Creates `count` nodes named `prefix`0, `prefix`1, … Throws a QVException; nothing is left behind then.
    /// With `_verbose` each record is printed in candump's notation.
    UserBus(const std::string& prefix, unsigned int count, bool _verbose);

    /// Runs until `stopFd` is readable; then delivers what is pending, and prints how many records each node
    /// has sent, received and missed. That takes two seconds at most, even if nobody reads. Returns false if
    /// waiting failed or standard output could not be written, which is reported.
    bool run(int stopFd);

private:
    bool runUntil(int stopFd);
    void watchInputs(FdSet& rfds) const;
    void watchOutputs(FdSet& wfds) const;
    bool wait(FdSet& rfds, FdSet& wfds, std::uint64_t limit);
    std::uint64_t nextDeadline() const;
    bool mayServe(const BusNode& node) const;

    void lookAtNodes();
    std::size_t serve(BusNode& node);
    void forward(BusNode& from);
    void distribute(const BusNode& from, const record::view_t& view);
    void report(BusNode& node, bool atEnd);
    bool flush();

    bool writeOnly(std::uint64_t limit);
    void takeLastInput(std::uint64_t limit);
    std::size_t pending() const;
    void handOnQueued(std::uint64_t limit);
    void printCounts();
    bool finishOutput();

    BusNames names;
    std::vector<std::unique_ptr<BusNode>> nodes;
    bool verbose;
    Descriptor openings; ///< inotify: readable when a program has opened a terminal; none if unavailable
    PendingOutput out{1};
    PendingOutput err{2};
};
