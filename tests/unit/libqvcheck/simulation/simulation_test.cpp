// Thousands of runs whose truth is known frame by frame, each judged without any demand but the period of the
// injected errors.

#include "libqvcheck/judge.h"
#include "tests/unit/libqvcheck/simulation/regimes.h"

#include <string>

#include <gtest/gtest.h>

namespace {

constexpr unsigned runs = QV_SIMULATED_RUNS;
static_assert(runs == 300 || runs == 15, "the regimes say in how many of these a count may be off");

class CountingSink : public FindingSink {
public:
    void finding(const finding_t& finding) override { found[finding.kind] += finding.count; }
    void stream(const streamSummary_t&, std::int64_t) override { ++named; }

    std::array<std::uint64_t, FK_NUM> found = {};
    std::uint64_t named = 0;
};

std::string shown(const char* name, std::uint64_t got, std::uint64_t wanted) {
    return got == wanted ? std::string()
                         : std::string(" ") + name + " " + std::to_string(got) + " instead of " +
                               std::to_string(wanted);
}

/// What differs from the truth; nothing when all is as it was. `reordered`: exact, too.
std::string difference(const totals_t& got, const truth_t& truth, bool reordered) {
    return shown("expected", got.expected, truth.expected) + shown("intact", got.intact, truth.intact) +
           shown("corrupted", got.corrupted, truth.corrupted) + shown("lost", got.lost, truth.lost) +
           shown("repeated", got.repeated + got.corruptedRepeats, truth.repeated) +
           shown("late", got.late, 0) + shown("stray", got.stray, 0) +
           (reordered ? shown("reordered", got.reordered, truth.reordered) : "");
}

void expectIdentities(const summary_t& s, const totals_t& sum, const CountingSink& sink) {
    EXPECT_EQ(sum.expected, sum.intact + sum.corrupted + sum.lost);
    EXPECT_EQ(sum.open, 0U);
    EXPECT_EQ(s.held, 0U);
    EXPECT_EQ(s.frames, s.pattern + s.foreign + s.tooShort + s.furtherStreams);
    EXPECT_LE(sum.reordered, sum.intact + sum.corrupted);
    EXPECT_EQ(sink.found[FK_LOST], sum.lost);
    EXPECT_EQ(sink.named, s.streams.size());
    for (const streamSummary_t& stream : s.streams) {
        const totals_t& t = stream.totals;
        EXPECT_EQ(t.expected, t.intact + t.corrupted + t.lost + t.open) << "s" << stream.number;
    }
}

class JudgedRun {
public:
    JudgedRun(const regime_t& regime, unsigned seed) : sim(simulate(regime, seed)) {
        demands_t demands;
        demands.errorPeriod = sim.period;
        Judge judge(demands, sink);
        for (const receivedFrame_t& frame : sim.frames) {
            judge.judge(frame);
        }
        judge.finish();
        summary = judge.summary();
        for (const streamSummary_t& stream : summary.streams) {
            sum += stream.totals;
            restarts += stream.restarts + stream.jumps;
        }
        expectIdentities(summary, sum, sink);
    }

    std::string differenceFromTruth(const regime_t& regime) const {
        const bool movedAndLate = sim.damagedAndMoved || regime.notExact > 0;
        std::string all = difference(sum, sim.truth, !movedAndLate) +
                          shown("foreign", summary.foreign, sim.truth.foreign) +
                          shown("streams", summary.streams.size(), sim.truth.streams) +
                          shown("restarts", restarts, sim.truth.restarts);
        if (!regime.sameLowByte) {
            all += differenceOfEach(!movedAndLate);
        }
        return all;
    }

private:
    /// Senders whose low bytes differ are told apart one by one.
    std::string differenceOfEach(bool reordered) const {
        std::string all;
        for (std::size_t i = 0; i < sim.senders.size(); ++i) {
            totals_t got{};
            for (const streamSummary_t& stream : summary.streams) {
                const bool same = static_cast<std::uint8_t>(stream.start) ==
                                  static_cast<std::uint8_t>(sim.senders[i].start);
                got += same ? stream.totals : totals_t{};
            }
            all += difference(got, sim.each[i], reordered);
        }
        return all;
    }

    simulation_t sim;
    CountingSink sink;
    summary_t summary;
    totals_t sum = {};
    std::uint64_t restarts = 0;
};

class Simulation : public testing::TestWithParam<regime_t> {};

TEST_P(Simulation, CountsAreThoseOfTheTruth) {
    const regime_t& regime = GetParam();
    std::string first;
    unsigned off = 0;
    for (unsigned seed = 0; seed < runs; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const std::string difference = JudgedRun(regime, seed).differenceFromTruth(regime);
        if (!difference.empty() && off++ == 0) {
            first = "first in run " + std::to_string(seed) + ":" + difference;
        }
    }
    EXPECT_LE(off, runs == 300 ? regime.notExact : regime.notExactAtFirst) << first;
}

INSTANTIATE_TEST_SUITE_P(Regime, Simulation, testing::ValuesIn(allRegimes()),
                         [](const auto& regime) { return std::string(regime.param.name); });

} // namespace
