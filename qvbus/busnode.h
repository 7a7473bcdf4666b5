#pragma once

#include "libqvtrace/passedover.h"
#include "libqvtrace/recordscanner.h"
#include "qvbus/recordqueue.h"
#include "qvbus/terminal.h"

#include <cstdint>
#include <string>

/// One connection of the bus in user space: a terminal, the records received from it, and those queued for
/// it. Never blocks. Times are those of getMicroSecondsOfDay().
class BusNode {
public:
    /// How long a full node may delay the bus without reading anything, in µs.
    static constexpr std::uint64_t PATIENCE = 100000;

    /// Creates the terminal; `_name` is for messages. Throws a QVException that describes the failure.
    explicit BusNode(const std::string& _name) : label(_name), terminal(_name) {}

    const std::string& name() const { return label; }
    const std::string& path() const { return terminal.path(); }
    int descriptor() const { return terminal.descriptor(); }

    bool isPresent() const { return present; }

    /// Checks the terminal again. Returns true if the program that had it open has gone: then call endInput()
    /// and leave().
    bool look();

    /// Nothing follows what has been received: nextRecord() finds everything sound in it.
    void endInput() { scanner.ended(); }

    /// Forgets the program that has gone, and resets the terminal. Unread records count as missed.
    void leave();

    bool hasInput() const { return terminal.hasInput(); }

    /// Reads once what the node has written, if there is room. Returns the number of bytes, 0 if none.
    std::size_t receive();

    /// The node's next sound record, of any kind; RECORD or INCOMPLETE. Valid until receive().
    record::view_t nextRecord() { return scanner.next(); }
    void takeRecord(const record::view_t& view);

    /// A line about the bytes in no sound record since the last call; empty if there were none. With `atEnd`
    /// it includes an unfinished record.
    std::string takeReport(bool atEnd);

    /// Queues a record for the node. Without room for it the record counts as missed. Absent nodes miss
    /// nothing. Returns false for the first record missed since the node last read.
    bool deliver(const record::view_t& view, std::uint64_t now);

    bool hasQueued() const { return !queue.empty(); }

    /// Writes what the node accepts. Returns false if it accepts nothing.
    bool flush(std::uint64_t now);

    /// How many bytes are queued, or unread in the terminal of a program that has it open.
    std::size_t pending() const { return present ? queue.size() + terminal.unread() : 0; }

    /// The bus ends: what the program has not read counts as missed.
    void giveUp();

    /// How long the bus waits for this node before it delivers more; 0 if it does not wait.
    std::uint64_t patienceLeft(std::uint64_t now) const;

    std::uint64_t sent = 0;     ///< records from the node
    std::uint64_t received = 0; ///< records delivered to it completely
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
