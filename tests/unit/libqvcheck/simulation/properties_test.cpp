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

constexpr labels_t plain = {0, 1, 2};

void write(std::ostream& out, const totals_t& t) {
    for (const std::uint64_t n :
         {t.expected, t.intact, t.corrupted, t.lost, t.open, t.repeated, t.corruptedRepeats, t.reordered,
          t.overtaken, t.late, t.stray, t.injected, t.overrun}) {
        out << n << ' ';
    }
}

void write(std::ostream& out, const Histogram& times) {
    out << times.count() << ' ' << times.sum() << ' ' << times.min() << ' ' << times.max() << ' '
        << times.percentile(5000) << ' ';
}

void write(std::ostream& out, const Series<streamSlot_t>& series) {
    for (std::size_t i = 0; i < series.size(); ++i) {
        out << series[i].frames << '/' << series[i].longestGap << ' ';
    }
}

/// All that a judge says of a run that ends now. `labels`: the interfaces that are called 0, 1 and 2.
std::string textOf(Judged& judged, const labels_t& labels) {
    std::ostringstream out;
    const auto label = [&labels](std::uint8_t interface) {
        return std::find(labels.begin(), labels.end(), interface) - labels.begin();
    };
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
            << stream.first << ' ' << stream.last << ' ' << stream.ambiguous << ' ' << stream.own << ' '
            << stream.lastTime << ' ' << stream.jitter << ' ';
        write(out, stream.totals);
        write(out, *stream.gaps);
        write(out, *stream.series);
        out << '\n';
    }
    for (const pairSummary_t& pair : s.pairs) {
        out << pair.answered << ' ' << pair.unanswered << ' ' << pair.unseen << ' ';
        write(out, *pair.roundTrips);
    }
    out << s.frames << ' ' << s.pattern << ' ' << s.foreign << ' ' << s.dropped << ' ' << s.duration;
    return out.str();
}

std::string judgedText(const frames_t& frames, const demands_t& demands, const labels_t& labels) {
    Judged judged(demands);
    for (const receivedFrame_t& frame : frames) {
        judged.judge.judge(frame);
    }
    return textOf(judged, labels);
}

/// Where each loss was in the order of arrival.
class LossLog : public LossBlame {
public:
    void dropped(std::uint8_t, std::uint64_t, std::int64_t, std::uint32_t) override {}
    lossShares_t blame(const loss_t& loss) override {
        text << '\n' << loss.frames << ' ' << loss.arrivalBefore << ' ' << loss.arrivalAfter;
        lossShares_t shares{};
        shares[LC_BEFORE] = loss.frames;
        return shares;
    }
    std::uint64_t unclaimed() const override { return 0; }

    std::ostringstream text;
};

/// Nobody watches each frame, so that batches may be taken at once.
std::string judgedInBatches(const frames_t& frames, const demands_t& demands, std::uint32_t most) {
    LossLog losses;
    Judged judged(demands, &losses);
    judged.judge.watch(nullptr);
    Dice dice(most);
    for (std::size_t i = 0; i < frames.size();) {
        const std::size_t n = std::min<std::size_t>(dice.from(1, most), frames.size() - i);
        judged.judge.judge(&frames[i], n);
        i += n;
    }
    return textOf(judged, plain) + losses.text.str();
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

/// Demands under which frames need more than counting.
demands_t demandsOf(const simulation_t& sim, unsigned seed) {
    demands_t demands;
    demands.errorPeriod = sim.period;
    demands.paced = seed % 5 == 1;
    demands.gap = demands.paced ? 1000000 : 0;
    demands.maxGap = seed % 5 == 2 ? 100000000 : 0;
    demands.wait = seed % 5 == 3 ? 5000000 : demands.wait;
    if (seed % 5 == 4) {
        demands.ids = {sim.senders[0].start};
        demands.loop = 500;
    }
    return demands;
}

/// With queues that drop frames, clocks that are set, and answers to some frames in a row.
frames_t troubled(const simulation_t& sim, unsigned seed) {
    Dice dice(seed);
    frames_t all;
    std::int64_t set = 0;
    for (std::size_t i = 0; i < sim.frames.size(); ++i) {
        receivedFrame_t frame = sim.frames[i];
        set += dice.chance(1000) ? 7200000000000 : dice.chance(1000) ? -50000000 : 0;
        frame.time = frame.time / (seed % 3 == 2 ? 50 : 1) + set;
        frame.own = dice.chance(500);
        frame.dropped = dice.chance(2000) ? dice.from(1, 3) : 0;
        frame.leftOut = frame.dropped == 3;
        all.push_back(frame);
        for (std::size_t k = i - 3; seed % 2 == 1 && i % 4 == 3 && k <= i; ++k) {
            const patternSender_t sender = {0, false, sim.frames[k].length, true};
            all.push_back(sender.seen(sim.frames[k]));
            all.back().time = frame.time;
        }
    }
    return all;
}

class Property : public testing::TestWithParam<regime_t> {};

TEST_P(Property, InterfacesMayHaveOtherLabels) {
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
    for (unsigned seed = 0; seed < seeds; ++seed) {
        demands_t demands;
        const frames_t frames = onThreeInterfaces(GetParam(), seed, demands);
        ASSERT_TRUE(judgedText(frames, demands, plain) == judgedText(frames, demands, plain))
            << "seed " << seed;
    }
}

TEST_P(Property, FramesMayBeJudgedInBatches) {
    for (unsigned seed = 0; seed < 5 * seeds; ++seed) {
        const simulation_t sim = simulate(GetParam(), seed);
        const demands_t demands = demandsOf(sim, seed);
        const frames_t frames = troubled(sim, seed);
        const std::string singly = judgedInBatches(frames, demands, 1);
        const std::string inBatches = judgedInBatches(frames, demands, 64);
        ASSERT_EQ(inBatches.substr(differenceOf(singly, inBatches), 200),
                  singly.substr(differenceOf(singly, inBatches), 200))
            << "seed " << seed;
    }
}

TEST(JudgedBatch, ShowsEachFrameToWhoWatches) {
    frames_t frames;
    for (std::uint32_t k = 0; k < 50; ++k) {
        frames.push_back(patternSender_t().frame(k, std::int64_t{k} * Judged::millisecond));
    }
    Judged judged;
    judged.judge.judge(frames.data(), frames.size());
    ASSERT_EQ(judged.frames.size(), frames.size());
    EXPECT_EQ(judged.frames.back().counter, 50U);
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
