#pragma once

#include "tests/unit/libqvcheck/judged.h"

#include <map>
#include <set>

#include <gtest/gtest.h>

inline constexpr std::int64_t microsecond = 1000;
inline constexpr std::int64_t roundTrip = 100 * microsecond;

/// A frame each 2 ms and its answer 0.1 ms later; what is lost on the way is in the sets.
struct exchange_t {
    std::uint32_t frames = 2000;
    std::set<std::uint32_t> framesLost;   ///< before the bus: not answered either
    std::set<std::uint32_t> framesUnseen; ///< answered, but this host missed them
    std::set<std::uint32_t> answersLost;
    std::set<std::uint32_t> damaged;                ///< and answered so
    std::map<std::uint32_t, std::int64_t> clockSet; ///< after that frame and before its answer, by so much
    std::uint32_t dropped = 0; ///< by this host's queue, right before the answer to frame 600
    bool twoInterfaces = false;
    bool standing = false; ///< the run ends long after the last frame
};

inline void exchange(Judged& judged, const exchange_t& x) {
    const patternSender_t out = {0x101};
    const patternSender_t back = {0x101, false, 8, true};
    const std::int64_t begin = judged.time;
    std::int64_t set = 0;
    const auto see = [&](receivedFrame_t f, std::int64_t at, bool answer) {
        f.time = at + set;
        f.interface = answer && x.twoInterfaces ? 1 : 0;
        judged.judge.judge(f);
    };
    for (std::uint32_t k = 0; k < x.frames; ++k) {
        const std::int64_t time = begin + std::int64_t{k} * 2 * Judged::millisecond;
        judged.time = time;
        receivedFrame_t frame = out.frame(k);
        frame.data[5] ^= static_cast<std::uint8_t>(x.damaged.count(k) << 4);
        const bool lost = x.framesLost.count(k) > 0;
        if (!lost && x.framesUnseen.count(k) == 0) {
            see(frame, time, false);
        }
        const auto step = x.clockSet.find(k);
        set += step != x.clockSet.end() ? step->second : 0;
        if (!lost && x.answersLost.count(k) == 0) {
            frame.dropped = k == 600 ? x.dropped : 0;
            see(back.seen(frame), time + roundTrip, true);
        }
    }
    judged.time += set;
}

inline summary_t run(Judged& judged, const exchange_t& x) {
    exchange(judged, x);
    if (x.standing) {
        judged.judge.settle(judged.time + 3000 * Judged::millisecond);
    }
    return judged.end();
}

inline demands_t answered() {
    demands_t demands;
    demands.answer = true;
    return demands;
}

inline demands_t answeredWithin(std::int64_t ms) {
    demands_t demands = answered();
    demands.wait = ms * Judged::millisecond;
    return demands;
}

inline demands_t answeredOf(std::uint32_t loop) {
    demands_t demands = answered();
    demands.loop = loop;
    return demands;
}

/// `n` frames in a row.
inline std::set<std::uint32_t> from(std::uint32_t first, std::uint32_t n) {
    std::set<std::uint32_t> frames;
    for (std::uint32_t k = first; k < first + n; ++k) {
        frames.insert(k);
    }
    return frames;
}

/// An exchange on one interface, and on two.
class ExchangeTest : public testing::TestWithParam<bool> {
protected:
    ExchangeTest() {
        x.twoInterfaces = GetParam();
        x.standing = true;
    }

    exchange_t x;
};
