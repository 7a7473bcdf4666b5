// Error injection: which frames are corrupted, where, and that the pattern itself never is.

#include "tests/unit/qvtools/patternsender.h"

namespace {

struct injection_t {
    const char* name;
    std::uint32_t errnum;
    bool canFd;
    unsigned long loop;
    std::vector<int> hit; ///< the payload byte of each frame; -1: none
};

/// Every `n`-th of `count` frames, at bytes 0 to `bound` - 1 in turn.
std::vector<int> walk(std::size_t count, std::size_t n, int bound) {
    std::vector<int> list;
    int next = 0;
    for (std::size_t k = 1; k <= count; ++k) {
        list.push_back(k % n == 0 ? next++ % bound : -1);
    }
    return list;
}

class PatternInjection : public PatternSender, public testing::WithParamInterface<injection_t> {};

} // namespace

TEST_P(PatternInjection, InvertsOneByteOfExactlyTheStatedFrames) {
    settings.canId = 0x7E5;
    settings.errnum = GetParam().errnum;
    settings.canFd = GetParam().canFd;
    settings.loop = GetParam().loop;

    EXPECT_EQ(run(), 0);

    ASSERT_EQ(frames.size(), GetParam().hit.size());
    for (std::size_t k = 0; k < frames.size(); ++k) {
        std::string corrupted = expected(k);
        if (GetParam().hit[k] >= 0) {
            char& byte = corrupted[8 + static_cast<std::size_t>(GetParam().hit[k])];
            byte = static_cast<char>(~byte);
        }
        EXPECT_EQ(difference(frames[k], corrupted), "") << "frame " << k;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PatternInjection,
    testing::Values(
        injection_t{"off", 0, false, 20, std::vector<int>(20, -1)},
        injection_t{"every_frame", 1, false, 10, {0, 1, 2, 3, 4, 5, 6, 7, 0, 1}},
        injection_t{"every_frame_for_long", 1, false, 300, walk(300, 1, 8)},
        // The bound is the length code of 64 bytes, which is 15.
        injection_t{"every_fd_frame", 1, true, 17, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0, 1}},
        injection_t{"every_fd_frame_for_long", 1, true, 300, walk(300, 1, 15)},
        injection_t{"every_second_frame", 2, false, 6, {-1, 0, -1, 1, -1, 2}},
        injection_t{"every_third_frame", 3, false, 10, {-1, -1, 0, -1, -1, 1, -1, -1, 2, -1}},
        injection_t{"every_third_fd_frame", 3, true, 60, walk(60, 3, 15)},
        injection_t{"the_last_frame", 5, false, 5, {-1, -1, -1, -1, 0}},
        injection_t{"beyond_the_last_frame", 6, false, 5, {-1, -1, -1, -1, -1}},
        injection_t{"as_rarely_as_possible", 0xFFFFFFFF, false, 5, {-1, -1, -1, -1, -1}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(PatternSender, NamesThePlaceOfAnInjectedErrorFromVerbosityTwoOn) {
    settings.loop = 4;
    settings.errnum = 2;
    const std::string prefix = "[DEBUG] BZ::sendPattern() injected error at payload[";
    for (unsigned short verbose = 1; verbose <= 3; ++verbose) {
        settings.verbose = verbose;
        const Captured text = captured([&] { run(); });
        std::string seen;
        for (std::size_t at = text.out.find(prefix); at != std::string::npos;
             at = text.out.find(prefix, at + 1)) {
            seen += text.out.substr(at, text.out.find('\n', at) + 1 - at);
        }

        EXPECT_EQ(seen, verbose < 2 ? "" : prefix + "0]\n" + prefix + "1]\n");
    }
}

TEST_F(PatternSender, CountsACorruptedFrameThatCouldNotBeWritten) {
    settings.loop = 4;
    settings.errnum = 1;
    onWrite = [](std::size_t) -> ssize_t {
        errno = ENOBUFS;
        return -1;
    };
    captured([&] { run(); });

    ASSERT_EQ(frames.size(), 4U);
    for (std::size_t k = 0; k < 4; ++k) {
        EXPECT_EQ(frames[k][8 + k], static_cast<char>(~expected(k)[8 + k])) << "frame " << k;
    }
}

TEST_F(PatternSender, KeepsItsMessageSoundWhateverIsInjected) {
    settings.loop = 8;
    settings.errnum = 1;
    settings.canId = 0x123;
    const auto device = make();
    run(*device);

    const CANExtTraceMessage& message = CanDeviceTestAccess::patternMsg(*device);
    EXPECT_EQ(hexadecimal(message.getDataBytes(), 8), "0000012b08090a0b");
}

TEST_F(PatternSender, SendsARemoteRequestAloneAlthoughAnErrorIsInjected) {
    settings.loop = 8;
    settings.errnum = 1;
    settings.canId = CAN_RTR_FLAG | 0x123;
    run();

    ASSERT_EQ(frames.size(), 8U);
    expectPattern(); // the payload in which the error is does not go out
}
