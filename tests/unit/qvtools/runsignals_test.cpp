#include "qvtools/runsignals.h"

#include <cstdlib>

#include <gtest/gtest.h>

TEST(RunSignalsDeathTest, ASignalIsIgnoredUntilTheMomentFromWhichItEndsAtOnce) {
    const auto run = [] {
        const RunSignals signals;
        std::raise(SIGINT);
        RunSignals::endAtOnceFrom(INT64_MAX);
        std::raise(SIGINT);
        std::exit(3);
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(3), "");
}

TEST(RunSignalsDeathTest, ASignalFromThatMomentOnEndsAtOnce) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const auto run = [number] {
            const RunSignals signals;
            RunSignals::endAtOnceFrom(0);
            std::raise(number);
            std::exit(3);
        };
        EXPECT_EXIT(run(), ::testing::KilledBySignal(number), "");
    }
}

TEST(RunSignals, TellsEachSignalOnce) {
    RunSignals signals;
    std::raise(SIGUSR1);
    EXPECT_EQ(signals.next(), SIGUSR1);
    EXPECT_EQ(signals.next(), 0);
}
