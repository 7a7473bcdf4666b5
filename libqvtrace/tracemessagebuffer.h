#pragma once

#include "libqvtrace/messagebase.h"
#include "libqvtrace/passedover.h"
#include "libqvtrace/recordscanner.h"

#include <mutex>
#include <string>

/// Reads trace records from a descriptor that it does not own. Records may come cut anywhere, many at once,
/// with garbage between them: every sound record is delivered, once and in order. Memory is bounded by
/// RecordScanner::CAPACITY. Used by one thread, unless a mutex is given, which `read` and `getNextMessage`
/// then take.
class TraceMessageBuffer {
public:
    explicit TraceMessageBuffer(std::mutex* _mutex);
    TraceMessageBuffer(const TraceMessageBuffer&) = delete;
    TraceMessageBuffer& operator=(const TraceMessageBuffer&) = delete;

    void setFD(int _fd) { fd = _fd; }

    /// Debug lines about what is read and passed over.
    void setDebug(bool on) { debug = on; }

    /// Reads once what the descriptor has, blocking as it blocks. Returns the number of bytes; 0 at the end
    /// of the input; -1 with errno set on failure (ENOBUFS: records wait to be taken first).
    int read();

    /// The last read met the end of the input or a failure. A caller that reads in a loop pauses then.
    bool atEnd() const { return ended; }

    /// The next message, new and owned by the caller; null when no whole record is buffered.
    ///
    /// The first call after a `read` throws a QVException, once, when bytes had to be passed over since the
    /// last report; they are dropped already, and no sound record is lost. Other calls never throw it.
    MessageBase* getNextMessage();

    /// For an owner who will not read on: what was passed over and not yet reported, the beginning of a
    /// record included. Empty when there is nothing to tell.
    std::string takeReport();

    /// Bytes since construction: read, delivered as messages, and dropped.
    const RecordScanner::counts_t& counts() const { return scanner.counts(); }

private:
    record::view_t nextRecord();
    void reportPassedOver(bool mayThrow);

    std::mutex* mutex;
    int fd = -1;
    bool debug = false;
    RecordScanner scanner;
    int lastRead = 0;
    bool justRead = false; ///< the next getNextMessage() may throw
    bool ended = false;    ///< the last read met the end of the input or a failure
    bool endMet = false;   ///< the input has ended, and nothing came since
    bool endNew = false;   ///< the same, and what is left of the input has not been looked at since
    passedOver_t passedOver;
};
