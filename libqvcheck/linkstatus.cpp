#include "libqvcheck/linkstatus.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/// The kernel limits its replies to 32 KiB (netlink(7), NLMSG_GOODSIZE), however large the buffer.
constexpr std::size_t room = 32768;

int openSocket() {
    const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK;
    if (fd != -1 && bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

} // namespace

LinkStatus::LinkStatus() : fd(openSocket()), buffer(room) {}

LinkStatus::~LinkStatus() {
    if (fd != -1) {
        close(fd);
    }
}

void LinkStatus::request() {
    struct {
        nlmsghdr header;
        ifinfomsg link;
    } message{};
    message.header.nlmsg_len = sizeof message;
    message.header.nlmsg_type = RTM_GETLINK;
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    // A dump that is still in progress serves this request, too.
    static_cast<void>(send(fd, &message, sizeof message, 0));
}

bool LinkStatus::next(linkMessage_t& message) {
    while (begin < end || receive()) {
        nlmsghdr header{};
        std::memcpy(&header, buffer.data() + begin, sizeof header);
        if (end - begin < sizeof header || header.nlmsg_len < sizeof header ||
            header.nlmsg_len > end - begin) {
            begin = end;
            continue;
        }
        const std::uint8_t* const bytes = buffer.data() + begin;
        begin += std::min<std::size_t>(NLMSG_ALIGN(header.nlmsg_len), end - begin);
        if (readLinkMessage(bytes, header.nlmsg_len, message) && message.can) {
            return true;
        }
    }
    return false;
}

/// After an overflow (ENOBUFS) changes are missing: everything is requested again.
bool LinkStatus::receive() {
    for (;;) {
        const ssize_t n = read(fd, buffer.data(), buffer.size());
        if (n > 0) {
            begin = 0;
            end = static_cast<std::size_t>(n);
            return true;
        }
        if (n == 0 || errno != ENOBUFS) {
            return false;
        }
        request();
    }
}
