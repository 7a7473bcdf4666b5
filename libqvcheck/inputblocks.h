#pragma once

#include <cstddef>
#include <vector>

/// One line of an input, without its end. Points into the block: valid until the next call.
struct inputLine_t {
    const char* begin;
    const char* end; ///< there is a line feed, even where the input has none: it ends a search without a test
    bool whole; ///< ended by a line end; not so the rest of an input that was cut, and of a line too long
};

/// The bytes of a descriptor that it does not own, read in large blocks and looked at in place. Memory is
/// bounded by `capacity`, whatever the input is.
class InputBlocks {
public:
    static constexpr std::size_t capacity = 65536;

    explicit InputBlocks(int _fd) : fd(_fd), bytes(capacity + 1, '\n') {}

    const char* begin() const { return bytes.data() + first; }
    const char* end() const { return bytes.data() + last; }
    std::size_t size() const { return last - first; }
    bool full() const { return size() == capacity; }

    void drop(std::size_t n) { first += n; }

    /// Takes the next line. False when its end is not there yet. At the end of the input the rest is a line,
    /// and so are the first `capacity` bytes of one that is longer; what follows of it is passed over.
    bool takeLine(inputLine_t& line);

    /// Lines taken so far: the number of the last one, counted from 1.
    unsigned long long lineNumber() const { return lines; }

    /// Reads once what the descriptor has, as long as there is room; blocks as the descriptor blocks.
    void fill();

    /// The input has ended or failed; what is buffered is all that is left.
    bool ended() const { return over; }

    /// errno of the read that failed, 0 when none did.
    int error() const { return errnum; }

private:
    bool passOverLongLine();

    int fd;
    std::vector<char> bytes; ///< a line feed behind the last one
    std::size_t first = 0;
    std::size_t last = 0;
    std::size_t searched = 0; ///< bytes behind `first` that hold no line end
    unsigned long long lines = 0;
    bool passingOver = false; ///< the line before was longer than a block, and its end has not come
    bool over = false;
    int errnum = 0;
};
