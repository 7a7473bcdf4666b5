// What must not change the verdict, whatever happens to the frames.

#include "tests/unit/libqvcheck/judged.h"
#include "tests/unit/libqvcheck/simulation/regimes.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

constexpr unsigned seeds = QV_SIMULATED_RUNS >= 300 ? 10 : 2;

using frames_t = std::vector<receivedFrame_t>;
using labels_t = std::array<std::uint8_t, 3>;

void write(std::ostream& out, const totals_t& t) {
    for (const std::uint64_t n :
         {t.expected, t.intact, t.corrupted, t.lost, t.open, t.repeated, t.corruptedRepeats, t.reordered,
          t.overtaken, t.late, t.stray, t.injected, t.overrun}) {
        out << n << ' ';
    }
}

/// All that a judge says of a run. `labels`: the interfaces that are called 0, 1 and 2.
std::string judgedText(const frames_t& frames, const demands_t& demands, const labels_t& labels) {
    std::ostringstream out;
    const auto label = [&labels](std::uint8_t interface) {
        return std::find(labels.begin(), labels.end(), interface) - labels.begin();
    };
    Judged judged(demands);
    for (const receivedFrame_t& frame : frames) {
        judged.judge.judge(frame);
    }
    const summary_t s = judged.end();
    for (const Judged::frame_t& f : judged.frames) {
        out << int{f.taken} << ' ' << f.stream << ' ' << f.counter << '\n';
    }
    for (const finding_t& f : judged.findings) {
        out << findingName(f.kind) << ' ' << label(f.interface) << " s" << f.stream << ' ' << f.time << ' '
            << f.before << ' ' << f.span << ' ' << f.count << ' ' << f.extent << ' ' << f.first << ' '
            << f.last << '\n';
    }
    for (const streamSummary_t& stream : s.streams) {
        out << 's' << stream.number << ' ' << label(stream.interface) << ' ' << stream.start << ' '
            << stream.first << ' ' << stream.last << ' ' << stream.ambiguous << ' ' << stream.gaps->count()
            << ' ';
        write(out, stream.totals);
        out << '\n';
    }
    out << s.frames << ' ' << s.pattern << ' ' << s.foreign << ' ' << s.pairs.size() << ' ' << s.duration;
    return out.str();
}

/// Where the line begins in which two texts begin to differ; the end when they are the same.
std::size_t differenceOf(const std::string& a, const std::string& b) {
    std::size_t i = 0;
    while (i < a.size() && i < b.size() && a[i] == b[i]) {
        ++i;
    }
    return i == a.size() && i == b.size() ? i : a.rfind('\n', i) + 1;
}

/// The same kind of trouble on three interfaces at once.
frames_t onThreeInterfaces(const regime_t& regime, unsigned seed, demands_t& demands) {
    frames_t all;
    for (std::uint8_t interface = 0; interface < 3; ++interface) {
        const simulation_t sim = simulate(regime, 3 * seed + interface);
        demands.errorPeriod = sim.period;
        for (receivedFrame_t frame : sim.frames) {
            frame.interface = interface;
            all.push_back(frame);
        }
    }
    std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.time < b.time; });
    return all;
}

class Property : public testing::TestWithParam<regime_t> {};

TEST_P(Property, InterfacesMayHaveOtherLabels) {
    constexpr labels_t plain = {0, 1, 2};
    constexpr labels_t others = {3, 128, 254}; // in the same order, in which the end settles them
    for (unsigned seed = 0; seed < seeds; ++seed) {
        demands_t demands;
        frames_t frames = onThreeInterfaces(GetParam(), seed, demands);
        const std::string before = judgedText(frames, demands, plain);
        for (receivedFrame_t& frame : frames) {
            frame.interface = others[frame.interface];
        }
        const std::string after = judgedText(frames, demands, others);
        ASSERT_EQ(after.substr(differenceOf(before, after), 200),
                  before.substr(differenceOf(before, after), 200))
            << "seed " << seed;
    }
}

TEST_P(Property, ARunJudgedTwiceIsJudgedTheSame) {
    constexpr labels_t plain = {0, 1, 2};
    for (unsigned seed = 0; seed < seeds; ++seed) {
        demands_t demands;
        const frames_t frames = onThreeInterfaces(GetParam(), seed, demands);
        ASSERT_TRUE(judgedText(frames, demands, plain) == judgedText(frames, demands, plain))
            << "seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Regime, Property, testing::ValuesIn(allRegimes()),
                         [](const auto& regime) { return std::string(regime.param.name); });

/// Senders whose frames all arrive, one sender's in their order, and everything else by chance.
class Interleaved {
public:
    Interleaved(std::vector<patternSender_t> _senders, std::uint64_t seed)
        : dice(seed),
          senders(std::move(_senders)),
          next(senders.size(), 0) {}

    /// `together`: frames of each with which all begin.
    void run(Judged& judged, std::uint32_t together, std::uint32_t frames) {
        const auto n = static_cast<std::uint32_t>(senders.size());
        for (std::uint32_t i = 0; i < together * n; ++i) {
            send(judged, i % n);
        }
        for (std::uint32_t left = frames; left > 0;) {
            const std::uint32_t who = dice.below(n);
            const std::uint32_t burst = dice.chance(100000) ? dice.from(1, 2000) : dice.from(1, 3);
            for (std::uint32_t i = std::min(burst, left); i > 0; --i, --left) {
                send(judged, who);
            }
        }
    }

private:
    void send(Judged& judged, std::uint32_t who) {
        receivedFrame_t f = senders[who].seen(senders[who].frame(next[who]++));
        f.interface = static_cast<std::uint8_t>(who % 3);
        judged.pause(dice.below(1000)).see(f);
    }

    Dice dice;
    std::vector<patternSender_t> senders;
    std::vector<std::uint32_t> next;
};

void expectSpotless(Judged& judged, std::size_t streams, std::uint64_t frames) {
    const summary_t s = judged.end();
    EXPECT_TRUE(judged.findings.empty());
    EXPECT_EQ(s.streams.size(), streams);
    EXPECT_EQ(s.pattern, frames);
    EXPECT_EQ(judged.judge.totals().intact, frames);
}

TEST(LosslessStreams, MayBeInterleavedInAnyWay) {
    for (unsigned seed = 0; seed < seeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::vector<patternSender_t> senders;
        for (std::uint32_t i = 0; i < 24; ++i) {
            const std::uint8_t length = i % 5 == 0 ? 64 : 8;
            senders.push_back({0x100 + i * (i % 2 == 0 ? 0x21 : 1), i % 4 == 1, length, i % 7 == 3});
        }
        Judged judged;
        Interleaved(senders, seed).run(judged, 3, 20000);
        expectSpotless(judged, 24, 20072);
    }
}

TEST(LosslessStreams, WithEqualLowBytesMayBeInterleavedInAnyWay) {
    for (unsigned seed = 0; seed < seeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Judged judged;
        std::vector<patternSender_t> senders; // on three interfaces by turns
        for (std::uint32_t i = 0; i < 9; ++i) {
            senders.push_back({0x123 + (i / 3) * 0x100});
        }
        Interleaved(senders, seed).run(judged, 3, 20000);
        expectSpotless(judged, 9, 20027);
    }
}

} // namespace
