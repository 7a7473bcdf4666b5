// The pattern sender on a device file whose input has ended: it stays readable.

#include "tests/fakes/candevicetestaccess.h"
#include "tests/fakes/captured.h"
#include "tests/fakes/fakesystem.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// A device file whose read ends or fails and never blocks, and a clock that stands until something waits.
class InputEnd : public testing::Test {
protected:
    InputEnd() {
        fake.read = [this](int, void*, size_t) {
            readAt.push_back(now);
            errno = ENXIO;
            return readResult;
        };
        fake.recv = [this](int, void*, size_t, int) {
            readAt.push_back(now);
            errno = ENXIO;
            return ssize_t{-1};
        };
        fake.write = [this](int, const void*, size_t n) {
            sentAt.push_back(now);
            errno = EIO;
            return writable ? static_cast<ssize_t>(n) : -1;
        };
        fake.pselect = [this](int, fd_set* r, fd_set* w, fd_set*, const timespec* timeout, const sigset_t*) {
            return wait(*r, w, timeout);
        };
        fake.clock_nanosleep = [this](clockid_t, int, const timespec* time, timespec*) {
            pass(*time, false);
            return 0;
        };
        fake.getMicroSecondsOfDay = [this] { return now; };
        fake.close = [](int) { return 0; };
        settings.fd = 7;
        settings.network = false;
    }

    int wait(fd_set& r, fd_set* w, const timespec* timeout) {
        ++waits;
        const bool writing = w != nullptr && FD_ISSET(7, w);
        if (writing && now < takesFrom) {
            FD_CLR(7, w);
        }
        const int ready = (FD_ISSET(7, &r) ? 1 : 0) + (w != nullptr && FD_ISSET(7, w) ? 1 : 0);
        if (ready == 0 && timeout != nullptr) {
            pass(*timeout, writing);
        }
        return ready;
    }

    void pass(const timespec& time, bool writing) {
        const std::uint64_t before = now;
        now += static_cast<std::uint64_t>(time.tv_sec) * 1000000 +
               static_cast<std::uint64_t>(time.tv_nsec) / 1000;
        if (writing && before < takesFrom && takesFrom < now) {
            now = takesFrom; // the wait for writing ends
        }
    }

    Captured send(unsigned long frames, std::uint64_t gap) {
        settings.loop = frames;
        settings.timegap = gap;
        const std::unique_ptr<CanDevice> device(CanDeviceTestAccess::make(settings));
        return captured([&] { EXPECT_EQ(CanDeviceTestAccess::sendPattern(*device), 0); });
    }

    FakeSystem fake;
    CanDeviceTestAccess::settings_t settings;
    ssize_t readResult = 0;
    bool writable = true;
    std::uint64_t takesFrom = 0; ///< before, the device cannot be written
    std::uint64_t now = 1000;
    std::size_t waits = 0;
    std::vector<std::uint64_t> sentAt;
    std::vector<std::uint64_t> readAt;
};

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

typedef std::vector<std::uint64_t> times_t;

} // namespace

TEST_F(InputEnd, DelaysNoFrameThatIsDue) {
    send(50, 0);
    EXPECT_EQ(sentAt, times_t(50, 1000));
    EXPECT_EQ(readAt, times_t(2, 1000)) << "tried again once, not with each frame";
}

TEST_F(InputEnd, KeepsEveryFramesTimeAndReadsAgainEveryEightyMilliseconds) {
    send(30, 4000);
    times_t due;
    for (std::uint64_t k = 0; k < 30; ++k) {
        due.push_back(1000 + 4000 * k);
    }
    EXPECT_EQ(sentAt, due);
    EXPECT_EQ(readAt, (times_t{1000, 1000, 81000}));
    EXPECT_LT(waits, 100U);
}

TEST_F(InputEnd, WakesToReadAgainWhileNothingIsDue) {
    send(2, 125000);
    EXPECT_EQ(sentAt, (times_t{1000, 126000}));
    EXPECT_EQ(readAt, (times_t{1000, 1000, 81000}));
    EXPECT_LT(waits, 20U);
}

TEST_F(InputEnd, SendsAFrameThatIsDueAsSoonAsTheDeviceTakesIt) {
    takesFrom = 31234;
    send(1, 0);
    EXPECT_EQ(sentAt, times_t{31234});
    EXPECT_LT(waits, 10U);
}

TEST_F(InputEnd, ByAHangUpTriesTwelveTimesASecondWithoutAGap) {
    writable = false;
    const Captured text = send(100, 0);
    EXPECT_GE(now, 1000U + 96 * 80000U);
    EXPECT_EQ(text.err.find("write error: Input/output error\n"), 0U);
    EXPECT_EQ(lineCount(text.err), 100U);
    EXPECT_LT(waits, 500U);
}

TEST_F(InputEnd, ByAHangUpPrintsAtMost200LinesASecondHoweverVerbose) {
    for (const bool fd : {false, true}) {
        for (const std::uint64_t gap : {0U, 1000U, 10000U}) {
            writable = false;
            settings.verbose = 3;
            settings.canFd = fd;
            const std::uint64_t start = now;
            const Captured text = send(500, gap);
            const std::uint64_t seconds = (now - start + 999999) / 1000000;
            EXPECT_GT(lineCount(text.out), 100U);
            EXPECT_LE(lineCount(text.out) + lineCount(text.err), 200 * seconds) << fd << ' ' << gap;
        }
    }
}

TEST_F(InputEnd, ByAReadThatFailsForGoodPrintsThirteenLinesASecond) {
    readResult = -1;
    const Captured text = send(1000, 1000);
    EXPECT_EQ(sentAt.back(), 1000U + 999 * 1000U) << "no frame is late";
    EXPECT_EQ(text.err.find("[ERROR] BZ::readCAN() buffer read: No such device or address\n"), 0U);
    EXPECT_LE(lineCount(text.err), 14U);
}

TEST_F(InputEnd, OfASocketThatFailsForGoodIsTriedTwelveTimesASecondToo) {
    settings.network = true;
    const Captured text = send(1000, 1000);
    EXPECT_EQ(sentAt.back(), 1000U + 999 * 1000U);
    EXPECT_EQ(text.err.find("read error: No such device or address\n"), 0U);
    EXPECT_LE(lineCount(text.err), 14U);
}

TEST_F(InputEnd, OfAReadingLoopIsTriedTwelveTimesASecondForAllDevicesTogether) {
    for (const bool network : {false, true}) {
        settings.network = network;
        const std::unique_ptr<CanDevice> device(CanDeviceTestAccess::make(settings));
        const std::unique_ptr<CanDevice> other(CanDeviceTestAccess::make(settings));
        readAt.clear();
        readResult = -1;
        const std::uint64_t start = now;
        const auto leave = fake.read;
        fake.read = [&](int fd, void* to, size_t n) {
            if (readAt.size() == 12) {
                throw leave_t();
            }
            return leave(fd, to, n);
        };
        captured([&] { EXPECT_THROW(CanDeviceTestAccess::threadCode(*device), leave_t); });
        fake.read = leave;
        times_t expected{start};
        for (std::uint64_t k = 0; k < 11; ++k) {
            expected.push_back(start + k * 160000);
        }
        EXPECT_EQ(readAt, expected) << "160 ms apart for each of two";
    }
}
