// The set-up of the socket, call by call, as the kernel sees it.

#include "tests/fakes/candevicetestaccess.h"
#include "tests/fakes/lockprobe.h"
#include "tests/unit/qvtools/parsecall.h"

#include <cerrno>
#include <iostream>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <linux/can.h>
#include <linux/can/raw.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

// The numbers in the recorded calls below, held against the kernel's headers.
static_assert(PF_CAN == 29 && AF_CAN == 29 && SOCK_RAW == 3 && CAN_RAW == 1, "socket(29, 3, 1)");
static_assert(SIOCGIFINDEX == 0x8933, "ioctl(7, 35123, ...)");
static_assert(SOL_CAN_RAW == 101 && CAN_RAW_LOOPBACK == 3 && CAN_RAW_FD_FRAMES == 5,
              "setsockopt(7, 101, ...)");

typedef SetupSystem::calls_t calls_t;

const char* const openSocket = "socket(29, 3, 1)";
const char* const findInterface = "ioctl(7, 35123, \"can0\")";
const char* const loopbackOff = "setsockopt(7, 101, 3, 0, 4)";
const char* const fdFramesOn = "setsockopt(7, 101, 5, 1, 4)";
// Family 29 and interface index 42, both in host order (little-endian here and on the target); all else zero.
const char* const bindSocket = "bind(7, 1d0000002a0000000000000000000000, 16)";

std::string tooLong(const std::string& name) {
    return "device name \"" + name + "\" too long\n";
}

} // namespace

TEST(SocketSetUp, MakesFourCallsAndNoneOfThemAboutFd) {
    const setup_t result = ParseCall{{}}.run();

    EXPECT_EQ(result.calls, calls_t({setLocale, openSocket, findInterface, loopbackOff, bindSocket}));
    EXPECT_EQ(result.text.out + result.text.err, "");
    EXPECT_EQ(result.devices, 1U);
}

TEST(SocketSetUp, MakesTheSameFourCallsForEveryOptionThatIsNotAboutFd) {
    const setup_t result = ParseCall{
        {"-apyv", "-l", "3", "-c", "2", "-i", "0x80000001", "-t", "1m", "-j", "1u", "-e", "2", "-r", "in",
         "-s", "out"}}.run();

    EXPECT_EQ(result.calls, calls_t({setLocale, openSocket, findInterface, loopbackOff, bindSocket}));
    EXPECT_EQ(result.text.out + result.text.err, "");
}

class SocketSetUpWithFd : public testing::TestWithParam<const char*> {};

TEST_P(SocketSetUpWithFd, EnablesFdFramesBetweenLoopbackAndBindAndSaysSoAtAnyVerbosity) {
    const setup_t result = ParseCall{{GetParam()}}.run();

    EXPECT_EQ(result.calls,
              calls_t({setLocale, openSocket, findInterface, loopbackOff, fdFramesOn, bindSocket}));
    EXPECT_EQ(result.text.out, "enabled CAN_RAW_FD_FRAMES\n");
    EXPECT_EQ(result.text.err, "");
    EXPECT_EQ(result.devices, 1U);
}

INSTANTIATE_TEST_SUITE_P(Options, SocketSetUpWithFd, testing::Values("-f", "-b", "-fb", "-vf"),
                         [](const auto& row) { return std::string(row.param + 1); });

namespace {

struct failure_t {
    const char* name;
    std::size_t call; ///< which of the five calls that may fail does
    int errnum;
    const char* out;
    const char* err;
    std::size_t devices;
    friend void PrintTo(const failure_t& row, std::ostream* out) { *out << row.name; }
};

} // namespace

/// Each call in turn fails. What follows is either everything (not fatal) or nothing; never the same call
/// again, and never a close: the socket stays open until the process ends.
class SocketSetUpFailure : public testing::TestWithParam<failure_t> {};

