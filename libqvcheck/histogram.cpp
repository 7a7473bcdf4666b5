#include "libqvcheck/histogram.h"

#include <algorithm>

std::int64_t Histogram::bucketEnd(std::size_t index) {
    const auto octave = static_cast<unsigned>(index / stepsPerOctave) + firstOctave;
    const std::uint64_t step = index % stepsPerOctave + stepsPerOctave + 1;
    return static_cast<std::int64_t>((step << (octave - stepBits)) - 1);
}

void Histogram::add(const Histogram& other) {
    total += other.total;
    times += other.times;
    shortest = std::min(shortest, other.shortest);
    longest = std::max(longest, other.longest);
    for (std::size_t i = 0; i < buckets; ++i) {
        counts[i] += other.counts[i];
    }
}

std::int64_t Histogram::percentile(unsigned tenThousandths) const {
    const std::uint64_t wanted = (total * tenThousandths + 9999) / 10000;
    std::uint64_t below = 0;
    for (std::size_t i = 0; i < buckets; ++i) {
        below += counts[i];
        if (below >= wanted && below > 0) {
            return i + 1 == buckets ? longest : std::min(bucketEnd(i), longest);
        }
    }
    return 0;
}
