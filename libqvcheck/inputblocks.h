#pragma once

#include <cstddef>
#include <vector>

/// One line of an input, without its line end. Points into the block: valid until the next call.
struct inputLine_t {
    const char* begin;
    const char* end; ///< points to a line feed even if the input has none, as a sentinel for searches
    bool whole;      ///< has a line end, unlike the rest of a cut input or a line that is too long
};

/// The bytes of a descriptor, which it does not own, read in large blocks and parsed in place. Memory is
/// bounded by `capacity` for any input.
class InputBlocks {
public:
    static constexpr std::size_t capacity = 65536;

    explicit InputBlocks(int _fd) : fd(_fd), bytes(capacity + 1, '\n') {}

    const char* begin() const { return bytes.data() + first; }
    const char* end() const { return bytes.data() + last; }
    std::size_t size() const { return last - first; }
    bool full() const { return size() == capacity; }

    void drop(std::size_t n) { first += n; }

    /// Takes the next line. False if its end has not been read yet. At the end of the input the rest is a
    /// line, and so are the first `capacity` bytes of a longer one, whose remainder is skipped.
    bool takeLine(inputLine_t& line);

    /// Lines taken so far, which is the number of the last one, counted from 1.
    unsigned long long lineNumber() const { return lines; }

    /// Reads once from the descriptor if there is room; blocks if the descriptor does.
    void fill();

    /// The input has ended or failed; only what is buffered is left.
    bool ended() const { return over; }

    /// errno of the failed read, 0 if none failed.
    int error() const { return errnum; }

private:
    bool passOverLongLine();

    int fd;
    std::vector<char> bytes; ///< a line feed follows the last one
    std::size_t first = 0;
    std::size_t last = 0;
    std::size_t searched = 0; ///< bytes after `first` known to contain no line end
    unsigned long long lines = 0;
    bool passingOver = false; ///< the previous line was longer than a block, and its end has not come
    bool over = false;
    int errnum = 0;
};
