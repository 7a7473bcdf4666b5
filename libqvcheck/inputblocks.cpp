#include "libqvcheck/inputblocks.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

void InputBlocks::fill() {
    std::copy(begin(), end() + 1, bytes.data());
    last -= first;
    first = 0;
    if (over || last == capacity) {
        return;
    }
    ssize_t n;
    do {
        n = ::read(fd, bytes.data() + last, capacity - last);
    } while (n == -1 && errno == EINTR);
    if (n > 0) {
        last += static_cast<std::size_t>(n);
        bytes[last] = '\n';
    } else if (n == 0 || errno != EAGAIN) {
        errnum = n == 0 ? 0 : errno;
        over = true;
    }
}

bool InputBlocks::passOverLongLine() {
    const auto* const lineEnd = static_cast<const char*>(std::memchr(begin(), '\n', size()));
    drop(lineEnd == nullptr ? size() : static_cast<std::size_t>(lineEnd - begin()) + 1);
    passingOver = lineEnd == nullptr;
    return !passingOver;
}

bool InputBlocks::takeLine(inputLine_t& line) {
    if (passingOver && !passOverLongLine()) {
        return false;
    }
    const auto* const lineEnd =
        static_cast<const char*>(std::memchr(begin() + searched, '\n', size() - searched));
    line = {begin(), lineEnd == nullptr ? end() : lineEnd, lineEnd != nullptr};
    if (!line.whole && !full() && (!over || size() == 0)) {
        searched = size();
        return false;
    }
    passingOver = !line.whole && full();
    drop(static_cast<std::size_t>(line.end - line.begin) + (line.whole ? 1 : 0));
    searched = 0;
    ++lines;
    return true;
}
