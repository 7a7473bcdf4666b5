#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Descriptors to be readable, and a moment: what a program waits for. However many there are, a wait is one
/// system call.
class WaitSet {
public:
    typedef std::vector<std::uint32_t> tags_t;

    /// The moment that never comes.
    static constexpr std::int64_t NEVER = INT64_MAX;

    /// Throws QVException.
    WaitSet();
    ~WaitSet();
    WaitSet(const WaitSet&) = delete;
    WaitSet& operator=(const WaitSet&) = delete;

    /// Waits for `fd`, too, until it is closed or removed; -1 stands for none. A regular file is readable at
    /// any time. `tag` stands for it, for one only.
    void add(int fd, std::uint32_t tag);
    void remove(int fd, std::uint32_t tag);

    /// Returns when something is readable, with the tags in ascending order; of many, some at a time, and
    /// each in its turn. Returns without any at `moment`, in ns of the monotonic clock, and perhaps before.
    const tags_t& wait(std::int64_t moment);

private:
    void arm(std::int64_t moment);

    int epoll;
    int timer;
    std::int64_t armed = NEVER;       ///< the moment that `timer` waits for
    std::vector<std::uint32_t> files; ///< tags of what is readable at any time
    tags_t ready;
};
