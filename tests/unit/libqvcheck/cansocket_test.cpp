#include "libqvcheck/cansocket.h"
#include "tests/unit/qvtools/setupsystem.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <gmock/gmock.h>
#include <linux/can/raw.h>
#include <linux/sock_diag.h>

namespace {

// can_family 29, index 42 or 0, and nothing else; the size of the address is that of the kernel's header.
const std::string toAll(2 * (sizeof(sockaddr_can) - 8), '0');

std::string boundTo(const std::string& index) {
    return "bind(7, 1d000000" + index + toAll + ", " + std::to_string(sizeof(sockaddr_can)) + ")";
}

struct CanSocket : ::testing::Test {
    SetupSystem system;
};

} // namespace

TEST_F(CanSocket, IsConfiguredBeforeItIsBound) {
    EXPECT_EQ(openCanSocket("can1"), SetupSystem::descriptor);
    const SetupSystem::calls_t wanted = {
        "socket(29, " + std::to_string(SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK) + ", 1)",
        "setsockopt(7, 101, 5, 1, 4)",         // CAN_RAW_FD_FRAMES
        "setsockopt(7, 101, 2, 536870911, 4)", // CAN_RAW_ERR_FILTER: all classes
        "setsockopt(7, 1, " + std::to_string(SO_TIMESTAMPNS) + ", 1, 4)",
        "setsockopt(7, 1, 40, 1, 4)",       // SO_RXQ_OVFL
        "setsockopt(7, 1, 33, 8388608, 4)", // SO_RCVBUFFORCE
        "ioctl(7, 35123, \"can1\")",
        "setsockopt(7, 101, 1, -1, 8)", // CAN_RAW_FILTER, of which the record keeps the size
        boundTo("2a000000"),
    };
    EXPECT_EQ(system.calls, wanted);
}

TEST_F(CanSocket, OfAllInterfacesIsBoundToIndexZero) {
    EXPECT_EQ(openCanSocket("any"), SetupSystem::descriptor);
    EXPECT_EQ(system.calls.back(), boundTo("00000000"));
    EXPECT_EQ(system.count("ioctl"), 0U);
}

TEST_F(CanSocket, LetsEveryFramePassWhenItIsBoundAgain) {
    can_filter filter{1, 1};
    system.setsockopt = [&filter](int, int level, int option, const void* value, socklen_t size) {
        EXPECT_EQ(level, SOL_CAN_RAW);
        EXPECT_EQ(option, CAN_RAW_FILTER);
        EXPECT_EQ(size, sizeof filter);
        std::memcpy(&filter, value, sizeof filter);
        return 0;
    };
    EXPECT_EQ(bindCanSocket(7, "can1"), 0);
    EXPECT_EQ(filter.can_id, 0U);
    EXPECT_EQ(filter.can_mask, 0U);
}

TEST_F(CanSocket, OfAnOrdinaryUserTakesTheBufferThatTheSystemAllows) {
    system.setsockopt = [this](int, int, int option, const void*, socklen_t) {
        system.calls.push_back("option " + std::to_string(option));
        errno = EPERM;
        return option == SO_RCVBUFFORCE ? -1 : 0;
    };
    EXPECT_EQ(openCanSocket("can1"), SetupSystem::descriptor);
    EXPECT_THAT(system.calls, ::testing::Contains("option " + std::to_string(SO_RCVBUF)));
}

TEST_F(CanSocket, RefusesANameThatIsLongerThanTheSystemsNames) {
    EXPECT_EQ(openCanSocket("0123456789abcdef"), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(system.calls.back(), "close(7)");
    EXPECT_EQ(openCanSocket("0123456789abcde"), SetupSystem::descriptor);
}

TEST(CanSocketFault, OfAnyCallButTheForcedBufferClosesItAndKeepsTheErrorNumber) {
    std::size_t failing = 1;
    for (;; ++failing) {
        SetupSystem system(failing, EACCES);
        system.close = [&system](int) {
            system.calls.emplace_back("close");
            errno = EIO;
            return 0;
        };
        errno = 0;
        const int fd = openCanSocket("can1");
        if (failing == 6) { // SO_RCVBUFFORCE: the plain one follows
            EXPECT_EQ(fd, SetupSystem::descriptor);
            continue;
        }
        if (fd != -1) {
            break;
        }
        EXPECT_EQ(errno, EACCES) << failing;
        EXPECT_EQ(std::count(system.calls.begin(), system.calls.end(), "close"), failing == 1 ? 0 : 1)
            << failing;
    }
    EXPECT_EQ(failing, 10U) << "calls that may fail, and one";
}

TEST(CanSocketFigures, AreTheKernelsOwn) {
    FakeSystem system;
    system.getsockopt = [](int fd, int level, int option, void* value, socklen_t* size) {
        EXPECT_EQ(fd, 7);
        EXPECT_EQ(level, SOL_SOCKET);
        const std::uint32_t answer[SK_MEMINFO_VARS] = {
            option == SO_RCVBUF ? 212992U : 1U, 2, 3, 4, 5, 6, 7, 8, 1722};
        *size = std::min<socklen_t>(*size, sizeof answer);
        std::memcpy(value, answer, *size);
        return 0;
    };
    EXPECT_EQ(receiveBufferOf(7), 212992U);
    EXPECT_EQ(droppedBy(7, 5), 1722U);
}

TEST(CanSocketFigures, FallBackWhereTheKernelTellsNothing) {
    FakeSystem system;
    bool shortened = false;
    system.getsockopt = [&shortened](int, int, int, void* value, socklen_t* size) {
        std::memset(value, 0xFF, *size);
        *size = SK_MEMINFO_DROPS * sizeof(std::uint32_t); // a kernel that does not know the ninth word
        errno = ENOPROTOOPT;
        return shortened ? 0 : -1;
    };
    EXPECT_EQ(receiveBufferOf(7), 0U);
    EXPECT_EQ(droppedBy(7, 5), 5U);
    shortened = true;
    EXPECT_EQ(droppedBy(7, 5), 5U);
}
