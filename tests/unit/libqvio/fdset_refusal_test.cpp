// Descriptors that have no bit in an fd_set.

#include "libqvio/fdset.h"
#include "libqvutil/exception.h"

#include <cstring>
#include <limits>
#include <string>
#include <tuple>

#include <gtest/gtest.h>
#include <sys/select.h>

namespace {

struct operation_t {
    const char* name;
    void (*run)(FdSet& set, int fd);
};

const operation_t operations[] = {
    {"construct", [](FdSet& set, int fd) { set = FdSet(fd); }},
    {"set", [](FdSet& set, int fd) { set.set(fd); }},
    {"clear", [](FdSet& set, int fd) { set.clear(fd); }},
    {"isSet", [](FdSet& set, int fd) { static_cast<void>(set.isSet(fd)); }},
    {"index", [](FdSet& set, int fd) { static_cast<void>(set[fd]); }},
    {"add", [](FdSet& set, int fd) { set += fd; }},
    {"take_away", [](FdSet& set, int fd) { set -= fd; }},
};

struct outside_t {
    const char* name;
    int fd;
};

const outside_t outside[] = {
    {"minus_one", -1},
    {"first_beyond", FD_SETSIZE},
    {"far_beyond", std::numeric_limits<int>::max()},
    {"far_below", std::numeric_limits<int>::min()},
};

std::string refusal(const operation_t& operation, FdSet& set, int fd) {
    try {
        operation.run(set, fd);
    } catch (const QVException& exception) {
        return exception.what();
    }
    return "nothing thrown";
}

} // namespace

class FdSetRefusal : public testing::TestWithParam<std::tuple<operation_t, outside_t>> {};

TEST_P(FdSetRefusal, NamesTheDescriptorAndLeavesTheSetAlone) {
    const auto& [operation, row] = GetParam();
    FdSet set(5);

    EXPECT_EQ(refusal(operation, set, row.fd), "file descriptor " + std::to_string(row.fd) +
                                                   " is outside of what select can wait for (0 to 1023)");

    EXPECT_EQ(set.n, 6);
    const FdSet untouched(5);
    EXPECT_EQ(std::memcmp(set.addr(), static_cast<const fd_set*>(&untouched), sizeof(fd_set)), 0);
}

INSTANTIATE_TEST_SUITE_P(Rows, FdSetRefusal,
                         testing::Combine(testing::ValuesIn(operations), testing::ValuesIn(outside)),
                         [](const auto& row) {
                             return std::string(std::get<0>(row.param).name) + "_" +
                                    std::get<1>(row.param).name;
                         });

TEST(FdSet, HasNoDescriptorOutsideOfTheRangeActive) {
    FdSet set(5);
    set.num(std::numeric_limits<int>::max());
    EXPECT_FALSE(set.isActiveAndSet(-1));
    EXPECT_FALSE(FdSet(5).isActiveAndSet(FD_SETSIZE));
    EXPECT_FALSE(FdSet(5).isActiveAndSet(std::numeric_limits<int>::max()));
}
