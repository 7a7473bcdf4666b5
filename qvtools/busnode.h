#pragma once

#include "libqvtrace/tracemessagebuffer.h"

#include <cstdint>
#include <memory>
#include <poll.h>
#include <string>

/// One connection of the bus in user space: a pseudo-terminal in raw mode whose other side is reached under a
/// name.
///
/// The master side is not blocking. Owns its descriptor and the name, a symbolic link that the destructor
/// removes.
class BusNode {
public:
    /// Makes the terminal and links it as `name`. Throws a QVException that says what failed.
    explicit BusNode(const std::string& name);
    ~BusNode();
    /// Removes a link that a bus that was killed has left behind. To be done for all names before the first
    /// terminal is made, which may get the number that a link points to.
    static void removeStaleName(const std::string& name);

    BusNode(const BusNode&) = delete;
    BusNode& operator=(const BusNode&) = delete;

    const std::string& name() const { return link; }
    int descriptor() const { return master; }

    /// Looks whether somebody has the terminal open. Who comes starts with nothing: what the one before did
    /// not read is dropped.
    bool isPresent();

    /// Looks whether there is something to receive.
    bool hasInput() const { return (look() & POLLIN) != 0; }

    /// Reads once what the node has written. False when it has gone.
    bool receive();

    /// The node's next message, owned by the caller, or null. Throws a QVException when something had to be
    /// passed over.
    MessageBase* nextMessage() { return buffer->getNextMessage(); }

    /// Hands the node a record, unless it does not read: then the record counts as missed. Never blocks.
    /// Absent nodes miss nothing.
    void deliver(const byteVec_t& record);

    /// The rest of a record waits until the node reads.
    bool hasRest() const { return !rest.empty(); }
    void deliverRest();

    std::uint64_t sent = 0;     ///< records from the node
    std::uint64_t received = 0; ///< records handed to it
    std::uint64_t missed = 0;   ///< records it left no room for

private:
    short look() const;
    void open();
    void makeLink();
    void leave();
    void reportRest();

    std::string link;
    std::string terminal;
    int master = -1;
    bool present = false;
    byteVec_t rest; ///< of the record that was cut when the node's queue was full
    std::unique_ptr<TraceMessageBuffer> buffer;
};
