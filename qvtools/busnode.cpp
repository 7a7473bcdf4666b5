#include "qvtools/busnode.h"

#include "libqvutil/exception.h"
#include "libqvutil/line.h"
#include "libqvutil/utility.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <termios.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const std::string& what) {
    const int savedErrno = errno;
    throw QVException(what + ": " + errorText(savedErrno));
}

/// Empties the queues of the terminal and makes it pass bytes as they are. It is open for that moment only:
/// afterwards the master hangs up until a node comes.
void resetTerminal(const std::string& terminal) {
    const int fd = open(terminal.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd == -1) {
        fail(terminal);
    }
    termios settings{};
    const bool done =
        tcgetattr(fd, &settings) == 0 && (cfmakeraw(&settings), tcsetattr(fd, TCSAFLUSH, &settings) == 0);
    const int savedErrno = errno;
    close(fd);
    if (!done) {
        errno = savedErrno;
        fail(terminal);
    }
}

bool isDangling(const std::string& link) {
    struct stat status {};
    return lstat(link.c_str(), &status) == 0 && S_ISLNK(status.st_mode) &&
           stat(link.c_str(), &status) == -1 && errno == ENOENT;
}

} // namespace

BusNode::BusNode(const std::string& name) : link(name) {
    open();
    try {
        resetTerminal(terminal);
        leave();
        makeLink();
    } catch (...) {
        close(master);
        throw;
    }
}

void BusNode::removeStaleName(const std::string& name) {
    if (isDangling(name)) {
        unlink(name.c_str());
    }
}

BusNode::~BusNode() {
    reportRest();
    std::array<char, 64> target{};
    const ssize_t n = readlink(link.c_str(), target.data(), target.size());
    // Somebody may have put another file in its place.
    if (n > 0 && terminal == std::string(target.data(), static_cast<std::size_t>(n))) {
        unlink(link.c_str());
    }
    close(master);
}

void BusNode::open() {
    master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    std::array<char, 64> path{};
    if (master == -1 || grantpt(master) != 0 || unlockpt(master) != 0 ||
        ptsname_r(master, path.data(), path.size()) != 0) {
        const int savedErrno = errno;
        if (master != -1) {
            close(master);
        }
        errno = savedErrno;
        fail("pseudo-terminal for " + link);
    }
    terminal = path.data();
}

void BusNode::makeLink() {
    if (symlink(terminal.c_str(), link.c_str()) != 0) {
        fail(link);
    }
}

/// The node has gone, or the bus ends: nobody will ask the buffer again.
void BusNode::reportRest() {
    const std::string text = buffer->takeReport();
    if (!text.empty()) {
        (Line() << link << ": " << text).writeLine(std::cerr);
    }
}

void BusNode::leave() {
    present = false;
    rest.clear();
    buffer = std::make_unique<TraceMessageBuffer>(nullptr);
    buffer->setFD(master);
}

short BusNode::look() const {
    pollfd state{master, POLLIN, 0};
    poll(&state, 1, 0);
    return state.revents;
}

bool BusNode::isPresent() {
    // Linux: a master hangs up while nobody has the terminal open; what was written before can still be read.
    const short state = look();
    const bool inUse = (state & POLLHUP) == 0 || (state & POLLIN) != 0;
    if (present && !inUse) {
        reportRest();
        leave();
        tcflush(master, TCOFLUSH); // what is still under way to the terminal; the rest is emptied there
        resetTerminal(terminal);
    }
    present = inUse;
    return present;
}

bool BusNode::receive() {
    return buffer->read() > 0;
}

void BusNode::deliver(const byteVec_t& record) {
    if (!isPresent()) {
        return;
    }
    if (hasRest()) {
        deliverRest();
    }
    const ssize_t n = hasRest() ? -1 : write(master, record.data(), record.size());
    if (n <= 0) {
        ++missed;
        return;
    }
    rest.assign(record.begin() + n, record.end());
    ++received;
}

void BusNode::deliverRest() {
    const ssize_t n = write(master, rest.data(), rest.size());
    if (n > 0) {
        rest.erase(rest.begin(), rest.begin() + n);
    }
}
