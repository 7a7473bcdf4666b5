// The descriptor set and its count.

#include "libqvio/fdset.h"

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/select.h>

namespace {

std::string text(const fd_set& set) {
    std::ostringstream out;
    out << set;
    return out.str();
}

FdSet of(const std::vector<int>& fds) {
    FdSet set;
    for (const int fd : fds) {
        set.set(fd);
    }
    return set;
}

constexpr int last = FD_SETSIZE - 1;

} // namespace

TEST(FdSet, StartsEmpty) {
    const FdSet set;
    EXPECT_EQ(set.n, 0);
    EXPECT_EQ(text(set), "");
}

TEST(FdSet, StartsWithOneDescriptor) {
    const FdSet set(5);
    EXPECT_EQ(set.n, 6);
    EXPECT_EQ(text(set), "5");
}

TEST(FdSet, TakesTheFirstAndTheLastDescriptor) {
    EXPECT_EQ(FdSet(0).n, 1);
    EXPECT_EQ(text(FdSet(0)), "0");
    EXPECT_EQ(FdSet(last).n, FD_SETSIZE);
    EXPECT_EQ(text(FdSet(last)), std::to_string(last));
}

TEST(FdSet, KeepsItsCountWhenALowerDescriptorIsSet) {
    FdSet set(5);
    set.set(3);
    EXPECT_EQ(set.n, 6);
    EXPECT_EQ(text(set), "3 5");
}

TEST(FdSet, RaisesItsCountWhenAHigherDescriptorIsSet) {
    FdSet set(5);
    set.set(9);
    EXPECT_EQ(set.n, 10);
    EXPECT_EQ(text(set), "5 9");
}

TEST(FdSet, KeepsItsCountWhenADescriptorIsSetAgain) {
    FdSet set(5);
    set.set(5);
    EXPECT_EQ(set.n, 6);
    EXPECT_EQ(text(set), "5");
}

TEST(FdSet, IsEmptyAfterZero) {
    FdSet set = of({0, 5, last});
    set.zero();
    EXPECT_EQ(set.n, 0);
    EXPECT_EQ(text(set), "");
}

TEST(FdSet, LowersItsCountToTheHighestDescriptorLeft) {
    FdSet set = of({3, 5, 9});
    set.clear(5);
    EXPECT_EQ(set.n, 10);
    EXPECT_EQ(text(set), "3 9");
    set.clear(9);
    EXPECT_EQ(set.n, 4);
    set.clear(7); // not set
    EXPECT_EQ(set.n, 4);
    set.clear(3);
    EXPECT_EQ(set.n, 0);
}

TEST(FdSet, TellsWhatIsSet) {
    const FdSet set = of({0, 5});
    EXPECT_TRUE(set.isSet(0));
    EXPECT_TRUE(set.isSet(5));
    EXPECT_FALSE(set.isSet(4));
    EXPECT_FALSE(set.isSet(last));
    EXPECT_TRUE(set[5]);
    EXPECT_FALSE(set[4]);
}

TEST(FdSet, TellsWhatIsSetBelowItsCount) {
    FdSet set(5);
    EXPECT_TRUE(set.isActiveAndSet(5));
    EXPECT_FALSE(set.isActiveAndSet(4));
    set.num(5);
    EXPECT_FALSE(set.isActiveAndSet(5));
    EXPECT_TRUE(set.isSet(5));
}

TEST(FdSet, GivesAndTakesItsCount) {
    FdSet set(5);
    EXPECT_EQ(set.num(), 6);
    set.num(20);
    EXPECT_EQ(set.num(), 20);
    EXPECT_EQ(set.n, 20);
    EXPECT_EQ(text(set), "5");
}

TEST(FdSet, CountsRightAgainAfterACountBeyondTheSet) {
    FdSet set = of({3, 5});
    set.num(FD_SETSIZE + 1000);
    set.clear(5);
    EXPECT_EQ(set.n, 4);
}

TEST(FdSet, AddsADescriptor) {
    FdSet set(5);
    EXPECT_EQ(&(set += 9), &set);
    EXPECT_EQ(set.n, 10);
    EXPECT_EQ(text(set), "5 9");
}

TEST(FdSet, AddsAnotherSet) {
    FdSet set = of({3, 5});
    EXPECT_EQ(&(set += of({0, 5, last})), &set);
    EXPECT_EQ(set.n, FD_SETSIZE);
    EXPECT_EQ(text(set), "0 3 5 " + std::to_string(last));

    set = FdSet(9);
    set += FdSet();
    EXPECT_EQ(set.n, 10);
    set += FdSet(2);
    EXPECT_EQ(set.n, 10);
}

TEST(FdSet, TakesADescriptorAway) {
    FdSet set = of({3, 5});
    EXPECT_EQ(&(set -= 5), &set);
    EXPECT_EQ(set.n, 4);
    EXPECT_EQ(text(set), "3");
}

TEST(FdSet, TakesAnotherSetAway) {
    FdSet set = of({0, 3, 5, last});
    EXPECT_EQ(&(set -= of({4, 5, last})), &set);
    EXPECT_EQ(set.n, 4);
    EXPECT_EQ(text(set), "0 3");
}

TEST(FdSet, AddsAndTakesAwayItself) {
    FdSet set = of({3, 5});
    const FdSet& same = set;
    set += same;
    EXPECT_EQ(text(set), "3 5");
    set -= same;
    EXPECT_EQ(set.n, 0);
    EXPECT_EQ(text(set), "");
}

TEST(FdSet, IsCopiedWhole) {
    FdSet set(5);
    const FdSet copy = set;
    set.set(9);
    EXPECT_EQ(copy.n, 6);
    EXPECT_EQ(text(copy), "5");
}

TEST(FdSet, GivesTheSystemsSet) {
    FdSet set(5);
    EXPECT_EQ(set.addr(), static_cast<fd_set*>(&set));
    EXPECT_TRUE(FD_ISSET(5, set.addr()));
    FD_SET(7, set.addr());
    EXPECT_TRUE(set.isSet(7));
}

TEST(FdSet, IsWrittenInAscendingOrder) {
    fd_set plain;
    FD_ZERO(&plain);
    EXPECT_EQ(text(plain), "");
    FD_SET(last, &plain);
    FD_SET(0, &plain);
    FD_SET(17, &plain);
    EXPECT_EQ(text(plain), "0 17 " + std::to_string(last));
}
