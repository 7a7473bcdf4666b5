#include "libqvcheck/injection.h"

#include <algorithm>

namespace {

constexpr std::uint8_t recognisedFrom = 3; // evenly spaced hits with a walking byte

std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

bool isOneInvertedByte(const evidence_t& e, std::uint8_t walk) {
    return e.damage == DT_INVERTED && e.differing == 1 && e.bytes[0].index < walk;
}

} // namespace

Injection::Injection(std::uint32_t demanded, std::uint8_t length)
    : period(demanded),
      walk(walkedBytes(length)),
      isTold(demanded > 0) {}

void Injection::startAt(std::uint32_t start, std::uint32_t next) {
    if (!isTold || anchored) {
        return;
    }
    anchored = true;
    anchor = start + period - 1;
    anchorByte = 0;
    leap(next - 1);
}

void Injection::leap(std::uint32_t counter) {
    if (!known()) {
        return;
    }
    const std::int64_t distance = ahead(counter, anchor);
    if (distance < 0) {
        return;
    }
    const std::int64_t beats = distance / period + 1;
    anchor += static_cast<std::uint32_t>(beats * period);
    anchorByte = static_cast<std::uint8_t>((anchorByte + beats) % walk);
}

std::uint32_t Injection::offBeat(std::uint32_t counter) const {
    const std::int64_t distance = ahead(counter, anchor);
    return static_cast<std::uint32_t>(distance - floorDiv(distance, period) * period);
}

std::uint8_t Injection::byteAt(std::uint32_t counter) const {
    const std::int64_t beats = floorDiv(ahead(counter, anchor), period);
    const std::int64_t byte = (anchorByte + beats) % walk;
    return static_cast<std::uint8_t>(byte < 0 ? byte + walk : byte);
}

std::uint64_t Injection::hitsIn(std::uint32_t low, std::uint32_t n) const {
    const std::int64_t first = ahead(low, anchor);
    const std::int64_t beats = floorDiv(first + n - 1, period) - floorDiv(first - 1, period);
    return static_cast<std::uint64_t>(beats);
}

bool Injection::fits(const hit_t& hit) const {
    return offBeat(hit.counter) == 0 && byteAt(hit.counter) == hit.byte;
}

std::uint64_t Injection::lost(std::uint32_t low, std::uint32_t n) {
    const std::uint64_t hit = known() && n > 0 ? hitsIn(low, n) : 0;
    counts.lost += hit;
    return hit;
}

bool Injection::damaged(std::uint32_t counter, const evidence_t& evidence) {
    const bool single = isOneInvertedByte(evidence, walk);
    const hit_t hit = {counter, evidence.bytes[0].index};
    if (single && period > 0 && !anchored) {
        learn(hit);
    }
    if (single && !isTold && period == 0) {
        recognise(hit);
        return false;
    }
    if (period == 0 || !anchored || offBeat(counter) != 0) {
        return false;
    }
    const bool asTold = single && fits(hit);
    counts.found += asTold ? 1U : 0U;
    counts.damagedOtherwise += asTold ? 0U : 1U;
    return asTold && isTold;
}

void Injection::learn(const hit_t& hit) {
    anchored = true;
    anchor = hit.counter;
    anchorByte = hit.byte;
}

// Three hits in a row give the period; then the earlier ones count, too.
void Injection::recognise(const hit_t& hit) {
    if (seen == early.size()) {
        std::move(early.begin() + 1, early.end(), early.begin());
        --seen;
    }
    early[seen++] = hit;
    if (seen < recognisedFrom) {
        return;
    }
    const hit_t* last = &early[seen - recognisedFrom];
    const std::uint32_t spacing = last[1].counter - last[0].counter;
    const bool even =
        ahead(last[1].counter, last[0].counter) > 0 && last[2].counter - last[1].counter == spacing;
    if (!even || last[1].byte != (last[0].byte + 1) % walk || last[2].byte != (last[1].byte + 1) % walk) {
        return;
    }
    period = spacing;
    learn(hit);
    for (std::uint8_t i = 0; i < seen; ++i) {
        counts.found += fits(early[i]) ? 1U : 0U;
    }
}

injectionSummary_t Injection::summary() const {
    injectionSummary_t summary = counts;
    summary.period = period;
    summary.told = isTold;
    return summary;
}

void Injection::continueFrom(const Injection& earlier, bool goesOn) {
    counts.found += earlier.counts.found;
    counts.missing += earlier.counts.missing;
    counts.lost += earlier.counts.lost;
    counts.damagedOtherwise += earlier.counts.damagedOtherwise;
    if (!anchored && period == earlier.period && goesOn) {
        anchored = earlier.anchored;
        anchor = earlier.anchor;
        anchorByte = earlier.anchorByte;
    }
    if (period == 0) { // recognised before: the same sender has the same period
        period = earlier.period;
        anchored = earlier.anchored && goesOn;
        anchor = earlier.anchor;
        anchorByte = earlier.anchorByte;
    }
}

void Injection::adopt(Injection& from, std::uint32_t counter, bool isDamaged) {
    if (!from.anchored || from.offBeat(counter) != 0) {
        return;
    }
    auto count = &injectionSummary_t::missing;
    if (isDamaged) {
        count = from.counts.found > 0 ? &injectionSummary_t::found : &injectionSummary_t::damagedOtherwise;
    }
    if (from.counts.*count > 0) {
        --(from.counts.*count);
        ++(counts.*count);
    }
}

void Injection::follow(const Injection& other) {
    if (!anchored && other.anchored) {
        period = other.period;
        anchored = true;
        anchor = other.anchor;
        anchorByte = other.anchorByte;
    }
}
