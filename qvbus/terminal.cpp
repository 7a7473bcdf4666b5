#include "qvbus/terminal.h"

#include "libqvutil/exception.h"
#include "libqvutil/utility.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <poll.h>
#include <termios.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

short stateOf(int fd) {
    pollfd state{fd, POLLIN, 0};
    poll(&state, 1, 0);
    return state.revents;
}

bool isRaw(const termios& settings) {
    termios raw = settings;
    cfmakeraw(&raw);
    return settings.c_iflag == raw.c_iflag && settings.c_oflag == raw.c_oflag &&
           settings.c_lflag == raw.c_lflag && settings.c_cflag == raw.c_cflag;
}

} // namespace

Terminal::Terminal(const std::string& purpose)
    : master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    std::array<char, 64> path{};
    if (!master.isOpen() || grantpt(master.get()) != 0 || unlockpt(master.get()) != 0 ||
        ptsname_r(master.get(), path.data(), path.size()) != 0) {
        throw QVException("pseudo-terminal for " + purpose + ": " + errorText(errno));
    }
    name = path.data();
    // Linux: a master hangs up while nobody has the terminal open, but only once it has been opened.
    if (!openOtherSide().isOpen()) {
        throw QVException(name + ": " + errorText(errno));
    }
    makeRaw();
}

Descriptor Terminal::openOtherSide() const {
    return Descriptor(open(name.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
}

bool Terminal::isInUse() const {
    const short state = stateOf(master.get());
    return (state & POLLHUP) == 0 || (state & POLLIN) != 0;
}

bool Terminal::hasInput() const {
    return (stateOf(master.get()) & POLLIN) != 0;
}

// Linux: settings read and made at the master are those of the terminal.
void Terminal::makeRaw() {
    termios settings{};
    if (tcgetattr(master.get(), &settings) == 0 && !isRaw(settings)) {
        cfmakeraw(&settings);
        tcsetattr(master.get(), TCSANOW, &settings);
    }
}

std::size_t Terminal::unread() const {
    const Descriptor other = openOtherSide();
    int n = 0;
    // Linux: bytes just written are in transit until somebody polls. FIONREAD alone may miss them.
    const bool some = (stateOf(other.get()) & POLLIN) != 0;
    return some && ioctl(other.get(), FIONREAD, &n) == 0 ? static_cast<std::size_t>(n) : 0;
}

std::vector<std::uint8_t> Terminal::takeBack() {
    const Descriptor other = openOtherSide();
    std::vector<std::uint8_t> bytes;
    std::array<std::uint8_t, 4096> piece;
    ssize_t n;
    while ((n = read(other.get(), piece.data(), piece.size())) > 0) {
        bytes.insert(bytes.end(), piece.data(), piece.data() + n);
    }
    return bytes;
}

void Terminal::reset() {
    tcflush(master.get(), TCOFLUSH); // what is still in transit to the terminal
    termios settings{};
    if (tcgetattr(master.get(), &settings) == 0) {
        cfmakeraw(&settings);
        tcsetattr(master.get(), TCSAFLUSH, &settings); // and what has arrived there
    }
}
