#include "libqvcheck/linkstatus.h"
#include "tests/fakes/fakesystem.h"
#include "tests/unit/libqvcheck/linkbytes.h"

#include <cerrno>
#include <memory>

#include <gtest/gtest.h>
#include <linux/if.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/// A LinkStatus whose kernel is the other end of a socket pair.
struct LinkStatusOnAPair : ::testing::Test {
    LinkStatusOnAPair() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends), 0);
        FakeSystem system;
        system.socket = [this](int domain, int type, int protocol) {
            EXPECT_EQ(domain, AF_NETLINK);
            EXPECT_EQ(type, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK);
            EXPECT_EQ(protocol, NETLINK_ROUTE);
            return ends[0];
        };
        system.bind = [this](int, const sockaddr* address, socklen_t size) {
            EXPECT_EQ(size, sizeof bound);
            std::memcpy(&bound, address, sizeof bound);
            return 0;
        };
        status = std::make_unique<LinkStatus>();
    }
    ~LinkStatusOnAPair() override { close(ends[1]); }
    void tell(const linkBytes_t& bytes) const {
        ASSERT_EQ(send(ends[1], bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    }
    std::string next() const {
        linkMessage_t message;
        return status->next(message) ? message.name : "nothing";
    }
    static linkBytes_t about(const std::string& name, unsigned short hardware = ARPHRD_CAN) {
        return linkMessage(RTM_NEWLINK, IFF_UP, nameAttribute(name), hardware);
    }

    int ends[2] = {-1, -1};
    sockaddr_nl bound{};
    std::unique_ptr<LinkStatus> status;
};

} // namespace

TEST_F(LinkStatusOnAPair, ListensToChangesOfInterfaces) {
    EXPECT_EQ(bound.nl_family, AF_NETLINK);
    EXPECT_EQ(bound.nl_groups, static_cast<unsigned int>(RTMGRP_LINK));
    EXPECT_EQ(status->descriptor(), ends[0]);
}

TEST_F(LinkStatusOnAPair, AsksForAllInterfaces) {
    status->request();
    std::uint8_t bytes[200];
    ASSERT_EQ(recv(ends[1], bytes, sizeof bytes, MSG_DONTWAIT),
              static_cast<ssize_t>(sizeof(nlmsghdr) + sizeof(ifinfomsg)));
    nlmsghdr header{};
    std::memcpy(&header, bytes, sizeof header);
    EXPECT_EQ(header.nlmsg_len, sizeof(nlmsghdr) + sizeof(ifinfomsg));
    EXPECT_EQ(header.nlmsg_type, RTM_GETLINK);
    EXPECT_EQ(header.nlmsg_flags, NLM_F_REQUEST | NLM_F_DUMP);
}

TEST_F(LinkStatusOnAPair, DeliversTheMessagesOfEachPacketInOrder) {
    tell(joined({about("can0"), about("can1")}));
    tell(about("can2"));
    EXPECT_EQ(next(), "can0");
    EXPECT_EQ(next(), "can1");
    EXPECT_EQ(next(), "can2");
    EXPECT_EQ(next(), "nothing");
}

TEST_F(LinkStatusOnAPair, PassesOverInterfacesThatAreNotCan) {
    tell(joined({about("eth0", ARPHRD_ETHER), about("can0")}));
    EXPECT_EQ(next(), "can0");
}

TEST_F(LinkStatusOnAPair, PassesOverTheRestOfAPacketThatIsBroken) {
    linkBytes_t broken = about("can0");
    broken[0] = 3; // a length below that of a header
    tell(joined({broken, about("can1")}));
    linkBytes_t tooLong = about("can2");
    tooLong[1] = 1;
    tell(tooLong);
    tell({1, 2, 3});
    tell(about("can3"));
    EXPECT_EQ(next(), "can3");
}

TEST_F(LinkStatusOnAPair, AsksForEverythingAgainWhenChangesWereLost) {
    FakeSystem system;
    int reads = 0;
    system.read = [&reads](int, void*, size_t) -> ssize_t {
        errno = ++reads == 1 ? ENOBUFS : EAGAIN;
        return -1;
    };
    EXPECT_EQ(next(), "nothing");
    EXPECT_EQ(reads, 2);
    char byte;
    EXPECT_EQ(recv(ends[1], &byte, 1, 0), 1) << "a request";
}

TEST(LinkStatus, WithoutRtnetlinkTellsNothing) {
    FakeSystem system;
    system.socket = [](int, int, int) {
        errno = EAFNOSUPPORT;
        return -1;
    };
    LinkStatus status;
    EXPECT_EQ(status.descriptor(), -1);
    status.request();
    linkMessage_t message;
    EXPECT_FALSE(status.next(message));
}

TEST(LinkStatus, ThatIsRefusedClosesItsSocket) {
    FakeSystem system;
    int closed = -1;
    system.socket = [](int, int, int) { return 7; };
    system.bind = [](int, const sockaddr*, socklen_t) { return -1; };
    system.close = [&closed](int fd) {
        closed = fd;
        return 0;
    };
    EXPECT_EQ(LinkStatus().descriptor(), -1);
    EXPECT_EQ(closed, 7);
}
