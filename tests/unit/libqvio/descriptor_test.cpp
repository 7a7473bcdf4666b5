#include "libqvio/descriptor.h"
#include "tests/fakes/fakesystem.h"

#include <cerrno>
#include <vector>

#include <gtest/gtest.h>

namespace {

class DescriptorTest : public testing::Test {
protected:
    DescriptorTest() {
        system.close = [this](int fd) {
            closed.push_back(fd);
            errno = EIO;
            return -1;
        };
    }

    std::vector<int> closed;
    FakeSystem system;
};

} // namespace

TEST_F(DescriptorTest, ClosesItsNumberOnceAndKeepsErrno) {
    errno = ENOENT;
    {
        Descriptor owner(7);
        EXPECT_EQ(owner.get(), 7);
        owner.reset();
        EXPECT_EQ(closed, std::vector<int>({7}));
        EXPECT_FALSE(owner.isOpen());
    }
    EXPECT_EQ(closed, std::vector<int>({7}));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(DescriptorTest, ClosesNothingWithoutANumber) {
    Descriptor().reset();
    { const Descriptor failed(-1); }
    EXPECT_EQ(closed, std::vector<int>());
}

TEST_F(DescriptorTest, HandsItsNumberOnWhenItMoves) {
    {
        Descriptor first(7);
        const Descriptor second(std::move(first));
        EXPECT_EQ(second.get(), 7);
        EXPECT_EQ(closed, std::vector<int>());
    }
    EXPECT_EQ(closed, std::vector<int>({7}));
}

TEST_F(DescriptorTest, ClosesWhatItHadWhenItIsAssigned) {
    Descriptor owner(7);
    owner = Descriptor(8);
    EXPECT_EQ(closed, std::vector<int>({7}));
    EXPECT_EQ(owner.get(), 8);
    Descriptor& same = owner;
    owner = std::move(same);
    EXPECT_EQ(owner.get(), 8);
    EXPECT_EQ(closed, std::vector<int>({7}));
}

TEST_F(DescriptorTest, LeavesANumberOpenThatItHasGivenUp) {
    {
        Descriptor owner(7);
        EXPECT_EQ(owner.release(), 7);
        EXPECT_FALSE(owner.isOpen());
    }
    EXPECT_EQ(closed, std::vector<int>());
}
