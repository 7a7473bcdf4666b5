#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Distribution of times in bounded memory: 32 steps per octave, so that a bucket is at most 3 % wide, from
/// 128 ns to 18 minutes. Shorter and longer times fall into the first and last bucket; the extremes and the
/// mean are exact.
class Histogram {
public:
    /// `ns` below 0 counts as 0.
    void add(std::int64_t ns) {
        const std::int64_t value = ns < 0 ? 0 : ns;
        ++total;
        times += static_cast<std::uint64_t>(value);
        if (value < shortest) {
            shortest = value;
        }
        if (value > longest) {
            longest = value;
        }
        ++counts[indexOf(static_cast<std::uint64_t>(value))];
    }

    std::uint64_t count() const { return total; }
    std::int64_t min() const { return total == 0 ? 0 : shortest; }
    std::int64_t max() const { return total == 0 ? 0 : longest; }
    std::uint64_t sum() const { return times; }
    double mean() const { return total == 0 ? 0 : static_cast<double>(times) / static_cast<double>(total); }

    /// The smallest bucket end that is not exceeded by so many ten thousandths of all times (9900 for 99 %);
    /// never above `max`.
    std::int64_t percentile(unsigned tenThousandths) const;

    static constexpr std::size_t octaves = 33;
    static constexpr std::size_t stepsPerOctave = 32;
    static constexpr std::size_t buckets = octaves * stepsPerOctave;

    std::uint64_t bucket(std::size_t index) const { return counts[index]; }
    /// The longest time in a bucket.
    static std::int64_t bucketEnd(std::size_t index);

    void clear() { *this = Histogram(); }
    void add(const Histogram& other);

private:
    static constexpr unsigned firstOctave = 7; // 128 ns
    static constexpr unsigned stepBits = 5;
    static_assert(stepsPerOctave == 1U << stepBits, "a step is a value of that many bits");

    static std::size_t indexOf(std::uint64_t ns) {
        if (ns < 1U << firstOctave) {
            return 0;
        }
        const unsigned octave = 63U ^ static_cast<unsigned>(__builtin_clzll(ns)); // one instruction
        if (octave >= firstOctave + octaves) {
            return buckets - 1;
        }
        const std::size_t step = static_cast<std::size_t>(ns >> (octave - stepBits)) - stepsPerOctave;
        return (octave - firstOctave) * stepsPerOctave + step;
    }

    std::uint64_t total = 0;
    std::int64_t shortest = INT64_MAX;
    std::int64_t longest = 0;
    std::uint64_t times = 0;
    std::array<std::uint64_t, buckets> counts = {};
};
