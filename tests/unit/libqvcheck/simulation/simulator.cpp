#include "tests/unit/libqvcheck/simulation/simulator.h"

#include <algorithm>
#include <map>

namespace {

constexpr std::int64_t frameTime = 1000000;

struct copy_t {
    receivedFrame_t frame;
    std::int64_t arrival;
    std::uint32_t sender; ///< UINT32_MAX: foreign
    std::uint32_t run;
    std::uint32_t number;
    bool damaged;
};

class Simulator {
public:
    Simulator(const regime_t& _regime, std::uint64_t seed) : regime(_regime), dice(seed) {}

    simulation_t run() {
        draw();
        send();
        std::stable_sort(copies.begin(), copies.end(),
                         [](const copy_t& a, const copy_t& b) { return a.arrival < b.arrival; });
        count();
        return std::move(result);
    }

private:
    void draw() {
        const std::uint32_t n = dice.from(1, regime.mostSenders);
        const std::uint32_t senders = regime.mostSenders > 1 ? std::max(n, 2U) : 1;
        frames = regime.mostSenders > 1 ? dice.from(200, 1200) : dice.from(300, 3000);
        const bool extended = dice.below(3) == 0;
        const std::uint8_t length = dice.below(3) == 0 ? 64 : 8;
        const bool answer = dice.below(4) == 0;
        const std::uint32_t base = drawStart(extended);
        std::vector<std::uint32_t> offsets;
        for (std::uint32_t i = 0; i < senders; ++i) {
            std::uint32_t offset = 0;
            do {
                offset = regime.sameLowByte ? 256 * dice.below(7) : dice.below(7 * 256);
            } while (clashes(offsets, offset));
            offsets.push_back(offset);
            const std::uint32_t mask = extended ? CAN_EFF_MASK : CAN_SFF_MASK;
            result.senders.push_back({(base + offset) & mask, extended, length, answer});
        }
        loss = regime.mostLoss > 0 ? dice.from(regime.leastLoss, regime.mostLoss) : 0;
        repeats = regime.mostRepeats > 0 ? dice.below(regime.mostRepeats) : 0;
        jitter = regime.mostJitter > 0 ? dice.below(regime.mostJitter) : 0;
        flips = regime.mostFlips > 0 ? dice.below(regime.mostFlips) : 0;
        foreign = regime.mostForeign > 0 ? dice.below(regime.mostForeign) : 0;
        result.period = regime.mostPeriod > 0 ? dice.from(regime.leastPeriod, regime.mostPeriod) : 0;
        result.each.resize(senders);
    }

    std::uint32_t drawStart(bool extended) {
        const std::uint32_t mask = extended ? CAN_EFF_MASK : CAN_SFF_MASK;
        switch (dice.below(4)) {
        case 0: return (mask - dice.below(300)) & mask; // wraps soon
        case 1: return dice.below(3);
        default: return static_cast<std::uint32_t>(dice.next()) & mask;
        }
    }

    bool clashes(const std::vector<std::uint32_t>& offsets, std::uint32_t offset) const {
        return std::any_of(offsets.begin(), offsets.end(), [&](std::uint32_t o) {
            return regime.sameLowByte ? o == offset : o % 256 == offset % 256;
        });
    }

    void send() {
        const auto senders = static_cast<std::uint32_t>(result.senders.size());
        std::vector<std::uint32_t> next(senders, 0);
        const std::uint32_t total = frames * senders;
        const std::uint32_t gapAt = regime.burst ? dice.from(3, frames - 3) : 0;
        const std::uint32_t gapEnd = regime.burst ? gapAt + dice.from(1, 70000) : 0;
        const std::uint32_t again = regime.restart ? dice.from(3, frames - 3) : UINT32_MAX;
        std::int64_t time = 0;
        std::uint32_t who = 0;
        std::uint32_t inARow = 0;
        const std::uint32_t longest = dice.below(4) > 0 ? 2 : regime.longestBurst;
        std::uint32_t run = 0;
        for (std::uint32_t i = 0; i < total; ++i) {
            if (i < 8 * senders) { // all begin together
                who = i % senders;
                inARow = 1;
            } else if (inARow == 0) {
                who = dice.below(senders);
                inARow = senders == 1 ? UINT32_MAX : dice.from(1, longest);
            }
            --inARow;
            if (regime.burst && next[who] == gapAt) {
                time += (gapEnd - gapAt) * frameTime;
                next[who] = gapEnd;
            }
            if (next[who] == again && run == 0) {
                next[who] = 0;
                ++run;
                time += dice.below(3) * 700 * frameTime;
            }
            sendOne(who, run, next[who]++, time);
            time += frameTime;
        }
    }

