#pragma once

#include "libqvcheck/basicjudge.h"
#include "tests/fuzz/judgelistener.h"

#include <algorithm>
#include <iterator>
#include <vector>

/// A judge that takes the frames in batches, with nobody who watches each.
template<typename Limits>
class JudgeTwin {
public:
    explicit JudgeTwin(const demands_t& demands) : judge(demands, heard, nullptr) { batch.reserve(most); }

    void take(const receivedFrame_t& frame) {
        batch.push_back(frame);
        if (batch.size() == most) {
            judgeBatch();
        }
    }

    void settle(std::int64_t now) {
        judgeBatch();
        judge.settle(now);
    }

    /// After the end: holds it against what the other judge says of the same run.
    void check(const summary_t& a, const Listener& said) {
        judgeBatch();
        judge.finish();
        const summary_t b = judge.summary();
        bool same = a.frames == b.frames && a.dropped == b.dropped && a.pattern == b.pattern &&
                    a.foreign == b.foreign && a.findings == b.findings && said.found == heard.found &&
                    a.streams.size() == b.streams.size() && a.pairs.size() == b.pairs.size();
        for (std::size_t i = 0; same && i < a.streams.size(); ++i) {
            same = isSame(a.streams[i], b.streams[i]);
        }
        for (std::size_t i = 0; same && i < a.pairs.size(); ++i) {
            same = a.pairs[i].answered == b.pairs[i].answered &&
                   a.pairs[i].roundTrips->sum() == b.pairs[i].roundTrips->sum();
        }
        require(same, "batches are judged as single frames are");
    }

private:
    static constexpr std::size_t most = 64;

    void judgeBatch() {
        judge.judge(batch.data(), batch.size());
        batch.clear();
    }

    static bool isSame(const streamSummary_t& a, const streamSummary_t& b) {
        return a.number == b.number && a.first == b.first && a.last == b.last && a.lastTime == b.lastTime &&
               a.own == b.own && a.surplus == b.surplus && a.gaps->count() == b.gaps->count() &&
               a.gaps->sum() == b.gaps->sum() && a.jitter == b.jitter &&
               std::all_of(std::begin(summed), std::end(summed),
                           [&](auto member) { return a.totals.*member == b.totals.*member; });
    }

    Listener heard;
    BasicJudge<Limits> judge;
    std::vector<receivedFrame_t> batch; ///< not judged yet
};
