// The set-up of the device file.

#include "tests/unit/qvtools/parsecall.h"

#include <cerrno>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>

namespace {

typedef SetupSystem::calls_t calls_t;

std::string openCall(const std::string& path, int flags) {
    return "open(" + path + ", " + std::to_string(flags) + ")";
}

} // namespace

TEST(FileSetUp, OpensTheFileForBothDirectionsAndDoesNotMakeIt) {
    const setup_t result = ParseCall{{}, false}.run();

    EXPECT_EQ(result.calls, calls_t({setLocale, openCall("/dev/qvcan0", O_RDWR)}));
    EXPECT_EQ(result.text.out + result.text.err, "");
    EXPECT_EQ(result.devices, 1U);
}

TEST(FileSetUp, AddsTheSyncFlagAloneWhenAskedTo) {
    const setup_t result = ParseCall{{"-y", "-d", "some/file"}, false}.run();

    EXPECT_EQ(result.calls, calls_t({setLocale, openCall("some/file", O_SYNC | O_RDWR)}));
}

TEST(FileSetUp, KnowsNoFdFrames) {
    const setup_t result = ParseCall{{"-fb"}, false}.run();

    EXPECT_EQ(result.calls, calls_t({setLocale, openCall("/dev/qvcan0", O_RDWR)}));
    EXPECT_EQ(result.text.out, "");
}

TEST(FileSetUp, HasNoLimitOnTheName) {
    const std::string path = "/" + std::string(300, 'd');

    const setup_t result = ParseCall{{"-d", path}, false}.run();

    EXPECT_EQ(result.calls, calls_t({setLocale, openCall(path, O_RDWR)}));
}

TEST(FileSetUp, NamesTheFileThatCannotBeOpenedAndTriesOnce) {
    const setup_t result = ParseCall{{"-d", "some/file"}, false, 1, EACCES}.run();

    EXPECT_EQ(result.text.out, "");
    EXPECT_EQ(result.text.err, "error opening some/file: Permission denied\n");
    EXPECT_EQ(result.calls, calls_t({setLocale, openCall("some/file", O_RDWR)}));
    EXPECT_EQ(result.devices, 0U);
}

TEST(FileSetUp, BreaksTheErrorStreamWhenTheFileHasNoName) {
    const setup_t result = ParseCall{{}, false, 1, EFAULT, [](SetupSystem&) {}, nullptr}.run();

    EXPECT_EQ(result.text.err, "error opening ");
    EXPECT_FALSE(result.text.errGood);
    EXPECT_EQ(result.devices, 0U);
}
