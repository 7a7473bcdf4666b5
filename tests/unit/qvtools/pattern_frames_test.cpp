// The pattern, frame by frame as it reaches the socket, against its closed form and against bytes spelled
// out.

#include "tests/fakes/recordof.h"
#include "tests/unit/qvtools/patternsender.h"

namespace {

struct pattern_t {
    const char* name;
    canid_t canId;
    bool canFd;
    bool brs;
    unsigned long frames;
};

class PatternSenderFrames : public PatternSender, public testing::WithParamInterface<pattern_t> {};

constexpr unsigned long wrapOf11 = 0x800 + 300; // the identifiers come around, and the bytes eight times

} // namespace

TEST_P(PatternSenderFrames, AreTheClosedFormByteForByte) {
    settings.canId = GetParam().canId;
    settings.canFd = GetParam().canFd;
    settings.brs = GetParam().brs;
    settings.loop = GetParam().frames;

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(frames.size(), GetParam().frames);
    expectPattern();
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PatternSenderFrames,
    testing::Values(pattern_t{"standard", 0x123, false, false, wrapOf11},
                    pattern_t{"standard_fd", 0x123, true, false, wrapOf11},
                    pattern_t{"standard_fd_brs", 0x123, true, true, 300},
                    pattern_t{"standard_brs_alone", 0x123, false, true, 3},
                    pattern_t{"standard_zero", 0, false, false, wrapOf11},
                    pattern_t{"standard_highest", 0x7FF, false, false, wrapOf11},
                    pattern_t{"standard_with_bits_above_the_eleven", 0x1FFFFFFF, false, false, 3},
                    pattern_t{"standard_error_flag", CAN_ERR_FLAG | 0x123, false, false, 3},
                    pattern_t{"extended", CAN_EFF_FLAG | 0x12345678, false, false, 300},
                    pattern_t{"extended_fd", CAN_EFF_FLAG | 0x12345678, true, false, 300},
                    pattern_t{"extended_zero", CAN_EFF_FLAG, false, false, 300},
                    pattern_t{"extended_across_11_bits", CAN_EFF_FLAG | 0x7FE, false, false, 4},
                    pattern_t{"extended_across_29_bits", CAN_EFF_FLAG | 0x1FFFFF80, false, false, 300},
                    pattern_t{"extended_fd_across_29_bits", CAN_EFF_FLAG | 0x1FFFFF80, true, true, 300},
                    pattern_t{"remote", CAN_RTR_FLAG | 0x7FE, false, false, 4},
                    pattern_t{"remote_fd", CAN_RTR_FLAG | 0x123, true, false, 4},
                    pattern_t{"remote_extended", CAN_RTR_FLAG | CAN_EFF_FLAG | 0x1FFFFFFE, false, false, 4}),
    [](const auto& row) { return std::string(row.param.name); });

namespace {

// Identifier (little-endian), length, flags, two reserved bytes, payload: the form above, spelled out.
struct spelled_t {
    const char* name;
    canid_t canId;
    std::vector<std::string> frames;
};

class PatternSenderSpelled : public PatternSender, public testing::WithParamInterface<spelled_t> {};

} // namespace

TEST_P(PatternSenderSpelled, OutFramesAreTheseBytes) {
    settings.canId = GetParam().canId;
    settings.loop = GetParam().frames.size();
    run();

    ASSERT_EQ(frames.size(), GetParam().frames.size());
    for (std::size_t k = 0; k < frames.size(); ++k) {
        EXPECT_EQ(hexadecimal(frames[k].data(), frames[k].size()), GetParam().frames[k]) << "frame " << k;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PatternSenderSpelled,
    testing::Values(spelled_t{"an_ordinary_one",
                              0x123,
                              {"2301000008000000 0000012300010203", "2401000008000000 0000012401020304"}},
                    // The identifier wraps to 0, which is sent as 1; the counter goes on.
                    spelled_t{"the_highest_standard",
                              0x7FF,
                              {"ff07000008000000 000007ff00010203", "0100000008000000 0000080001020304",
                               "0100000008000000 0000080102030405"}},
                    spelled_t{"zero",
                              0,
                              {"0100000008000000 0000000000010203", "0100000008000000 0000000101020304",
                               "0200000008000000 0000000202030405"}},
                    spelled_t{"the_highest_extended",
                              CAN_EFF_FLAG | 0x1FFFFFFF,
                              {"ffffff9f08000000 1fffffff00010203", "0100008008000000 2000000001020304"}},
                    spelled_t{"a_remote_request",
                              CAN_RTR_FLAG | 0x123,
                              {"2301004008000000 0000000000000000", "2401004008000000 0000000000000000"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(PatternSender, CountsAcrossThe32BitsOfItsCounter) {
    // No run gets there in a test's time, so the counter is put forward behind the first frame's back.
    settings.canId = CAN_EFF_FLAG | 5;
    settings.loop = 6;
    const auto device = make();
    onWrite = [&](std::size_t n) {
        if (frames.size() == 1) {
            auto& message = const_cast<CANExtTraceMessage&>(CanDeviceTestAccess::patternMsg(*device));
            std::memcpy(message.getDataBytes(), "\xFF\xFF\xFF\xFC", 4);
        }
        return static_cast<ssize_t>(n);
    };
    EXPECT_EQ(run(*device), 0);

    ASSERT_EQ(frames.size(), 6U);
    const char* const numbers[] = {"fdffff9f08000000 fffffffd01020304", "feffff9f08000000 fffffffe02030405",
                                   "ffffff9f08000000 ffffffff03040506", "0100008008000000 0000000004050607",
                                   "0100008008000000 0000000105060708"};
    for (std::size_t k = 1; k < frames.size(); ++k) {
        EXPECT_EQ(hexadecimal(frames[k].data(), 16), numbers[k - 1]) << "frame " << k;
    }
}

TEST_F(PatternSender, FillsThePatternOfARemoteRequestAlthoughItIsNotSent) {
    settings.canId = CAN_RTR_FLAG | 0x123;
    settings.loop = 2;
    const auto device = make();
    run(*device);

    const CANExtTraceMessage& message = CanDeviceTestAccess::patternMsg(*device);
    EXPECT_EQ(message.getType(), CF_TXREQUEST);
    EXPECT_EQ(message.getNumDataBytes(), 8);
    EXPECT_EQ(hexadecimal(message.getDataBytes(), 8), "0000012502030405");
}

TEST_F(PatternSender, SendsRecordsStampedWhenTheSocketWasFoundWritable) {
    settings.network = false;
    settings.canFd = true;
    settings.canId = CAN_EFF_FLAG | 0x77;
    settings.channel = 3; // is not of the pattern
    settings.loop = 2;
    onWait = [this](const wait_t& asked) {
        clock += 7; // the socket takes its time
        return passTime(asked);
    };
    run();

    ASSERT_EQ(frames.size(), 2U);
    CANExtTraceMessage message;
    message.resetPattern(settings.canId, true);
    for (std::size_t k = 0; k < 2; ++k) {
        message.setTimeStamp(1007 + 7 * k);
        EXPECT_EQ(difference(frames[k], recordText(message)), "");
        message.mutatePattern();
    }
}
