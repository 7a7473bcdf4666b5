#pragma once

#include <atomic>
#include <cstdint>

/// When an input that has ended or fails is to be read again. Such a descriptor stays readable: a loop that
/// just tried again would take a processor and, where the read fails, print a line each time.
///
/// The first try after a failure comes at once: a CAN socket tells once that its link went down and blocks
/// from then on. Further ones come SPACING apart for all objects of the process together, each of which
/// stands for a device of the run. Times are those of getMicroSecondsOfDay(). Used by one thread.
class Retry {
public:
    static constexpr std::uint64_t SPACING = 80000; ///< µs; a try at -vvv -f is up to 14 lines

    Retry() { ++instances; }
    ~Retry() { --instances; }
    Retry(const Retry&) = delete;
    Retry& operator=(const Retry&) = delete;

    /// A read has met the end of the input or an error.
    void failed();

    /// How long the next read has yet to wait, in µs; 0: not at all.
    std::uint64_t remaining() const;

    /// Sleeps that long.
    void wait();

private:
    static std::atomic<unsigned int> instances;

    std::uint64_t last = 0; ///< the last failure
    std::uint64_t at = 0;   ///< not before; 0: any time
};
