// Which mode a device's thread runs, and the mode that is left over: just reading.

#include "tests/fakes/captured.h"
#include "tests/fakes/lockprobe.h"
#include "tests/unit/qvtools/recordfile.h"

#include <cerrno>
#include <iostream>
#include <memory>
#include <string>

namespace {

const char* const readingLine = "nothing to send, just reading ...\n";

/// The four conditions of the dispatch, as bits.
enum condition_t { RECEIVE = 1, ANSWER = 2, PATTERN = 4, SEND = 8 };

class CanDeviceDispatch : public ScriptedDevice, public testing::WithParamInterface<int> {
protected:
    CanDeviceDispatch() {
        system.read = [this](int, void*, std::size_t) -> ssize_t {
            ++reads;
            throw leave_t();
        };
        system.pselect = [this](int, fd_set*, fd_set*, fd_set*, const timespec*, const sigset_t*) -> int {
            ++waits;
            throw leave_t();
        };
    }

    /// The mode that ran, told by the first thing it did.
    std::string modeOf(CanDevice& device) {
        bool left = false;
        const Captured text = captured([&] {
            try {
                CanDeviceTestAccess::threadCode(device);
            } catch (const leave_t&) {
                left = true;
            }
        });
        if (text.err == "Cannot open /no/folder/in: No such file or directory\n") {
            return "receive";
        }
        if (text.err == "Cannot open /no/folder/out: No such file or directory\n") {
            return "send";
        }
        if (left && waits == 1 && reads == 0) {
            return "pattern";
        }
        if (left && reads == 1 && text.err.empty()) {
            return text.out == readingLine ? "reading" : text.out.empty() ? "answer" : text.out;
        }
        return "unknown: " + text.out + text.err;
    }

    void set(int conditions) {
        settings.readFileName = (conditions & RECEIVE) != 0 ? "/no/folder/in" : "";
        settings.answer = (conditions & ANSWER) != 0 ? CanDevice::A_YES : CanDevice::A_NO;
        settings.pattern = (conditions & PATTERN) != 0;
        settings.sendFileName = (conditions & SEND) != 0 ? "/no/folder/out" : "";
    }

    int reads = 0;
    int waits = 0;
};

std::string nameOf(int conditions) {
    std::string name;
    name += (conditions & RECEIVE) != 0 ? "receive_" : "";
    name += (conditions & ANSWER) != 0 ? "answer_" : "";
    name += (conditions & PATTERN) != 0 ? "pattern_" : "";
    name += (conditions & SEND) != 0 ? "send_" : "";
    return name.empty() ? "nothing" : name.substr(0, name.size() - 1);
}

} // namespace

TEST_P(CanDeviceDispatch, TakesTheFirstOfReceiveAnswerPatternSendAndElseReads) {
    set(GetParam());
    const std::unique_ptr<CanDevice> device(CanDeviceTestAccess::makeWithFiles(settings));
    const std::string conditions = nameOf(GetParam());

    EXPECT_EQ(modeOf(*device),
              conditions == "nothing" ? "reading" : conditions.substr(0, conditions.find('_')));
}

TEST_P(CanDeviceDispatch, NeverTakesAFileModeForADeviceOfTheCommandLine) {
    set(GetParam());
    const std::unique_ptr<CanDevice> device = make();
    const std::string awake = nameOf(GetParam() & (ANSWER | PATTERN));

    EXPECT_EQ(modeOf(*device), awake == "nothing" ? "reading" : awake.substr(0, awake.find('_')));
}

INSTANTIATE_TEST_SUITE_P(Conditions, CanDeviceDispatch, testing::Range(0, 16),
                         [](const auto& row) { return nameOf(row.param); });

namespace {

class JustReading : public ScriptedDevice {
protected:
    Captured run(CanDevice& device) {
        return captured([&] { EXPECT_THROW(CanDeviceTestAccess::threadCode(device), leave_t); });
    }
};

} // namespace

TEST_F(JustReading, GoesOnAfterFailedAndShortReadsAndDeletesWhatItGets) {
    int reads = 0;
    system.read = [&reads](int, void* to, std::size_t n) -> ssize_t {
        std::memset(to, 0, n);
        errno = ENETDOWN;
        switch (++reads) {
        case 1: return -1;
        case 2: return 16;
        case 3:
        case 4: return 72;
        default: throw leave_t();
        }
    };
    const auto device = make(3);
    const std::ptrdiff_t before = allocations::live();
    {
        const Captured text = run(*device);

        EXPECT_EQ(text.out, readingLine) << "nothing else, at any verbosity";
        EXPECT_EQ(text.err, "read error: Network is down\nread: incomplete CAN frame\n");
    }
    EXPECT_EQ(reads, 5);
    EXPECT_EQ(allocations::live(), before) << "the frames are deleted";
}

TEST_F(JustReading, WritesItsLineWithoutTheLogLock) {
    system.read = [](int, void*, std::size_t) -> ssize_t { throw leave_t(); };
    const auto device = make();
    const LockProbe probe(std::cout);
    EXPECT_THROW(CanDeviceTestAccess::threadCode(*device), leave_t);

    ASSERT_EQ(probe.pieces.size(), 1U);
    EXPECT_EQ(probe.pieces.front().text, readingLine);
    EXPECT_FALSE(probe.pieces.front().locks.log || probe.pieces.front().locks.device);
    EXPECT_GE(probe.flushes, 1U);
}

TEST_F(JustReading, OfADeviceFilePassesOverWhatIsNoFrame) {
    settings.network = false;
    int reads = 0;
    system.clock_nanosleep = [](clockid_t, int, const timespec*, timespec*) { return 0; };
    system.read = [&reads](int, void* to, std::size_t) -> ssize_t {
        const std::string bytes = frameRecord(1) + classicRecord(2) + frameRecord(3);
        std::memcpy(to, bytes.data(), bytes.size());
        switch (++reads) {
        case 1: return static_cast<ssize_t>(bytes.size());
        case 2: return 0;
        default: throw leave_t();
        }
    };
    const auto device = make();
    const Captured text = run(*device);

    EXPECT_EQ(text.out, readingLine);
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(reads, 3);
}
