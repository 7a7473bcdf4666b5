#include "libqvcheck/causes.h"

#include <algorithm>

void Causes::History::add(const evidence_t& evidence) {
    if (ring.size() < MOST) {
        ring.push_back(evidence);
        return;
    }
    ring[oldest] = evidence;
    oldest = (oldest + 1) % MOST;
}

void Causes::dropped(std::uint8_t interface, std::uint64_t arrival, std::int64_t, std::uint32_t n) {
    const auto place = static_cast<std::int64_t>(arrival);
    byPlace.add({drops, oneQueue ? EVERY_INTERFACE : interface, n, place, place});
    droppedFrames += n;
}

void Causes::placed(lossCause_t cause, std::uint8_t interface, std::uint64_t arrival) {
    const auto place = static_cast<std::int64_t>(arrival);
    byPlace.add({cause, interface, ANY_NUMBER, place, place});
}

void Causes::timed(lossCause_t cause, std::uint8_t interface, std::int64_t from, std::int64_t to,
                   std::uint64_t n) {
    byTime.add({cause, interface, n, from, to});
}

lossShares_t Causes::blame(const loss_t& loss) {
    lossShares_t shares{};
    std::uint64_t left = loss.frames;
    for (std::size_t i = 0; i < LC_BEFORE && left > 0; ++i) {
        const auto cause = static_cast<lossCause_t>(i);
        shares[i] = takePlaced(cause, loss, left);
        shares[i] += takeTimed(cause, loss, left - shares[i]);
        left -= shares[i];
    }
    shares[LC_BEFORE] = left;
    return shares;
}

std::uint64_t Causes::takePlaced(lossCause_t cause, const loss_t& loss, std::uint64_t wanted) {
    std::uint64_t taken = 0;
    for (std::size_t i = firstBehind(loss.arrivalBefore); i < byPlace.size(); ++i) {
        evidence_t& evidence = byPlace[i];
        if (evidence.from > static_cast<std::int64_t>(loss.arrivalAfter)) {
            break;
        }
        taken += matches(evidence, cause, loss) ? take(evidence, wanted - taken) : 0;
    }
    claimed += cause == drops ? taken : 0;
    return taken;
}

/// Times of different interfaces need not be ordered.
std::uint64_t Causes::takeTimed(lossCause_t cause, const loss_t& loss, std::uint64_t wanted) {
    std::uint64_t taken = 0;
    for (std::size_t i = 0; i < byTime.size(); ++i) {
        evidence_t& evidence = byTime[i];
        const bool inGap = evidence.to > loss.before && evidence.from <= loss.after;
        taken += inGap && matches(evidence, cause, loss) ? take(evidence, wanted - taken) : 0;
    }
    return taken;
}

std::size_t Causes::firstBehind(std::uint64_t arrival) {
    std::size_t from = 0;
    for (std::size_t n = byPlace.size(); n > 0;) {
        const std::size_t half = n / 2;
        const bool behind = byPlace[from + half].from > static_cast<std::int64_t>(arrival);
        from += behind ? 0 : half + 1;
        n = behind ? half : n - half - 1;
    }
    return from;
}

bool Causes::matches(const evidence_t& evidence, lossCause_t cause, const loss_t& loss) {
    return evidence.cause == cause &&
           (evidence.interface == loss.interface || evidence.interface == EVERY_INTERFACE);
}

std::uint64_t Causes::take(evidence_t& evidence, std::uint64_t wanted) {
    const std::uint64_t n = std::min(evidence.left, wanted);
    evidence.left -= n;
    return n;
}
