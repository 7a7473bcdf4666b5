#pragma once

#include <iosfwd>

#include <sys/select.h>

/// A set of descriptors for `qvselect`. A descriptor below 0, or FD_SETSIZE or above, has no bit in an
/// fd_set: operations on one throw a QVException (unless they say otherwise), where the system's macros would
/// abort or write past the set.
class FdSet : public fd_set {
public:
    FdSet() : n(0) { clearBits(); }
    explicit FdSet(int fd) : n(0) {
        clearBits();
        set(fd);
    }

    void zero();
    void clear(int fd);

    /// Sets the bit and raises `n` to `fd` + 1 if it was lower.
    void set(int fd) {
        checkRange(fd);
        wordOf(fd) |= bitOf(fd);
        if (n <= fd) {
            n = fd + 1;
        }
    }

    bool isSet(int fd) const {
        checkRange(fd);
        return (wordOf(fd) & bitOf(fd)) != 0;
    }

    /// True if `fd` is below `n` and set; also false for a descriptor that no set can hold.
    bool isActiveAndSet(int fd) const { return fd >= 0 && fd < n && isSet(fd); }

    bool operator[](int fd) const { return isSet(fd); }
    FdSet& operator+=(int fd);
    FdSet& operator+=(const FdSet& other);
    FdSet& operator-=(int fd);
    FdSet& operator-=(const FdSet& other);

    fd_set* addr() { return this; }
    int num() const { return n; }
    void num(int _n) { n = _n; }

    /// The number of descriptors to watch: the highest set plus one, 0 for an empty set. A wait leaves it
    /// unchanged.
    int n;

private:
    // The bits as laid out by sys/select.h. The macros of a C library built with checks would check the range
    // again, with a call for each bit.
    static constexpr unsigned int bitsPerWord = 8 * sizeof(fd_mask);
    static unsigned int index(int fd) { return static_cast<unsigned int>(fd); }
    static fd_mask bitOf(int fd) { return static_cast<fd_mask>(1UL << (index(fd) % bitsPerWord)); }
    fd_mask& wordOf(int fd) { return fds_bits[index(fd) / bitsPerWord]; }
    const fd_mask& wordOf(int fd) const { return fds_bits[index(fd) / bitsPerWord]; }

    void clearBits() { FD_ZERO(static_cast<fd_set*>(this)); }
    static void checkRange(int fd) {
        if (fd < 0 || fd >= FD_SETSIZE) {
            refuse(fd);
        }
    }
    [[noreturn]] static void refuse(int fd);
    void lowerCount();
};

/// Writes the descriptors in the set in ascending order, separated by blanks.
std::ostream& operator<<(std::ostream& out, const fd_set& set);
