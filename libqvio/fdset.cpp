#include "libqvio/fdset.h"

#include "libqvutil/exception.h"

#include <algorithm>
#include <ostream>
#include <string>

void FdSet::zero() {
    clearBits();
    n = 0;
}

void FdSet::clear(int fd) {
    checkRange(fd);
    FD_CLR(fd, this);
    lowerCount();
}

FdSet& FdSet::operator+=(int fd) {
    set(fd);
    return *this;
}

FdSet& FdSet::operator+=(const FdSet& other) {
    for (int fd = 0; fd < FD_SETSIZE; ++fd) {
        if (FD_ISSET(fd, &other)) {
            set(fd);
        }
    }
    return *this;
}

FdSet& FdSet::operator-=(int fd) {
    clear(fd);
    return *this;
}

FdSet& FdSet::operator-=(const FdSet& other) {
    for (int fd = 0; fd < FD_SETSIZE; ++fd) {
        if (FD_ISSET(fd, &other)) {
            FD_CLR(fd, this);
        }
    }
    lowerCount();
    return *this;
}

void FdSet::refuse(int fd) {
    throw QVException("file descriptor " + std::to_string(fd) +
                      " is outside of what select can wait for (0 to " + std::to_string(FD_SETSIZE - 1) +
                      ")");
}

void FdSet::lowerCount() {
    n = std::min(n, static_cast<int>(FD_SETSIZE));
    while (n > 0 && !FD_ISSET(n - 1, this)) {
        --n;
    }
}

std::ostream& operator<<(std::ostream& out, const fd_set& set) {
    const char* separator = "";
    for (int fd = 0; fd < FD_SETSIZE; ++fd) {
        if (FD_ISSET(fd, &set)) {
            out << separator << fd;
            separator = " ";
        }
    }
    return out;
}
