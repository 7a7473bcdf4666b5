#include "libqvcheck/reporter.h"

std::uint64_t overrunOf(const lossShares_t& shares) {
    std::uint64_t n = 0;
    for (std::size_t cause = 0; cause < shares.size(); ++cause) {
        n += isOverrun(static_cast<lossCause_t>(cause)) ? shares[cause] : 0;
    }
    return n;
}

void Reporter::finding(const finding_t& finding) {
    findingSlot_t& slot = slots.at(finding.time);
    const auto n = static_cast<std::uint32_t>(finding.count);
    if (finding.kind == FK_LOST) {
        const std::uint64_t overrun = overrunOf(finding.causes);
        found[FK_LOST] += finding.count - overrun;
        found[FK_OVERRUN] += overrun;
        slot.lost += n - static_cast<std::uint32_t>(overrun);
        slot.overrun += static_cast<std::uint32_t>(overrun);
    } else {
        found[finding.kind] += finding.count;
    }
    slot.repeated += finding.kind == FK_REPEATED ? n : 0;
    slot.reordered += finding.kind == FK_REORDERED ? n : 0;
    slot.corrupted += finding.kind == FK_CORRUPTED ? n : 0;
    sink.finding(finding);
}

void Reporter::dropped(std::uint8_t interface, const std::uint64_t arrival, std::int64_t time,
                       std::uint32_t n) {
    drops += n;
    if (lossBlame != nullptr) {
        lossBlame->dropped(interface, arrival, time, n);
    }
}

lossShares_t Reporter::blame(const loss_t& loss) {
    if (lossBlame != nullptr) {
        return lossBlame->blame(loss);
    }
    lossShares_t shares{};
    shares[LC_BEFORE] = loss.frames;
    return shares;
}

findingCounts_t Reporter::counts() const {
    auto all = found;
    all[FK_OVERRUN] += lossBlame != nullptr ? lossBlame->unclaimed() : drops;
    return all;
}
