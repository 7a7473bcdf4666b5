// Local loopback is off, so no other program on the interface sees the tool's frames. On a vcan interface
// they reach nobody: two nodes on one machine need two interfaces or a vxcan pair.

#include "qvtools/opendevice.h"

#include "libqvio/descriptor.h"
#include "libqvutil/print.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include <fcntl.h>
#include <linux/can.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Accepted by every kernel; newer headers have a longer sockaddr_can, whose additional fields belong to other
// CAN protocols.
constexpr socklen_t addressSize = 16;
static_assert(sizeof(sockaddr_can) >= addressSize,
              "linux/can.h: family, interface index and transport identifiers");

int setOption(int fd, int option, int value) {
    return setsockopt(fd, SOL_CAN_RAW, option, &value, sizeof value);
}

/// Names, configures and binds the socket. Returns it, or -1 after the reason has been printed.
int setUp(int fd, const char* devname, bool canFd) {
    sockaddr_can address{};
    address.can_family = AF_CAN;
    ifreq request{};
    static_assert(sizeof request.ifr_name == 16, "linux/if.h: IFNAMSIZ");
    const std::size_t length = devname == nullptr ? 0 : strnlen(devname, sizeof request.ifr_name);
    if (length == sizeof request.ifr_name) {
        printLine(std::cerr, "device name \"", devname, "\" too long");
        return -1;
    }
    std::memcpy(request.ifr_name, devname == nullptr ? "" : devname, length);
    if (ioctl(fd, SIOCGIFINDEX, &request) < 0) {
        return printErrno(errno, "ioctl error ", devname);
    }
    if (setOption(fd, CAN_RAW_LOOPBACK, 0) != 0) {
        printErrno(errno, "cannot disable loopback");
    }
    if (canFd) {
        if (setOption(fd, CAN_RAW_FD_FRAMES, 1) == 0) {
            printLine(std::cout, "enabled CAN_RAW_FD_FRAMES");
        } else {
            // Not fatal, and the devices still send FD frames: intended.
            printErrno(errno, "cannot enable CAN_RAW_FD_FRAMES");
        }
    }
    address.can_ifindex = request.ifr_ifindex;
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), addressSize) < 0) {
        return printErrno(errno, "bind error");
    }
    return fd;
}

} // namespace

// On a fatal failure the socket stays open until the process ends, which follows at once: intended.
int openInterface(const char* devname, bool canFd) {
    Descriptor canSocket(socket(PF_CAN, SOCK_RAW, CAN_RAW));
    if (!canSocket.isOpen()) {
        return printErrno(errno, "error creating socket");
    }
    const int result = setUp(canSocket.get(), devname, canFd); // throws if there is no memory for a line
    canSocket.release();
    return result;
}

int openDeviceFile(const char* devname, int openFlags) {
    // No O_CREAT: the device must exist. A name is never null to open(), which would answer EFAULT.
    const int fd = devname == nullptr ? -1 : open(devname, openFlags | O_RDWR);
    if (fd == -1) {
        return printErrno(devname == nullptr ? EFAULT : errno, "error opening ", devname);
    }
    return fd;
}
