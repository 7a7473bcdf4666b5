// The pattern sender on a device file whose input has ended: it stays readable for ever.

#include "tests/fakes/candevicedoor.h"
#include "tests/fakes/fakesystem.h"

#include <cerrno>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// A device file that can always be read and written, with nothing left to read; a clock that stands until
/// somebody sleeps.
class InputEnd : public testing::Test {
protected:
    void script(ssize_t readResult) {
        fake.read = [readResult](int, void*, size_t) {
            errno = EIO;
            return readResult;
        };
        fake.write = [this](int, const void*, size_t n) {
            sentAt.push_back(now);
            return static_cast<ssize_t>(n);
        };
        fake.pselect = [](int, fd_set* r, fd_set* w, fd_set*, const timespec*, const sigset_t*) {
            return (r == nullptr ? 0 : 1) + (w == nullptr ? 0 : 1); // all that was asked for is ready
        };
        fake.clock_nanosleep = [this](clockid_t, int, const timespec* time, timespec*) {
            const auto micros = static_cast<std::uint64_t>(time->tv_sec) * 1000000 +
                                static_cast<std::uint64_t>(time->tv_nsec) / 1000;
            naps.push_back(micros);
            now += micros;
            return 0;
        };
        fake.getMicroSecondsOfDay = [this] { return now; };
    }

    void send(unsigned long frames, std::uint64_t gap) {
        CanDeviceDoor::settings_t settings;
        settings.fd = 7;
        settings.network = false;
        settings.loop = frames;
        settings.timegap = gap;
        fake.close = [](int) { return 0; };
        const std::unique_ptr<CanDevice> device(CanDeviceDoor::make(settings));
        EXPECT_EQ(CanDeviceDoor::sendPattern(*device), 0);
    }

    FakeSystem fake;
    std::uint64_t now = 1000;
    std::vector<std::uint64_t> sentAt;
    std::vector<std::uint64_t> naps;
};

typedef std::vector<std::uint64_t> times_t;

} // namespace

TEST_F(InputEnd, DoesNotSlowDownFramesThatAreDue) {
    script(0);
    send(50, 0);
    EXPECT_EQ(sentAt, times_t(50, 1000));
    EXPECT_EQ(naps, times_t());
}

TEST_F(InputEnd, NapsNoLongerThanUntilTheNextFrameIsDue) {
    script(0);
    send(3, 4000);
    EXPECT_EQ(sentAt, (times_t{1000, 5000, 9000}));
    EXPECT_EQ(naps, (times_t{4000, 4000}));
}

TEST_F(InputEnd, NapsTenMillisecondsAtMostWhileNothingIsDue) {
    script(0);
    send(2, 25000);
    EXPECT_EQ(sentAt, (times_t{1000, 26000}));
    EXPECT_EQ(naps, (times_t{10000, 10000, 5000}));
}

TEST_F(InputEnd, ByAFailingDeviceKeepsThePaceToo) {
    script(-1);
    testing::internal::CaptureStderr();
    send(2, 5000);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(sentAt, (times_t{1000, 6000}));
    EXPECT_EQ(naps, (times_t{5000}));
}
