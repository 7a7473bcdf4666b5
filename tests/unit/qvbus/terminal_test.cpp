#include "libqvutil/exception.h"
#include "qvbus/terminal.h"
#include "tests/fakes/fakesystem.h"
#include "tests/unit/qvbus/opened.h"

#include <cerrno>

#include <gtest/gtest.h>

TEST(Terminal, PassesBytesAsTheyAre) {
    const Terminal terminal("node");
    EXPECT_TRUE(Opened(terminal.path()).isRaw());
}

TEST(Terminal, SaysForWhichNodeThereIsNone) {
    FakeSystem system;
    system.open = [](const char*, int) {
        errno = EMFILE;
        return -1;
    };
    try {
        const Terminal terminal("node7");
        FAIL() << "made without its other side";
    } catch (const QVException& exception) {
        EXPECT_NE(std::string(exception.what()).find(": Too many open files"), std::string::npos);
    }
}

TEST(Terminal, IsInUseWhileAProgramHasItOpen) {
    const Terminal terminal("node");
    EXPECT_FALSE(terminal.isInUse());
    {
        const Opened user(terminal.path());
        EXPECT_TRUE(terminal.isInUse());
    }
    EXPECT_FALSE(terminal.isInUse());
}

TEST(Terminal, IsInUseUntilWhatAProgramLeftIsRead) {
    const Terminal terminal("node");
    ASSERT_TRUE(Opened(terminal.path()).put({1, 2, 3}));
    EXPECT_TRUE(terminal.hasInput());
    EXPECT_TRUE(terminal.isInUse());
    char bytes[8];
    EXPECT_EQ(read(terminal.descriptor(), bytes, sizeof bytes), 3);
    EXPECT_FALSE(terminal.hasInput());
    EXPECT_FALSE(terminal.isInUse());
}

TEST(Terminal, IsRawAgainAfterAProgramHasChangedIt) {
    Terminal terminal("node");
    Opened(terminal.path()).makeCooked();
    ASSERT_FALSE(Opened(terminal.path()).isRaw());
    terminal.makeRaw();
    EXPECT_TRUE(Opened(terminal.path()).isRaw());
}

TEST(Terminal, HasNothingOfTheProgramBeforeWhenItIsReset) {
    Terminal terminal("node");
    {
        const Opened user(terminal.path());
        while (write(terminal.descriptor(), "unread\n", 7) > 0) {
        }
        EXPECT_GT(terminal.unread(), 0U); // the kernel hands on the rest at its own time
        user.makeCooked();
    }
    terminal.reset();
    const Opened next(terminal.path());
    EXPECT_TRUE(next.isRaw());
    EXPECT_TRUE(next.readAll().empty());
}
