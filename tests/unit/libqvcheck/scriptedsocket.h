#pragma once

#include "tests/fakes/fakesystem.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <vector>

#include <gtest/gtest.h>
#include <linux/can.h>
#include <linux/sock_diag.h>

/// A raw CAN socket as the kernel fills its messages: time stamp and drop count as control data, the
/// interface as the address.
class ScriptedSocket : public FakeSystem {
public:
    static constexpr int descriptor = 7;

    struct frame_t {
        std::uint32_t canId;
        std::int64_t seconds;
        std::int64_t nanoseconds;
        std::uint32_t drops; ///< 0: not told, as in the kernel
        int interface;
        bool own;
    };

    ScriptedSocket() {
        recvmmsg = [this](int fd, mmsghdr* messages, unsigned int n, int flags) {
            EXPECT_EQ(fd, descriptor);
            EXPECT_EQ(flags, MSG_DONTWAIT);
            asked.push_back(n);
            return deliver(messages, n);
        };
        recvmsg = [this](int fd, msghdr* header, int flags) -> ssize_t {
            EXPECT_EQ(fd, descriptor);
            EXPECT_EQ(flags, MSG_DONTWAIT);
            asked.push_back(1);
            mmsghdr message{*header, 0};
            const int n = deliver(&message, 1);
            *header = message.msg_hdr;
            return n == 1 ? static_cast<ssize_t>(message.msg_len) : -1;
        };
        getsockopt = [this](int, int, int option, void* value, socklen_t* size) {
            EXPECT_EQ(option, SO_MEMINFO);
            EXPECT_EQ(*size, SK_MEMINFO_VARS * sizeof drops);
            std::memcpy(static_cast<char*>(value) + SK_MEMINFO_DROPS * sizeof drops, &drops, sizeof drops);
            return 0;
        };
        close = [](int) { return 0; };
    }

    void queue(const frame_t& frame) { waiting.push_back(frame); }
    void fail(int errnum) { failure = errnum; }

    std::uint32_t drops = 0;         ///< as SO_MEMINFO tells
    std::vector<unsigned int> asked; ///< frames that each read asked for

private:
    int deliver(mmsghdr* messages, unsigned int n) {
        if (failure != 0 || waiting.empty()) {
            errno = failure != 0 ? failure : EAGAIN;
            failure = 0;
            return -1;
        }
        unsigned int count = 0;
        for (; count < n && !waiting.empty(); ++count) {
            fill(messages[count], waiting.front());
            waiting.pop_front();
        }
        return static_cast<int>(count);
    }

    static void fill(mmsghdr& message, const frame_t& frame) {
        msghdr& header = message.msg_hdr;
        const canfd_frame raw{frame.canId, 0, 0, 0, 0, {}};
        ASSERT_GE(header.msg_iov->iov_len, CANFD_MTU);
        std::memcpy(header.msg_iov->iov_base, &raw, CAN_MTU);
        message.msg_len = CAN_MTU;
        header.msg_flags = frame.own ? MSG_DONTROUTE : 0;
        if (header.msg_name != nullptr) {
            sockaddr_can address{};
            address.can_ifindex = frame.interface;
            ASSERT_GE(header.msg_namelen, sizeof address);
            std::memcpy(header.msg_name, &address, sizeof address);
            header.msg_namelen = 16; // shorter than what was offered
        }
        const std::int64_t stamp[2] = {frame.seconds, frame.nanoseconds};
        char* end = static_cast<char*>(header.msg_control);
        end = put(header, end, SO_TIMESTAMPNS, stamp, sizeof stamp);
        if (frame.drops != 0) {
            end = put(header, end, SO_RXQ_OVFL, &frame.drops, sizeof frame.drops);
        }
        header.msg_controllen = static_cast<std::size_t>(end - static_cast<char*>(header.msg_control));
    }

    static char* put(const msghdr& header, char* to, int type, const void* value, std::size_t size) {
        const char* const room = static_cast<char*>(header.msg_control) + header.msg_controllen;
        EXPECT_LE(to + CMSG_SPACE(size), room) << "the room that the socket was offered";
        auto* const control = reinterpret_cast<cmsghdr*>(to);
        control->cmsg_len = CMSG_LEN(size);
        control->cmsg_level = SOL_SOCKET;
        control->cmsg_type = type;
        std::memcpy(CMSG_DATA(control), value, size);
        return to + CMSG_SPACE(size);
    }

    std::deque<frame_t> waiting;
    int failure = 0;
};
