#include "libqvcheck/verdict.h"

bool exceeds(const summary_t& summary, const Allowance& allowance, findingKind_t kind) {
    return summary.findings[kind] > allowance.limit(kind);
}

verdict_t verdictOf(const summary_t& summary, const Allowance& allowance, bool whole) {
    bool failed = false;
    for (std::uint8_t kind = 0; kind < FK_NUM; ++kind) {
        failed =
            failed || (kind != FK_OVERRUN && exceeds(summary, allowance, static_cast<findingKind_t>(kind)));
    }
    if (failed) {
        return V_FAIL;
    }
    if (!whole || summary.furtherStreams > 0 || exceeds(summary, allowance, FK_OVERRUN)) {
        return V_INCOMPLETE;
    }
    return summary.streams.empty() ? V_NO_PATTERN : V_PASS;
}
