#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

/// Records queued for a node, in order, at most CAPACITY bytes.
class RecordQueue {
public:
    static constexpr std::size_t CAPACITY = 1U << 20U;

    bool hasRoomFor(std::size_t n) const { return size() + n <= CAPACITY; }

    /// Appends a record of `n` bytes, for which there is room.
    void push(const std::uint8_t* record, std::size_t n);

    /// The next bytes to write: size() bytes. Valid until the next call of push() or pop().
    const std::uint8_t* data() const { return bytes.data() + first; }
    std::size_t size() const { return bytes.size() - first; }
    bool empty() const { return lengths.empty(); }

    /// The first `n` bytes were written. Returns how many records that completes.
    std::size_t pop(std::size_t n);

    /// Empties it. Returns how many records were not written completely.
    std::size_t clear();

private:
    std::vector<std::uint8_t> bytes;
    std::size_t first = 0;
    std::deque<std::size_t> lengths; ///< of each record, counting what is still in `bytes`
};
