// What a frame costs at verbosity 0: one wait, one write, no memory, and no copy unless an error is injected.

#include "tests/unit/qvtools/patternsender.h"

namespace {

struct cost_t {
    const char* name;
    std::uint32_t errnum;
    bool canFd;
    unsigned short verbose;
    std::size_t copies; ///< of 100 frames
};

class PatternCost : public PatternSender, public testing::WithParamInterface<cost_t> {};

} // namespace

TEST_P(PatternCost, IsOneWaitAndOneWriteAndNoMemoryButForCopies) {
    settings.loop = 100;
    settings.errnum = GetParam().errnum;
    settings.canFd = GetParam().canFd;
    const auto device = make(GetParam().verbose);
    // A note of this length makes each copy of the message take memory, which so counts the copies.
    auto& message = const_cast<CANExtTraceMessage&>(CanDeviceTestAccess::patternMsg(*device));
    message.setText(std::string(100, '.'));

    EXPECT_EQ(allocations::during([&] { run(*device); }), GetParam().copies);
    EXPECT_EQ(waits, std::vector<wait_t>(100, due));
    EXPECT_EQ(frames.size(), 100U);
    EXPECT_EQ(secondLooks + reads, 0);
}

INSTANTIATE_TEST_SUITE_P(Rows, PatternCost,
                         testing::Values(cost_t{"classic", 0, false, 0, 0}, cost_t{"fd", 0, true, 0, 0},
                                         cost_t{"verbosity_1", 0, false, 1, 0},
                                         cost_t{"every_frame_corrupted", 1, false, 0, 100},
                                         cost_t{"every_third_frame_corrupted", 3, true, 0, 100}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(PatternSender, TakesMemoryForADiscardedFrameOnly) {
    settings.loop = 10;
    onWait = [](const wait_t&) { return outcome_t{true, true, 0}; };
    const auto device = make();

    EXPECT_EQ(allocations::during([&] { run(*device); }), 10U);
    EXPECT_EQ(reads, 10);
}

namespace {

struct stamped_t {
    const char* name;
    bool network;
    unsigned short verbose;
    int readings; ///< of the clock for 100 frames that are due already
};

class PatternStamps : public PatternSender, public testing::WithParamInterface<stamped_t> {};

} // namespace

TEST_P(PatternStamps, AreReadOnlyWhereTheyShow) {
    settings.loop = 100;
    settings.network = GetParam().network;
    int readings = 0;
    system.getMicroSecondsOfDay = [&] {
        ++readings;
        return clock;
    };
    captured([&] { run(*make(GetParam().verbose)); });

    EXPECT_EQ(readings, 1 + GetParam().readings) << "one for the start";
}

INSTANTIATE_TEST_SUITE_P(Rows, PatternStamps,
                         testing::Values(stamped_t{"socket", true, 0, 0},
                                         stamped_t{"socket_verbosity_1", true, 1, 0},
                                         stamped_t{"socket_verbosity_2", true, 2, 100},
                                         stamped_t{"device_file", false, 0, 100}),
                         [](const auto& row) { return std::string(row.param.name); });
