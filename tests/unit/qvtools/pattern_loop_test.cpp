// How often the pattern is sent, and what counts.

#include "tests/unit/qvtools/patternsender.h"

namespace {

class PatternSenderLoop : public PatternSender, public testing::WithParamInterface<unsigned long> {};

} // namespace

TEST_P(PatternSenderLoop, CountIsTheNumberOfFramesExactly) {
    settings.loop = GetParam();

    EXPECT_EQ(run(), 0);
    EXPECT_EQ(frames.size(), GetParam());
    EXPECT_EQ(waits.size(), GetParam()) << "one wait each, and none behind the last";
}

INSTANTIATE_TEST_SUITE_P(Counts, PatternSenderLoop, testing::Values(1, 2, 3, 1024));

TEST_F(PatternSender, SendsWithoutEndForALoopCountOfZeroUntilTheWaitFails) {
    settings.loop = 0;
    settings.canId = 0x7F0;
    onWait = [this](const wait_t&) {
        return waits.size() > 5000 ? outcome_t{false, false, EBADF} : outcome_t{false, true, 0};
    };
    int result = 0;
    const Captured text = captured([&] { result = run(); });

    EXPECT_EQ(result, -1);
    EXPECT_EQ(text.err, "[ERROR] BZ::sendPattern() select: Bad file descriptor\n");
    EXPECT_EQ(frames.size(), 5000U);
    expectPattern();
}

TEST_F(PatternSender, StartsAgainAtItsIdentifierWhenItIsCalledAgain) {
    settings.loop = 3;
    settings.canId = 0x123;
    settings.errnum = 2;
    const auto device = make();
    run(*device);
    const std::vector<std::string> first = frames;
    frames.clear();
    EXPECT_EQ(CanDeviceTestAccess::patternMsg(*device).getCanId(), 0x126U) << "it keeps the advanced pattern";
    run(*device);

    EXPECT_EQ(frames, first) << "the error injection starts anew, too";
}

TEST_F(PatternSender, CountsAFrameThatCouldNotBeWrittenAndGoesOnWithTheNext) {
    settings.loop = 6;
    settings.canId = 0x123;
    onWrite = [this](std::size_t n) -> ssize_t {
        errno = ENOBUFS;
        return frames.size() % 2 == 0 ? -1 : frames.size() == 3 ? 10 : static_cast<ssize_t>(n);
    };
    int result = -1;
    const Captured text = captured([&] { result = run(); });

    EXPECT_EQ(result, 0);
    EXPECT_EQ(frames.size(), 6U) << "none is tried again";
    expectPattern();
    EXPECT_EQ(text.err, "write error: No buffer space available\n"
                        "write: incomplete CAN frame\n"
                        "write error: No buffer space available\n"
                        "write error: No buffer space available\n");
    EXPECT_EQ(text.out, "");
}

TEST_F(PatternSender, TakesWhatArrivesOutOfTheWayAndNeverAnswersIt) {
    settings.loop = 4;
    settings.answer = CanDevice::A_YES; // is of another mode
    onWait = [this](const wait_t&) { return outcome_t{true, waits.size() % 3 == 0, 0}; };

    EXPECT_EQ(run(), 0);
    EXPECT_EQ(waits.size(), 12U) << "a frame that was only read is followed by the next wait";
    EXPECT_EQ(reads, 12) << "one at a time, before a frame is sent";
    EXPECT_EQ(frames.size(), 4U);
    expectPattern();
}

TEST_F(PatternSender, ReadsBeforeItSendsWhenBothAreDue) {
    settings.loop = 1;
    int readBeforeTheFrame = -1;
    onWait = [](const wait_t&) { return outcome_t{true, true, 0}; };
    onWrite = [&](std::size_t n) {
        readBeforeTheFrame = reads;
        return static_cast<ssize_t>(n);
    };
    run();

    EXPECT_EQ(readBeforeTheFrame, 1);
    EXPECT_EQ(waits.size(), 1U);
}

TEST_F(PatternSender, NeitherReadsNorSendsWhenNothingIsReady) {
    settings.loop = 1;
    onWait = [this](const wait_t&) { return outcome_t{false, waits.size() == 4, 0}; };
    run();

    EXPECT_EQ(waits, std::vector<wait_t>(4, due)) << "each pass builds its sets anew";
    EXPECT_EQ(reads + secondLooks, 0);
    EXPECT_EQ(frames.size(), 1U);
}

TEST_F(PatternSender, IsWhatTheThreadOfAPatternDeviceRuns) {
    settings.loop = 3;
    CanDeviceTestAccess::threadCode(*make());

    EXPECT_EQ(frames.size(), 3U);
}

TEST_F(PatternSender, EndsWithOneErrorLineOnADescriptorThatNoSetCanHold) {
    for (const int fd : {-1, static_cast<int>(FD_SETSIZE), 70000}) {
        settings.fd = fd;
        system.close = [](int) { return 0; };
        const Captured text = captured([&] {
            const CanDevice::devices_t devices{std::shared_ptr<CanDevice>(make())};
            CanDevice::start(devices);
            CanDevice::join(devices);
        });

        EXPECT_EQ(text.err, "[ERROR] BZ::threadCode() file descriptor " + std::to_string(fd) +
                                " is outside of what select can wait for (0 to 1023)\n");
        EXPECT_EQ(text.out, "");
    }
    EXPECT_TRUE(waits.empty() && frames.empty());
}
