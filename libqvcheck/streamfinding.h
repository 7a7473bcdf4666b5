#pragma once

#include "libqvcheck/stream.h"

/// A finding about `n` frames of a stream at `counter`. The caller fills in what else its kind has.
template<typename Limits>
finding_t streamFinding(const Stream<Limits>& s, findingKind_t kind, std::int64_t time, std::uint32_t counter,
                        std::uint64_t n) {
    finding_t f{};
    f.kind = kind;
    f.interface = s.key.interface;
    f.stream = s.number;
    f.time = time;
    f.first = counter;
    f.last = counter;
    f.count = n;
    return f;
}
