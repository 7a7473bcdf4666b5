#include "qvbus/busnames.h"

#include "libqvutil/exception.h"
#include "libqvutil/utility.h"

#include <array>
#include <cerrno>
#include <fstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The first line of a lock file. A file without it is not ours.
const std::string title = "nodes of qvbus, which holds a lock on this file while it runs\n";

[[noreturn]] void fail(const std::string& what, int errnum) {
    throw QVException(what + ": " + errorText(errnum));
}

/// The target of a symbolic link; empty if `name` is not one.
std::string targetOf(const std::string& name) {
    std::array<char, 256> target{};
    const ssize_t n = readlink(name.c_str(), target.data(), target.size());
    return n > 0 ? std::string(target.data(), static_cast<std::size_t>(n)) : std::string();
}

void removeLink(const std::string& name, const std::string& target) {
    if (targetOf(name) == target) {
        unlink(name.c_str());
    }
}

bool isDead(const std::string& terminal) {
    return terminal.rfind("/dev/pts/", 0) == 0 && access(terminal.c_str(), F_OK) == -1 && errno == ENOENT;
}

void append(int fd, const std::string& text, const std::string& name) {
    if (write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        fail(name, errno);
    }
}

} // namespace

BusNames::BusNames(const std::string& _prefix, unsigned int count)
    : prefix(_prefix),
      lockName(_prefix + ".lock") {
    do {
        openLock();
    } while (!isInPlace()); // the bus that held it has just removed it
    removeOld(count);
    append(lock.get(), title, lockName);
}

BusNames::~BusNames() {
    for (const auto& [name, terminal] : made) {
        removeLink(name, terminal);
    }
    if (isInPlace()) {
        unlink(lockName.c_str());
    }
}

void BusNames::openLock() {
    lock = Descriptor(
        open(lockName.c_str(), O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0666));
    if (!lock.isOpen()) {
        fail(lockName, errno);
    }
    struct stat opened {};
    if (fstat(lock.get(), &opened) != 0 || !S_ISREG(opened.st_mode)) {
        fail(lockName, EEXIST);
    }
    if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        fail(errno == EWOULDBLOCK ? (*this)[0] : lockName, errno == EWOULDBLOCK ? EEXIST : errno);
    }
}

bool BusNames::isInPlace() const {
    struct stat opened {};
    struct stat named {};
    fstat(lock.get(), &opened);
    return lstat(lockName.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

void BusNames::removeOld(unsigned int count) {
    std::ifstream list(lockName);
    std::string line;
    if (std::getline(list, line) && line + '\n' != title) {
        fail(lockName, EEXIST);
    }
    for (std::string terminal; std::getline(list, terminal, ' ') && std::getline(list, line);) {
        removeLink(prefix + line, terminal);
    }
    for (unsigned int i = 0; i < count; ++i) {
        const std::string terminal = targetOf((*this)[i]);
        if (isDead(terminal)) {
            removeLink((*this)[i], terminal);
        }
    }
    if (ftruncate(lock.get(), 0) != 0) {
        fail(lockName, errno);
    }
}

void BusNames::link(unsigned int i, const std::string& terminal) {
    const std::string name = (*this)[i];
    append(lock.get(), terminal + ' ' + std::to_string(i) + '\n', lockName);
    if (symlink(terminal.c_str(), name.c_str()) != 0) {
        fail(name, errno);
    }
    made[name] = terminal;
}
