#pragma once

#include <atomic>
#include <cstdint>

/// When to read an input again that has ended or fails. Such a descriptor stays readable: a loop that simply
/// retried would occupy a processor and, if the read fails, print a line each time.
///
/// The first retry after a failure is immediate: a CAN socket reports once that its link went down and then
/// blocks. Further ones are SPACING apart over all objects of the process, each of which stands for a device
/// of the run. Times are those of getMicroSecondsOfDay(). Used by one thread.
class Retry {
public:
    static constexpr std::uint64_t SPACING = 80000; ///< µs; a retry with -vvv -f prints up to 14 lines

    Retry() { ++instances; }
    ~Retry() { --instances; }
    Retry(const Retry&) = delete;
    Retry& operator=(const Retry&) = delete;

    /// A read returned the end of the input or an error.
    void failed();

    /// How long the next read must still wait, in µs; 0: not at all.
    std::uint64_t remaining() const;

    /// Sleeps for the remaining time.
    void wait();

private:
    static std::atomic<unsigned int> instances;

    std::uint64_t last = 0; ///< the last failure
    std::uint64_t at = 0;   ///< no earlier retry; 0: any time
};
