#include "libqvcheck/summary.h"

namespace {

template<typename Apply>
void each(totals_t& to, const totals_t& from, Apply apply) {
    apply(to.expected, from.expected);
    apply(to.intact, from.intact);
    apply(to.corrupted, from.corrupted);
    apply(to.lost, from.lost);
    apply(to.open, from.open);
    apply(to.repeated, from.repeated);
    apply(to.corruptedRepeats, from.corruptedRepeats);
    apply(to.reordered, from.reordered);
    apply(to.overtaken, from.overtaken);
    apply(to.late, from.late);
    apply(to.stray, from.stray);
    apply(to.injected, from.injected);
    apply(to.overrun, from.overrun);
}

} // namespace

totals_t& totals_t::operator+=(const totals_t& other) {
    each(*this, other, [](std::uint64_t& to, std::uint64_t from) { to += from; });
    return *this;
}

totals_t& totals_t::operator-=(const totals_t& other) {
    each(*this, other, [](std::uint64_t& to, std::uint64_t from) { to -= from; });
    return *this;
}
