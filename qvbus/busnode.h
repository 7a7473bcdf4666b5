#pragma once

#include "libqvtrace/passedover.h"
#include "libqvtrace/recordscanner.h"
#include "qvbus/recordqueue.h"
#include "qvbus/terminal.h"

#include <cstdint>
#include <string>

/// One connection of the bus in user space: a terminal, the records that come from it, and those that wait
/// for it. Never blocks. Times are those of getMicroSecondsOfDay().
class BusNode {
public:
    /// How long a full node may hold up the bus without reading anything, in µs.
    static constexpr std::uint64_t PATIENCE = 100000;

    /// Makes the terminal; `_name` is for messages. Throws a QVException that says what failed.
    explicit BusNode(const std::string& _name) : label(_name), terminal(_name) {}

    const std::string& name() const { return label; }
    const std::string& path() const { return terminal.path(); }
    int descriptor() const { return terminal.descriptor(); }

    bool isPresent() const { return present; }

    /// Looks at the terminal anew. Returns true when the program that had it open has gone: then endInput()
    /// and leave() are due.
    bool look();

    /// Nothing follows what has been received: nextRecord() finds all that is sound in it.
    void endInput() { scanner.ended(); }

    /// Forgets the program that has gone, and makes the terminal as new. Its unread records count as missed.
    void leave();

    bool hasInput() const { return terminal.hasInput(); }

    /// Reads once what the node has written, as far as there is room. Returns the number of bytes, 0 for
    /// none.
    std::size_t receive();

    /// The node's next sound record, of any kind; RECORD or INCOMPLETE. Valid until receive().
    record::view_t nextRecord() { return scanner.next(); }
    void takeRecord(const record::view_t& view);

    /// A line about the bytes since the last call that belonged to no sound record; empty when there were
    /// none. With `atEnd`, also about a record that was begun and not finished.
    std::string takeReport(bool atEnd);

    /// Queues a record for the node. Where it has no room the record counts as missed. Absent nodes miss
    /// nothing. Returns false when this is the first record missed since the node last read.
    bool deliver(const record::view_t& view, std::uint64_t now);

    bool hasQueued() const { return !queue.empty(); }

    /// Hands on what the node takes. Returns false when it takes nothing.
    bool flush(std::uint64_t now);

    /// How many bytes are queued, or wait in the terminal of a program that has it open.
    std::size_t pending() const { return present ? queue.size() + terminal.unread() : 0; }

    /// The bus ends: what the program has not read by now counts as missed.
    void giveUp();

    /// How long the bus waits for this node before it delivers more; 0 when it does not wait.
    std::uint64_t patienceLeft(std::uint64_t now) const;

    std::uint64_t sent = 0;     ///< records from the node
    std::uint64_t received = 0; ///< records handed to it whole
    std::uint64_t missed = 0;   ///< records it was too slow for

private:
    bool isFull() const;

    std::string label;
    Terminal terminal;
    bool present = false;
    RecordScanner scanner;
    std::uint64_t dropped = 0; ///< bytes that the scanner had dropped at the last report
    RecordQueue queue;
    std::uint64_t waitUntil = 0; ///< of a full node
    bool missing = false;        ///< it has missed a record and not read since
};
