#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Waits for readable descriptors or a moment, in one system call for any number of descriptors.
class WaitSet {
public:
    typedef std::vector<std::uint32_t> tags_t;

    /// A moment that never comes.
    static constexpr std::int64_t NEVER = INT64_MAX;

    /// Throws QVException.
    WaitSet();
    ~WaitSet();
    WaitSet(const WaitSet&) = delete;
    WaitSet& operator=(const WaitSet&) = delete;

    /// Adds `fd`, until it is closed or removed; -1 adds none. `tag` identifies it and is unique. Throws
    /// QVException, also for a regular file, which cannot be waited for.
    void add(int fd, std::uint32_t tag);
    /// The same for what may be a regular file: that is always readable.
    void addInput(int fd, std::uint32_t tag);
    void remove(int fd, std::uint32_t tag);

    /// Returns the tags of the readable ones in ascending order; of many, some at a time, each in its turn.
    /// Returns none at `moment`, in ns of the monotonic clock, and possibly earlier.
    const tags_t& wait(std::int64_t moment);

    /// Returns the tags of those that are readable now, as `wait` does.
    const tags_t& readable() { return look(0); }

private:
    const tags_t& look(int timeout);
    bool watch(int fd, std::uint32_t tag);
    void arm(std::int64_t moment);

    int epoll;
    int timer;
    std::int64_t armed = NEVER;       ///< the moment for which `timer` is set
    std::vector<std::uint32_t> files; ///< tags of what is always readable
    tags_t ready;
};
