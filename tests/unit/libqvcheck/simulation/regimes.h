#pragma once

#include "tests/unit/libqvcheck/simulation/simulator.h"

#include <vector>

// What is done to the frames, and in how many of 300 runs a count is off where the frames do not say more:
// which of two copies was the damaged one, or which of two equal senders lost a frame. The runs are the same
// everywhere, and so are these numbers; a change that makes one smaller lowers it here.
inline std::vector<regime_t> allRegimes() {
    constexpr std::uint32_t percent = 10000; // per million
    std::vector<regime_t> list;
    const auto add = [&list](const char* name) -> regime_t& {
        list.emplace_back();
        list.back().name = name;
        return list.back();
    };
    regime_t* r = nullptr;

    add("Nothing");

    r = &add("Loss");
    r->mostLoss = 10 * percent;

    r = &add("Repeats");
    r->mostRepeats = 10 * percent;

    r = &add("Jitter");
    r->mostJitter = 80;

    r = &add("LossRepeatsAndJitter");
    r->mostLoss = 10 * percent;
    r->mostRepeats = 10 * percent;
    r->mostJitter = 80;

    r = &add("OneBitDamaged");
    r->mostFlips = 5 * percent;

    r = &add("OneByteDamaged");
    r->mostFlips = 5 * percent;
    r->flip = regime_t::BYTE;

    r = &add("InjectedErrors");
    r->leastPeriod = 1;
    r->mostPeriod = 20;

    r = &add("InjectedErrorsAndLoss");
    r->leastPeriod = 1;
    r->mostPeriod = 20;
    r->mostLoss = 10 * percent;

    r = &add("InjectedErrorsLossAndRepeats");
    r->leastPeriod = 1;
    r->mostPeriod = 20;
    r->mostLoss = 10 * percent;
    r->mostRepeats = 5 * percent;

    r = &add("InjectedErrorsLossRepeatsAndJitter");
    r->leastPeriod = 1;
    r->mostPeriod = 20;
    r->mostLoss = 5 * percent;
    r->mostRepeats = 5 * percent;
    r->mostJitter = 20;

    r = &add("AFrameASecondLossAndRepeats");
    r->mostLoss = 10 * percent;
    r->mostRepeats = 10 * percent;
    r->slowness = 1000;

    r = &add("ManySendersLossRepeatsAndJitter");
    r->mostSenders = 7;
    r->longestBurst = 50;
    r->mostLoss = 10 * percent;
    r->mostRepeats = 5 * percent;
    r->mostJitter = 20;

    r = &add("EqualLowBytes");
    r->mostSenders = 7;
    r->sameLowByte = true;
    r->longestBurst = 200;

    r = &add("EqualLowBytesAndLoss");
    r->mostSenders = 7;
    r->sameLowByte = true;
    r->mostLoss = 5 * percent;

    r = &add("EqualLowBytesLossAndRepeats");
    r->mostSenders = 7;
    r->sameLowByte = true;
    r->mostLoss = 5 * percent;
    r->mostRepeats = 5 * percent;

    r = &add("OneBurstOfLoss");
    r->burst = true;

    r = &add("HeavyLoss");
    r->leastLoss = 10 * percent;
    r->mostLoss = 90 * percent;

    r = &add("LossOf90To95Percent");
    r->leastLoss = 90 * percent;
    r->mostLoss = 95 * percent;

    r = &add("Restart");
    r->restart = true;

    r = &add("ForeignTrafficLossAndFlips");
    r->mostForeign = 100 * percent;
    r->mostFlips = 5 * percent;
    r->mostLoss = 5 * percent;

    r = &add("FlipsLossRepeatsAndJitter");
    r->mostFlips = 2 * percent;
    r->mostLoss = 5 * percent;
    r->mostRepeats = 2 * percent;
    r->mostJitter = 20;
    r->notExact = 3;

    r = &add("TwoNeighbouringBytesDamaged");
    r->mostFlips = 5 * percent;
    r->flip = regime_t::TWO_BYTES;
    r->notExact = 3;

    r = &add("EqualLowBytesAndFlips");
    r->mostSenders = 7;
    r->sameLowByte = true;
    r->mostFlips = 1 * percent;
    r->notExact = 3;

    r = &add("EqualLowBytesAndRareInjection");
    r->mostSenders = 7;
    r->sameLowByte = true;
    r->leastPeriod = 50;
    r->mostPeriod = 149;

    r = &add("EqualLowBytesAndInjection");
    r->mostSenders = 7;
    r->sameLowByte = true;
    r->leastPeriod = 2;
    r->mostPeriod = 21;

    r = &add("EqualLowBytesInBurstsLossAndRepeats");
    r->mostSenders = 7;
    r->sameLowByte = true;
    r->longestBurst = 200;
    r->mostLoss = 5 * percent;
    r->mostRepeats = 5 * percent;
    r->notExact = 27;
    r->notExactAtFirst = 4;

    r = &add("BytesDamagedAndRestart");
    r->restart = true;
    r->mostFlips = 2 * percent;
    r->flip = regime_t::BYTE;
    r->notExact = 5;
    r->notExactAtFirst = 1;

    return list;
}
