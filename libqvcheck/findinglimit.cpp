#include "libqvcheck/findinglimit.h"

#include "libqvcheck/numbertext.h"
#include "libqvutil/utility.h"

#include <ostream>
#include <utility>

FindingLimit::FindingLimit(Report& _report, std::ostream& _out, std::function<std::int64_t()> _clock)
    : report(_report),
      out(_out),
      clock(std::move(_clock)) {}

void FindingLimit::finding(const finding_t& finding) {
    if (hasRoom()) {
        report.finding(finding);
    } else {
        heldBack[finding.kind] += finding.count;
    }
}

void FindingLimit::event(const hostEvent_t& event) {
    if (event.kind != HE_ERROR_FRAME || hasRoom()) {
        report.event(event);
    } else {
        ++errorFrames;
    }
}

void FindingLimit::end(const runResult_t& run) {
    tellRest();
    report.end(run);
}

bool FindingLimit::flush() {
    if (any && clock() >= secondEnds) {
        tellRest();
    }
    return report.flush();
}

bool FindingLimit::hasRoom() {
    const std::int64_t now = clock();
    if (now >= secondEnds) {
        tellRest();
        secondEnds = now + nsPerSecond;
        told = 0;
    }
    any = ++told > MOST;
    return !any;
}

void FindingLimit::tellRest() {
    for (std::uint8_t i = 0; i < FK_NUM; ++i) {
        const std::uint64_t n = std::exchange(heldBack[i], 0);
        if (n > 0) {
            out << "... and " << grouped(n) << " more " << findingName(static_cast<findingKind_t>(i)) << '\n';
        }
    }
    if (const std::uint64_t n = std::exchange(errorFrames, 0)) {
        out << "... and " << countedText(n, "more error frame") << '\n';
    }
    any = false;
}