TEST_P(SocketSetUpFailure, PrintsOneBareLineAndRetriesAndClosesNothing) {
    const failure_t& row = GetParam();
    const calls_t all{setLocale, openSocket, findInterface, loopbackOff, fdFramesOn, bindSocket};
    const bool fatal = row.devices == 0;
    const auto made = static_cast<calls_t::difference_type>(fatal ? row.call + 1 : all.size());

    const setup_t result = ParseCall{{"-f", "-i", "1", "-i", "2"}, true, row.call, row.errnum}.run();

    EXPECT_EQ(result.text.out, row.out);
    EXPECT_EQ(result.text.err, row.err);
    EXPECT_EQ(result.devices, row.devices);
    EXPECT_EQ(result.calls, calls_t(all.begin(), all.begin() + made));
}

const char* const enabled = "enabled CAN_RAW_FD_FRAMES\n";

INSTANTIATE_TEST_SUITE_P(
    Calls, SocketSetUpFailure,
    testing::Values(failure_t{"socket", 1, EAFNOSUPPORT, "",
                              "error creating socket: Address family not supported by protocol\n", 0},
                    failure_t{"ioctl", 2, ENODEV, "", "ioctl error can0: No such device\n", 0},
                    failure_t{"loopback", 3, EINVAL, enabled, "cannot disable loopback: Invalid argument\n",
                              2},
                    failure_t{"fd_frames", 4, ENOPROTOOPT, "",
                              "cannot enable CAN_RAW_FD_FRAMES: Protocol not available\n", 2},
                    failure_t{"bind", 5, ENETDOWN, enabled, "bind error: Network is down\n", 0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(SocketSetUp, DevicesStillSendFdFramesWhereTheKernelRefusesThem) {
    Arguments arguments({"-f"});
    captured([&] {
        const SetupSystem system(4, ENOPROTOOPT);
        const auto devices = CanDevice::parse(arguments.count(), arguments.vector(), "can0", true);
        ASSERT_EQ(devices.size(), 1U);
        EXPECT_TRUE(CanDeviceTestAccess::settingsOf(*devices.front()).canFd);
    });
}

TEST(SocketSetUp, AnyResultOfAnOptionButZeroIsAFailure) {
    const setup_t result = ParseCall{
        {"-f"}, true, 0, 0, [](SetupSystem& system) {
            system.setsockopt = [](int, int, int, const void*, socklen_t) {
                errno = EPERM;
                return 1;
            };
        }}.run();

    EXPECT_EQ(result.text.out, "");
    EXPECT_EQ(result.text.err, "cannot disable loopback: Operation not permitted\n"
                               "cannot enable CAN_RAW_FD_FRAMES: Operation not permitted\n");
    EXPECT_EQ(result.devices, 1U);
}

namespace {

struct name_t {
    const char* name;
    std::string device;
    bool fits;
    friend void PrintTo(const name_t& row, std::ostream* out) { *out << row.name; }
};

} // namespace

class SocketSetUpName : public testing::TestWithParam<name_t> {};

TEST_P(SocketSetUpName, OfUpToFifteenBytesReachesTheKernel) {
    const name_t& row = GetParam();
    const setup_t result = ParseCall{{"-d", row.device}}.run();

    if (row.fits) {
        EXPECT_EQ(result.text.err, "");
        ASSERT_EQ(result.calls.size(), 5U);
        EXPECT_EQ(result.calls.at(2), "ioctl(7, 35123, \"" + row.device + "\")");
    } else {
        EXPECT_EQ(result.text.err, tooLong(row.device));
        EXPECT_EQ(result.calls, calls_t({setLocale, openSocket})) << "the socket is not closed";
    }
    EXPECT_EQ(result.devices, row.fits ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(Lengths, SocketSetUpName,
                         testing::Values(name_t{"empty", "", true}, name_t{"one_character", "c", true},
                                         name_t{"fifteen_characters", "can-interface-0", true},
                                         name_t{"sixteen_characters", "can-interface-01", false},
                                         name_t{"seventeen_characters", "can-interface-012", false},
                                         name_t{"very_long", std::string(5000, 'c'), false}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(SocketSetUp, BreaksTheErrorStreamWhenTheInterfaceHasNoName) {
    const setup_t result = ParseCall{{}, true, 2, ENODEV, [](SetupSystem&) {}, nullptr}.run();

    EXPECT_EQ(result.text.err, "ioctl error ");
    EXPECT_FALSE(result.text.errGood);
    EXPECT_EQ(result.devices, 0U);
}

namespace {

typedef std::vector<std::string> texts_t;

struct lines_t {
    const char* name;
    bool network;
    std::size_t call; ///< which of the calls fails
    const char* device;
    texts_t out;
    texts_t err;
    friend void PrintTo(const lines_t& row, std::ostream* out) { *out << row.name; }
};

class SetUpLines : public testing::TestWithParam<lines_t> {};

/// What was written; each of it has to be without a lock, and flushed.
texts_t bareLinesOf(const LockProbe& probe) {
    texts_t texts;
    for (const LockProbe::piece_t& piece : probe.pieces) {
        EXPECT_FALSE(piece.locks.log || piece.locks.device) << piece.text;
        texts.push_back(piece.text);
    }
    EXPECT_GE(probe.flushes, texts.size());
    return texts;
}

} // namespace

TEST_P(SetUpLines, AreEachOneInsertionWithoutALockAndFlushed) {
    Arguments arguments({"-f"});
    const SetupSystem system(GetParam().call, EPERM);
    const LockProbe out(std::cout);
    const LockProbe err(std::cerr);
    CanDevice::parse(arguments.count(), arguments.vector(), GetParam().device, GetParam().network);

    EXPECT_EQ(bareLinesOf(out), GetParam().out);
    EXPECT_EQ(bareLinesOf(err), GetParam().err);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, SetUpLines,
    testing::Values(
        lines_t{"none", true, 0, "can0", {enabled}, {}},
        lines_t{"socket", true, 1, "can0", {}, {"error creating socket: Operation not permitted\n"}},
        lines_t{"name", true, 0, "can-interface-01", {}, {tooLong("can-interface-01")}},
        lines_t{"ioctl", true, 2, "can0", {}, {"ioctl error can0: Operation not permitted\n"}},
        lines_t{
            "loopback", true, 3, "can0", {enabled}, {"cannot disable loopback: Operation not permitted\n"}},
        lines_t{
            "fd_frames", true, 4, "can0", {}, {"cannot enable CAN_RAW_FD_FRAMES: Operation not permitted\n"}},
        lines_t{"bind", true, 5, "can0", {enabled}, {"bind error: Operation not permitted\n"}},
        lines_t{"open", false, 1, "file", {}, {"error opening file: Operation not permitted\n"}}),
    [](const auto& row) { return std::string(row.param.name); });

namespace {

struct no_text_t {
    const char* name;
    bool network;
    std::size_t call;
    const char* err;
    std::size_t devices;
    friend void PrintTo(const no_text_t& row, std::ostream* out) { *out << row.name; }
};

} // namespace

class SetUpWithoutErrorText : public testing::TestWithParam<no_text_t> {};

TEST_P(SetUpWithoutErrorText, BreaksTheErrorStreamBehindTheColon) {
    const no_text_t& row = GetParam();
    int asked = 0;
    const setup_t result = ParseCall{
        {"-f"}, row.network, row.call, ENODEV, [&asked](SetupSystem& system) {
            system.strerror = [&asked](int errnum) -> char* {
                asked = errnum;
                return nullptr;
            };
        }}.run();

    EXPECT_EQ(result.text.err, row.err);
    EXPECT_FALSE(result.text.errGood);
    EXPECT_EQ(asked, ENODEV);
    EXPECT_EQ(result.devices, row.devices);
}

INSTANTIATE_TEST_SUITE_P(Calls, SetUpWithoutErrorText,
                         testing::Values(no_text_t{"socket", true, 1, "error creating socket: ", 0},
                                         no_text_t{"ioctl", true, 2, "ioctl error can0: ", 0},
                                         no_text_t{"loopback", true, 3, "cannot disable loopback: ", 1},
                                         no_text_t{"fd_frames", true, 4,
                                                   "cannot enable CAN_RAW_FD_FRAMES: ", 1},
                                         no_text_t{"bind", true, 5, "bind error: ", 0},
                                         no_text_t{"open", false, 1, "error opening /dev/qvcan0: ", 0}),
                         [](const auto& row) { return std::string(row.param.name); });
