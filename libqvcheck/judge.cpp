#include "libqvcheck/judge.h"

#include "libqvcheck/basicjudge.h"
#include "libqvcheck/limits.h"

namespace {

/// Local to this file, so that functions with a single caller are inlined.
struct ownLimits_t : limits_t {};

} // namespace

class Judge::Core : public BasicJudge<ownLimits_t> {
public:
    using BasicJudge::BasicJudge;
};

[[gnu::cold]] Judge::Judge(const demands_t& demands, FindingSink& sink, LossBlame* blame)
    : core(std::make_unique<Core>(demands, sink, blame)) {}

Judge::~Judge() = default;

void Judge::watch(FrameWatcher* watcher) {
    core->watch(watcher);
}

void Judge::judge(const receivedFrame_t* frames, std::size_t n) {
    core->judge(frames, n);
}

void Judge::settle(std::int64_t now) {
    core->settle(now);
}

[[gnu::cold]] void Judge::finish() {
    core->finish();
}

[[gnu::cold]] summary_t Judge::summary() const {
    return core->summary();
}

findingCounts_t Judge::findings() const {
    return core->findings();
}

totals_t Judge::totals() const {
    return core->totals();
}

std::vector<intervalSummary_t> Judge::interval() {
    return core->interval();
}

bool Judge::complete() const {
    return core->complete();
}

std::uint64_t Judge::arrivals() const {
    return core->arrivals();
}

std::int64_t Judge::elapsed(std::uint8_t interface, std::int64_t stamp) const {
    return core->elapsed(interface, stamp);
}

std::int64_t Judge::lastPatternTime() const {
    return core->lastPatternTime();
}
