#include "qvbus/pendingoutput.h"

#include <cerrno>
#include <poll.h>

#include <unistd.h>

namespace {

// Linux: a pipe that polls writable takes this many bytes at once (PIPE_BUF, pipe(7)).
constexpr std::size_t pieceLimit = 4096;

} // namespace

void PendingOutput::line(const std::string& _text) {
    if (!broken) {
        text += _text + '\n';
        flush();
    }
}

bool PendingOutput::flush() {
    bool progress = false;
    while (!text.empty() && isWritable()) {
        const ssize_t n = write(fd, text.data(), pieceSize());
        if (n > 0) {
            text.erase(0, static_cast<std::size_t>(n));
            progress = true;
        } else if (n == -1 && errno == EAGAIN) { // another process has made it non-blocking
            break;
        } else if (n == 0 || errno != EINTR) {
            broken = true;
            text.clear();
        }
    }
    return progress;
}

bool PendingOutput::isWritable() const {
    pollfd state{fd, POLLOUT, 0};
    return poll(&state, 1, 0) > 0; // or an error, which the write will report
}

/// Complete lines if they fit, so that other programs' lines on the same pipe go between them.
std::size_t PendingOutput::pieceSize() const {
    if (text.size() <= pieceLimit) {
        return text.size();
    }
    const std::size_t lineEnd = text.rfind('\n', pieceLimit - 1);
    return lineEnd == std::string::npos ? pieceLimit : lineEnd + 1;
}
