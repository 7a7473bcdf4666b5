#include "qvtools/runsignals.h"

#include <cstdlib>

#include <gtest/gtest.h>

TEST(RunSignalsDeathTest, ASignalThatComesAgainBeforeItEndsAtOnceIsForgotten) {
    const auto run = [] {
        const RunSignals signals;
        std::raise(SIGINT);
        signals.endAtOnce();
        std::exit(3);
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(3), "");
}

TEST(RunSignalsDeathTest, ASignalThatComesAfterThatEndsAtOnce) {
    const auto run = [] {
        const RunSignals signals;
        signals.endAtOnce();
        std::raise(SIGTERM);
        std::exit(3);
    };
    EXPECT_EXIT(run(), ::testing::KilledBySignal(SIGTERM), "");
}

TEST(RunSignals, TellsEachSignalOnce) {
    RunSignals signals;
    std::raise(SIGUSR1);
    EXPECT_EQ(signals.next(), SIGUSR1);
    EXPECT_EQ(signals.next(), 0);
}
