// A raw CAN socket for listening.
//
// Without CAN_RAW_FD_FRAMES the kernel discards FD frames before the receive queue and counts them nowhere.
// Deleting an interface unbinds its socket for good and removes its filters, including the default one that
// passes all frames (net/can/raw.c, NETDEV_UNREGISTER). Bound again without a filter, the socket would
// receive nothing.

#include "libqvcheck/cansocket.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <linux/can.h>
#include <linux/can/error.h>
#include <linux/can/raw.h>
#include <linux/sock_diag.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

bool setOption(int fd, int level, int option, int value) {
    return setsockopt(fd, level, option, &value, sizeof value) == 0;
}

bool setBuffer(int fd) {
    return setOption(fd, SOL_SOCKET, SO_RCVBUFFORCE, receiveBufferBytes) || // beyond rmem_max: CAP_NET_ADMIN
           setOption(fd, SOL_SOCKET, SO_RCVBUF, receiveBufferBytes);
}

/// All options are set before the bind, so they apply from the first frame on.
bool setUp(int fd) {
    return setOption(fd, SOL_CAN_RAW, CAN_RAW_FD_FRAMES, 1) &&
           setOption(fd, SOL_CAN_RAW, CAN_RAW_ERR_FILTER, CAN_ERR_MASK) &&
           setOption(fd, SOL_SOCKET, SO_TIMESTAMPNS, 1) && setOption(fd, SOL_SOCKET, SO_RXQ_OVFL, 1) &&
           setBuffer(fd);
}

/// The index of the interface, 0 for all; -1 with errno set.
int indexOf(int fd, const std::string& name) {
    if (name == anyInterface) {
        return 0;
    }
    ifreq request{};
    if (name.size() >= sizeof request.ifr_name) {
        errno = ENODEV;
        return -1;
    }
    std::memcpy(request.ifr_name, name.c_str(), name.size());
    return ioctl(fd, SIOCGIFINDEX, &request) == 0 ? request.ifr_ifindex : -1;
}

} // namespace

int openCanSocket(const std::string& name) {
    const int fd = socket(PF_CAN, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, CAN_RAW);
    if (fd == -1 || (setUp(fd) && bindCanSocket(fd, name) == 0)) {
        return fd;
    }
    const int savedErrno = errno;
    close(fd);
    errno = savedErrno;
    return -1;
}

int bindCanSocket(int fd, const std::string& name) {
    const int index = indexOf(fd, name);
    if (index == -1) {
        return -1;
    }
    const can_filter all{};
    if (setsockopt(fd, SOL_CAN_RAW, CAN_RAW_FILTER, &all, sizeof all) != 0) {
        return -1;
    }
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = index;
    return bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::uint32_t receiveBufferOf(int fd) {
    int bytes = 0;
    socklen_t size = sizeof bytes;
    return getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, &size) == 0 ? static_cast<std::uint32_t>(bytes) : 0;
}

std::uint32_t droppedBy(int fd, std::uint32_t fallback) {
    std::array<std::uint32_t, SK_MEMINFO_VARS> figures{};
    socklen_t size = sizeof figures;
    const bool told = getsockopt(fd, SOL_SOCKET, SO_MEMINFO, figures.data(), &size) == 0 &&
                      size > SK_MEMINFO_DROPS * sizeof figures[0];
    return told ? figures[SK_MEMINFO_DROPS] : fallback;
}
