#pragma once

#include "libqvtrace/messagebase.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

/// Reads trace records from a descriptor that it does not own. Records may come cut anywhere, many at once,
/// with garbage between them: every sound record is delivered, once and in order. Memory is bounded by
/// `capacity`. Used by one thread, unless a mutex is given, which `read` and `getNextMessage` then take.
class TraceMessageBuffer {
public:
    /// Counts of bytes since construction. `read` is `delivered` + `dropped` + what is still buffered.
    struct counts_t {
        std::uint64_t read;
        std::uint64_t delivered;
        std::uint64_t dropped;
    };

    explicit TraceMessageBuffer(std::mutex* _mutex);
    TraceMessageBuffer(const TraceMessageBuffer&) = delete;
    TraceMessageBuffer& operator=(const TraceMessageBuffer&) = delete;

    void setFD(int _fd) { fd = _fd; }

    /// Debug lines about what is read and passed over.
    void setDebug(bool on) { debug = on; }

    /// Reads once what the descriptor has, blocking as it blocks. Returns the number of bytes; 0 at the end
    /// of the input; -1 with errno set on failure (ENOBUFS: records wait to be taken first). At an end or
    /// failure that was reported before, it naps `napMicros` first, so that a caller who just tries again
    /// does not take a processor; not so with `patient` false, for a caller who sees to that himself
    /// (`atEnd`).
    int read(bool patient = true);

    /// The last read met the end of the input or a failure.
    bool atEnd() const { return ended; }

    static constexpr unsigned long napMicros = 10000;

    /// The next message, new and owned by the caller; null when no whole record is buffered.
    ///
    /// The first call after a `read` throws a QVException, once, when bytes had to be passed over since the
    /// last report; they are dropped already, and no sound record is lost. Other calls never throw it.
    MessageBase* getNextMessage();

    /// For an owner who will not read on: what was passed over and not yet reported, the beginning of a
    /// record included. Empty when there is nothing to tell.
    std::string takeReport();

    const counts_t& counts() const { return total; }

    static constexpr std::size_t capacity = 4096;

private:
    /// What was passed over and not yet reported.
    struct passedOver_t {
        std::size_t bytes = 0;   ///< that belong to no sound record
        std::size_t unknown = 0; ///< records of an unregistered kind
        std::size_t invalid = 0; ///< records whose body is none of their kind
        std::size_t cutOff = 0;  ///< bytes of a record that the input ended in; they stay buffered

        bool any() const { return bytes + unknown + invalid + cutOff > 0; }
        std::string text() const;
    };

    std::size_t buffered() const { return end - begin; }
    void drop(std::size_t n);
    void reportPassedOver(bool mayThrow);

    std::mutex* mutex;
    int fd = -1;
    bool debug = false;
    byteVec_t bytes; ///< `capacity` long from the first read on
    std::size_t begin = 0;
    std::size_t end = 0;
    int lastRead = 0;
    bool justRead = false; ///< the next getNextMessage() may throw
    bool endMet = false;   ///< the input has ended, and what is left of it is not yet looked at
    bool ended = false;    ///< the last read met the end or an error
    passedOver_t passedOver;
    counts_t total = {};
};
