#pragma once

#include "libqvtrace/record.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Finds the sound records in a stream of bytes that arrives in pieces: cut anywhere, many at once, with
/// garbage between them. Works in memory only, using `CAPACITY` bytes for any stream.
///
/// Used in turns: put bytes into room() and say so with added(), then take the records until next() finds no
/// more.
class RecordScanner {
public:
    static constexpr std::size_t CAPACITY = 4096;

    /// Byte counts since construction. `added` is `taken` + `dropped` + what is still buffered.
    struct counts_t {
        std::uint64_t added;
        std::uint64_t taken;
        std::uint64_t dropped;
    };

    /// Where the next bytes of the stream go. Moves the buffered bytes, which invalidates views of next().
    std::uint8_t* room();

    /// The size of room(); 0 once CAPACITY bytes are buffered.
    std::size_t roomSize() const { return CAPACITY - buffered(); }

    /// The first `n` bytes at room() have been filled.
    void added(std::size_t n);

    /// No more bytes for now: next() then also finds sound records after an incomplete one. If there are
    /// none, the incomplete record stays buffered, and bytes added later can still complete it.
    void ended() { atEnd = true; }

    /// The next sound record, which stays buffered until take() or drop(). The finding is RECORD, or
    /// INCOMPLETE if there is none; bytes before it that are in no sound record are dropped.
    record::view_t next();

    /// Removes the record found by next().
    void take(const record::view_t& view);

    /// The same for an unwanted record, which counts as dropped.
    void drop(const record::view_t& view) { skip(view.size()); }

    std::size_t buffered() const { return end - begin; }
    const counts_t& counts() const { return total; }

private:
    void skip(std::size_t n);

    std::vector<std::uint8_t> bytes; ///< CAPACITY long from the first room() on
    std::size_t begin = 0;
    std::size_t end = 0;
    bool atEnd = false;
    counts_t total = {};
};
