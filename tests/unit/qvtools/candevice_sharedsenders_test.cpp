// Pattern senders on one descriptor. A frame that arrives makes it readable for all of their waits, and only
// one of them gets it: the others must not be held up in a read.

#include "tests/fakes/pieces.h"
#include "tests/unit/qvtools/patternsender.h"
#include "tests/unit/qvtools/recordfile.h"

#include <atomic>
#include <iostream>
#include <stdexcept>
#include <thread>

#include <sys/socket.h>

namespace {

class SharedSenders : public PatternSender {
protected:
    SharedSenders() {
        onWait = [](const wait_t&) { return outcome_t{true, true, 0}; };
    }
};

} // namespace

TEST_F(SharedSenders, DoNotWaitForAFrameThatAnotherHasTakenSinceTheWait) {
    settings.loop = 3;
    settings.verbose = 2;
    onRead = [this](void* to) -> ssize_t {
        if (reads == 2) {
            std::memset(to, 0, 72);
            return 72;
        }
        errno = reads % 2 == 0 ? EAGAIN : EWOULDBLOCK;
        return -1;
    };
    const auto one = make();
    const auto other = make();
    const Captured text = captured([&] {
        EXPECT_EQ(run(*one), 0);
        EXPECT_EQ(run(*other), 0);
    });

    EXPECT_EQ(reads, 6) << "both were told that the descriptor is readable";
    EXPECT_EQ(frames.size(), 6U);
    EXPECT_NE(text.out.find("discard: "), std::string::npos);
    EXPECT_EQ(text.out.find("discard: "), text.out.rfind("discard: "));
    EXPECT_EQ(text.err, "") << "nothing there is no error";
}

TEST_F(SharedSenders, GoOnWhileOneOfThemCannotWriteItsErrorLine) {
    const auto one = make();
    const auto other = make();
    onRead = [](void*) { return ssize_t{16}; };
    Pieces err(std::cerr);
    int result = -1;
    err.onPiece = [&] {
        if (reads == 1) {
            std::thread([&] { result = run(*other); }).join();
        }
    };
    run(*one);

    EXPECT_EQ(result, 0);
    EXPECT_EQ(frames.size(), 2U);
}

TEST_F(SharedSenders, OfRecordsTakeAFailedSecondLookForNoRecord) {
    settings.network = false;
    onSecondLook = [] {
        errno = ENOMEM;
        return -1;
    };
    const Captured text = captured([&] { EXPECT_EQ(run(), 0); });

    EXPECT_EQ(reads, 0);
    EXPECT_EQ(frames.size(), 1U);
    EXPECT_EQ(text.out + text.err, "");
}

TEST_F(SharedSenders, OfRecordsLookAgainBeforeTheyReadTheDeviceFile) {
    settings.network = false;
    settings.loop = 2;
    settings.verbose = 2;
    onSecondLook = [] { return 0; };
    const Captured text = captured([&] { EXPECT_EQ(run(), 0); });

    EXPECT_EQ(secondLooks, 2);
    EXPECT_EQ(reads, 0);
    EXPECT_EQ(frames.size(), 2U);
    EXPECT_EQ(text.out.find("readCAN"), std::string::npos) << "nothing is printed for it";
}

TEST_F(SharedSenders, DiscardARecordThatIsBufferedAlreadyWithoutALook) {
    settings.network = false;
    settings.loop = 3;
    const auto device = make();
    const std::string records = frameRecord(1) + frameRecord(2) + frameRecord(3);
    system.read = [&](int, void* to, std::size_t) {
        ++reads;
        std::memcpy(to, records.data(), records.size());
        return static_cast<ssize_t>(records.size());
    };
    EXPECT_EQ(run(*device), 0);

    EXPECT_EQ(reads, 1);
    EXPECT_EQ(secondLooks, 1);
}

TEST_F(SharedSenders, HoldNeitherLockWhileTheyReadAndLetOthersSendMeanwhile) {
    const auto one = make();
    const auto other = make();
    onRead = [&](void* to) -> ssize_t {
        std::memset(to, 0, 72);
        EXPECT_FALSE(locks_t::now().device || locks_t::now().log);
        std::thread([&] { CanDeviceTestAccess::sendCAN(*other, CANExtTraceMessage()); }).join();
        return 72;
    };
    run(*one);

    EXPECT_EQ(frames.size(), 2U);
}

TEST_F(SharedSenders, LetOthersReadWhileTheySend) {
    const auto one = make();
    const auto other = make();
    int readInBetween = 0;
    onWrite = [&](std::size_t n) {
        if (frames.size() == 1) {
            std::thread([&] { run(*other); }).join();
            readInBetween = reads;
        }
        return static_cast<ssize_t>(n);
    };
    // The class lock is held around a write, so the other sender's frame must not be due.
    onWait = [this](const wait_t&) {
        return frames.empty() ? outcome_t{true, true, 0}
               : reads < 2    ? outcome_t{true, false, 0}
                              : outcome_t{false, false, EBADF};
    };
    captured([&] { run(*one); });

    EXPECT_EQ(readInBetween, 2);
}

