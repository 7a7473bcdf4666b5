#pragma once

#include "libqvtrace/messagebase.h"
#include "libqvtrace/passedover.h"
#include "libqvtrace/recordscanner.h"

#include <mutex>
#include <string>

/// Reads trace records from a descriptor, which it does not own. Records may arrive cut anywhere, many at
/// once, with garbage between them: every sound record is delivered, once and in order. Memory is bounded by
/// RecordScanner::CAPACITY. Used by one thread, unless a mutex is given, which `read` and `getNextMessage`
/// then lock.
class TraceMessageBuffer {
public:
    explicit TraceMessageBuffer(std::mutex* _mutex);
    TraceMessageBuffer(const TraceMessageBuffer&) = delete;
    TraceMessageBuffer& operator=(const TraceMessageBuffer&) = delete;

    void setFD(int _fd) { fd = _fd; }

    /// Debug lines about what is read and skipped.
    void setDebug(bool on) { debug = on; }

    /// Reads once from the descriptor, blocking if it blocks. Returns the number of bytes; 0 at the end of
    /// the input; -1 with errno set on failure (ENOBUFS: buffered records must be taken first).
    int read();

    /// The last read met the end of the input or a failure. A caller that reads in a loop should then pause.
    bool atEnd() const { return ended; }

    /// The next message, new and owned by the caller; null if no complete record is buffered.
    ///
    /// The first call after a `read` throws a QVException, once, if bytes were skipped since the last report;
    /// they are already dropped, and no sound record is lost. Other calls never throw it.
    MessageBase* getNextMessage();

    /// For an owner that stops reading: what was skipped and not yet reported, including the beginning of a
    /// record. Empty if there is nothing to report.
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
    bool endMet = false;   ///< the input has ended, and nothing has come since
    bool endNew = false;   ///< the same, and the rest of the input has not been examined since
    passedOver_t passedOver;
};
