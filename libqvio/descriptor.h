#pragma once

#include <utility>

/// Owns a file descriptor and closes it without changing errno. Movable, not copyable.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int _fd) : fd(_fd) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            fd = std::exchange(other.fd, -1);
        }
        return *this;
    }

    /// The number; -1 if there is none.
    int get() const { return fd; }
    bool isOpen() const { return fd >= 0; }

    /// Releases it without closing it. Returns the number.
    int release() { return std::exchange(fd, -1); }

    /// Closes it now.
    void reset();

private:
    int fd = -1;
};