TEST_F(SharedSenders, OfRecordsGiveTheTurnBackWhenAnExceptionLeavesTheRead) {
    // A turn that is kept would stop the second run.
    settings.network = false;
    system.clock_nanosleep = [](clockid_t, int, const timespec*, timespec*) { return 0; };
    bool thrown = false;
    const auto leaveOnce = [&thrown] {
        if (!thrown) {
            thrown = true;
            throw std::runtime_error("left");
        }
    };
    system.read = [&](int, void*, std::size_t) -> ssize_t {
        leaveOnce();
        errno = EIO;
        return -1;
    };
    const auto device = make();
    captured([&] {
        EXPECT_THROW(run(*device), std::runtime_error);
        std::thread([&] { EXPECT_EQ(run(*device), 0); }).join();
        thrown = false;
        onSecondLook = [&]() -> int {
            leaveOnce();
            return 1;
        };
        EXPECT_THROW(run(*device), std::runtime_error);
        std::thread([&] { EXPECT_EQ(run(*device), 0); }).join();
    });
    EXPECT_EQ(frames.size(), 2U);
}

namespace {

struct shared_t {
    const char* name;
    int kind;
    bool network;
};

/// Senders on one end of a real socket pair, which stands for a CAN socket or for a device file; a peer takes
/// their frames on the other and sends one for every few.
class SharedSocket : public testing::TestWithParam<shared_t> {
protected:
    static constexpr unsigned long framesEach = 500;
    static constexpr std::size_t senders = 4;

    SharedSocket() {
        EXPECT_EQ(socketpair(AF_UNIX, GetParam().kind, 0, sockets), 0);
        const int shared = sockets[0];
        system.close = [shared](int fd) {
            // Each device closes the shared number; only the test's own close may take it away.
            return fd == shared ? 0 : static_cast<int>(syscall(SYS_close, fd));
        };
        system.read = [this](int fd, void* to, std::size_t n) { return readInTurn(fd, to, n); };
        system.recv = [this](int fd, void* to, std::size_t n, int flags) {
            heldUp += (flags & MSG_DONTWAIT) == 0 ? 1 : 0;
            return recvfrom(fd, to, n, flags, nullptr, nullptr);
        };
    }
    ~SharedSocket() override {
        syscall(SYS_close, sockets[0]);
        syscall(SYS_close, sockets[1]);
    }

    /// A read that would block stops its sender until another frame comes: it is counted instead.
    ssize_t readInTurn(int fd, void* to, std::size_t n) {
        EXPECT_FALSE(GetParam().network);
        EXPECT_EQ(++readers, 1) << "one reads at a time";
        for (int i = 0; i < 20; ++i) {
            std::this_thread::yield(); // a sender that does not wait for its turn comes in here
        }
        const ssize_t result = recvfrom(fd, to, n, MSG_DONTWAIT, nullptr, nullptr);
        const bool blocks = result == -1 && (errno == EAGAIN || errno == EWOULDBLOCK);
        heldUp += blocks ? 1 : 0;
        --readers;
        return result;
    }

    void bePeer() {
        const std::string question =
            GetParam().network ? patternFrame(0x321, true, false, 0) : frameRecord(0x321);
        const std::size_t frameSize = GetParam().network ? 72 : frameRecord(0x321).size() - 3 + 64;
        std::string frame(frameSize, '\0');
        for (std::size_t n = 1; n <= senders * framesEach; ++n) {
            const ssize_t got = recvfrom(sockets[1], &frame[0], frameSize, MSG_TRUNC, nullptr, nullptr);
            received += got == static_cast<ssize_t>(frameSize) ? 1U : 0U;
            if (n % 3 == 0 && ::send(sockets[1], question.data(), question.size(), MSG_DONTWAIT) > 0) {
                ++sent;
            }
        }
    }

    FakeSystem system;
    int sockets[2] = {-1, -1};
    std::atomic<int> readers{0};
    std::atomic<int> heldUp{0};
    std::size_t received = 0;
    std::size_t sent = 0;
};

} // namespace

TEST_P(SharedSocket, NeverHoldsASenderUpAndAllOfThemEnd) {
    CanDeviceTestAccess::settings_t settings;
    settings.fd = sockets[0];
    settings.network = GetParam().network;
    settings.pattern = true;
    settings.canFd = true;
    settings.loop = framesEach;
    CanDevice::devices_t devices;
    for (std::size_t i = 0; i < senders; ++i) {
        settings.canId = static_cast<canid_t>(0x100 * (i + 1));
        devices.emplace_back(CanDeviceTestAccess::make(settings));
    }
    std::thread peer([this] { bePeer(); });
    const Captured text = captured([&] {
        CanDevice::start(devices);
        CanDevice::join(devices);
    });
    peer.join();

    EXPECT_EQ(heldUp, 0);
    EXPECT_EQ(received, senders * framesEach);
    EXPECT_GT(sent, 0U);
    EXPECT_EQ(text.out + text.err, "");
}

INSTANTIATE_TEST_SUITE_P(Kinds, SharedSocket,
                         testing::Values(shared_t{"seqpacket", SOCK_SEQPACKET, true},
                                         shared_t{"datagram", SOCK_DGRAM, true},
                                         shared_t{"records", SOCK_SEQPACKET, false}),
                         [](const auto& row) { return std::string(row.param.name); });