    void sendOne(std::uint32_t who, std::uint32_t run, std::uint32_t number, std::int64_t time) {
        for (std::uint32_t i = dice.chance(foreign) ? 1 + dice.below(2) : 0; i > 0; --i) {
            copies.push_back({foreignFrame(), time, UINT32_MAX, 0, 0, false});
        }
        if (dice.chance(loss)) {
            return;
        }
        copyOne(who, run, number, time);
        if (dice.chance(repeats)) {
            copyOne(who, run, number, time + frameTime / 4);
        }
    }

    void copyOne(std::uint32_t who, std::uint32_t run, std::uint32_t number, std::int64_t time) {
        const patternSender_t& sender = result.senders[who];
        bool damaged = result.period > 0 && (number + 1) % result.period == 0;
        receivedFrame_t frame = damaged ? sender.injected(number, result.period) : sender.frame(number);
        if (dice.chance(flips)) {
            damage(frame);
            damaged = true;
        }
        result.damagedAndMoved = result.damagedAndMoved || (damaged && jitter > 0);
        const std::int64_t late =
            jitter > 0 ? static_cast<std::int64_t>(dice.below(jitter * 1000)) * frameTime / 1000 : 0;
        copies.push_back({sender.seen(frame), time + late, who, run, number, damaged});
    }

    void damage(receivedFrame_t& frame) {
        const std::uint32_t place = dice.below(frame.length);
        switch (regime.flip) {
        case regime_t::BIT: frame.data[place] ^= static_cast<std::uint8_t>(1U << dice.below(8)); break;
        case regime_t::TWO_BYTES:
            frame.data[(place + 1) % frame.length] ^= static_cast<std::uint8_t>(dice.from(1, 255));
            [[fallthrough]];
        case regime_t::BYTE: frame.data[place] ^= static_cast<std::uint8_t>(dice.from(1, 255)); break;
        }
    }

    receivedFrame_t foreignFrame() {
        receivedFrame_t f{};
        f.canId = dice.below(4) == 0 ? (static_cast<std::uint32_t>(dice.next()) & CAN_EFF_MASK) | CAN_EFF_FLAG
                                     : dice.below(0x800);
        f.length = static_cast<std::uint8_t>(dice.below(3) == 0 ? dice.from(4, 8) : 8);
        const std::uint32_t kind = dice.below(4);
        for (std::uint8_t i = 0; i < f.length; ++i) {
            f.data[i] = kind == 0 ? 0 : kind == 1 ? 0xFF : static_cast<std::uint8_t>(dice.next());
        }
        return f;
    }

    void count() {
        struct seen_t {
            std::uint32_t first = UINT32_MAX;
            std::uint32_t last = 0;
            std::uint32_t highest = 0;
            std::map<std::uint32_t, bool> counters;
        };
        std::map<std::pair<std::uint32_t, std::uint32_t>, seen_t> runs;
        for (copy_t& c : copies) {
            c.frame.time = c.arrival * regime.slowness;
            result.frames.push_back(c.frame);
            if (c.sender == UINT32_MAX) {
                ++result.truth.foreign;
                continue;
            }
            seen_t& s = runs[{c.sender, c.run}];
            truth_t& t = result.each[c.sender];
            if (!s.counters.emplace(c.number, c.damaged).second) {
                ++t.repeated;
                continue;
            }
            t.reordered += !s.counters.empty() && c.number < s.highest ? 1U : 0U;
            s.first = std::min(s.first, c.number);
            s.last = std::max(s.last, c.number);
            s.highest = s.last;
            ++(c.damaged ? t.corrupted : t.intact);
        }
        for (const auto& [who, s] : runs) {
            truth_t& t = result.each[who.first];
            t.expected += s.last - s.first + 1;
            t.restarts += who.second > 0 ? 1U : 0U;
        }
        for (truth_t& t : result.each) {
            t.streams = t.expected > 0 ? 1 : 0;
            t.lost = t.expected - t.intact - t.corrupted;
            add(result.truth, t);
        }
    }

    static void add(truth_t& sum, const truth_t& t) {
        sum.expected += t.expected;
        sum.intact += t.intact;
        sum.corrupted += t.corrupted;
        sum.lost += t.lost;
        sum.repeated += t.repeated;
        sum.reordered += t.reordered;
        sum.streams += t.streams;
        sum.restarts += t.restarts;
    }

    const regime_t& regime;
    Dice dice;
    simulation_t result;
    std::vector<copy_t> copies;
    std::uint32_t frames = 0;
    std::uint32_t loss = 0;
    std::uint32_t repeats = 0;
    std::uint32_t jitter = 0;
    std::uint32_t flips = 0;
    std::uint32_t foreign = 0;
};

} // namespace

simulation_t simulate(const regime_t& regime, std::uint64_t seed) {
    return Simulator(regime, seed).run();
}
