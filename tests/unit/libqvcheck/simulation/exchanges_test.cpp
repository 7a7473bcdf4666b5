// Frames and their answers, lost, damaged, repeated and reordered on the way out, on the way back and at the
// listener. What was done to each is recorded, and the pair's counts must agree.

#include "libqvcheck/judge.h"
#include "tests/unit/libqvcheck/simulation/simulator.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t millisecond = 1000000;
constexpr std::uint32_t percent = 10000; // per million
constexpr unsigned runs = QV_SIMULATED_RUNS;

/// What may happen to a frame or its answer: the most per million of each.
struct exchanges_t {
    const char* name = "";
    std::uint32_t outLost = 0;    ///< before the bus: never answered
    std::uint32_t unseen = 0;     ///< answered, but not heard by the check
    std::uint32_t backLost = 0;   ///< heard, but not answered
    std::uint32_t damagedOut = 0; ///< and answered so
    std::uint32_t damagedBack = 0;
    std::uint32_t repeats = 0;
    std::uint32_t delay = 0; ///< ms that the check hears a frame or an answer late
};

struct pairTruth_t {
    std::uint64_t answered = 0;
    std::uint64_t unanswered = 0;
    std::uint64_t unseen = 0;
    std::uint64_t early = 0;
    std::uint64_t echoedDamage = 0;

    bool operator==(const pairTruth_t& other) const {
        return answered == other.answered && unanswered == other.unanswered && unseen == other.unseen &&
               early == other.early && echoedDamage == other.echoedDamage;
    }
};

std::ostream& operator<<(std::ostream& out, const pairTruth_t& t) {
    return out << t.answered << " answered, " << t.unanswered << " unanswered, " << t.unseen << " unseen, "
               << t.early << " early, " << t.echoedDamage << " echoed";
}

struct unanswered_t : FindingSink {
    void finding(const finding_t& f) override { frames += f.kind == FK_UNANSWERED ? f.count : 0; }
    void stream(const streamSummary_t&, std::int64_t) override {}
    std::uint64_t frames = 0;
};

class Exchange {
public:
    Exchange(const exchanges_t& _rates, unsigned seed) : rates(_rates), dice(seed) {
        out.extended = dice.below(3) == 0;
        out.length = dice.below(3) == 0 ? 64 : 8;
        out.start = dice.below(out.extended ? CAN_EFF_MASK : CAN_SFF_MASK) + 1;
        back = out;
        back.answer = true;
        interfaces = dice.from(1, 2);
        roundTrip = dice.from(100, 3000) * 1000;
        const std::uint32_t frames = dice.from(300, 3000);
        for (std::uint32_t k = 0; k < frames; ++k) {
            one(k, k >= calm && k + calm < frames);
        }
        std::stable_sort(heard.begin(), heard.end(),
                         [](const auto& a, const auto& b) { return a.time < b.time; });
    }

    pairTruth_t truth;
    std::vector<receivedFrame_t> heard;

private:
    static constexpr std::uint32_t calm = 50; ///< undisturbed frames at the beginning and at the end

    bool happens(std::uint32_t rate) { return rate > 0 && dice.chance(dice.below(rate)); }

    /// On two interfaces only where it shows at once: damage in the upper counter bytes takes its neighbours
    /// to show, and its echo may be decided first.
    void damage(receivedFrame_t& frame) {
        const std::uint32_t first = interfaces == 1 ? 0 : 3;
        frame.data[dice.from(first, frame.length - 1U)] ^= static_cast<std::uint8_t>(dice.from(1, 255));
    }

    void one(std::uint32_t k, bool disturbed) {
        const exchanges_t rate = disturbed ? rates : exchanges_t{};
        const bool sent = !happens(rate.outLost);
        const bool seen = sent && !happens(rate.unseen);
        const bool answered = sent && !happens(rate.backLost);
        const bool damagedOut = happens(rate.damagedOut);
        receivedFrame_t frame = out.frame(k);
        if (damagedOut) {
            damage(frame);
        }
        receivedFrame_t answer = back.seen(frame);
        if (!damagedOut && happens(rate.damagedBack)) {
            damage(answer);
        }
        const std::int64_t time = k * millisecond;
        frame.time = time + dice.below(rate.delay + 1) * millisecond;
        answer.time = time + roundTrip + dice.below(rate.delay + 1) * millisecond;
        answer.interface = static_cast<std::uint8_t>(interfaces - 1);
        if (seen) {
            hear(frame, rate);
        }
        if (answered) {
            hear(answer, rate);
        }
        truth.answered += seen && answered ? 1 : 0;
        truth.unanswered += seen && !answered ? 1 : 0;
        truth.unseen += !seen && answered ? 1 : 0;
        truth.early += seen && answered && answer.time < frame.time ? 1 : 0;
        truth.echoedDamage += seen && answered && damagedOut ? 1 : 0;
    }

    void hear(receivedFrame_t frame, const exchanges_t& rate) {
        heard.push_back(frame);
        if (happens(rate.repeats)) {
            frame.time += 300000;
            heard.push_back(frame);
        }
    }

    exchanges_t rates;
    Dice dice;
    patternSender_t out;
    patternSender_t back;
    std::uint32_t interfaces = 1;
    std::int64_t roundTrip = 0;
};

std::vector<exchanges_t> allExchanges() {
    std::vector<exchanges_t> list(9);
    list[0].name = "Nothing";
    list[1].name = "OutLost";
    list[1].outLost = 20 * percent;
    list[2].name = "BackLost";
    list[2].backLost = 20 * percent;
    list[3].name = "LostOnBothWaysAndUnseen";
    list[3].outLost = list[3].backLost = list[3].unseen = 10 * percent;
    list[4].name = "DamagedOnBothWays";
    list[4].damagedOut = list[4].damagedBack = 3 * percent;
    list[5].name = "Repeated";
    list[5].repeats = 10 * percent;
    list[6].name = "Delayed";
    list[6].delay = 20;
    list[7].name = "LostRepeatedAndDelayed";
    list[7].outLost = list[7].backLost = list[7].unseen = list[7].repeats = 5 * percent;
    list[7].delay = 20;
    list[8].name = "LostDamagedAndRepeated";
    list[8].outLost = list[8].backLost = list[8].unseen = list[8].repeats = 5 * percent;
    list[8].damagedOut = list[8].damagedBack = 2 * percent;
    return list;
}

class Exchanges : public testing::TestWithParam<exchanges_t> {};

} // namespace

TEST_P(Exchanges, ArePairedAsTheyHappened) {
    for (unsigned seed = 0; seed < runs; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const Exchange exchange(GetParam(), seed);
        demands_t demands;
        demands.answer = true;
        unanswered_t sink;
        Judge judge(demands, sink);
        for (const receivedFrame_t& frame : exchange.heard) {
            judge.judge(frame);
        }
        judge.settle(exchange.heard.back().time + 3000 * millisecond);
        judge.finish();
        const summary_t s = judge.summary();
        ASSERT_EQ(s.pairs.size(), 1U);
        const pairSummary_t& p = s.pairs[0];
        const pairTruth_t got = {p.answered, p.unanswered, p.unseen, p.early, p.echoedDamage};
        ASSERT_EQ(got, exchange.truth);
        ASSERT_EQ(sink.frames, exchange.truth.unanswered);
        ASSERT_EQ(p.roundTrips->count() + p.early, p.answered);
    }
}

INSTANTIATE_TEST_SUITE_P(With, Exchanges, testing::ValuesIn(allExchanges()),
                         [](const auto& exchanges) { return std::string(exchanges.param.name); });
