// CanDevice: the one descriptor that all devices of a run share.
//
// Nobody sees the tool's frames on its own interface: local loopback is switched off. So on a vcan interface
// its frames reach no one; two nodes on one machine need two interfaces or a vxcan pair.

#include "libqvutil/line.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"

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

// What every kernel accepts; newer headers have a longer sockaddr_can, whose further fields other CAN
// protocols use.
constexpr socklen_t addressSize = 16;
static_assert(sizeof(sockaddr_can) >= addressSize,
              "linux/can.h: family, interface index and transport identifiers");

/// Completes a line about a failed call, on standard error without prefix or lock: no thread runs yet.
/// `errnum` is the call's.
int fail(Line& line, int errnum) {
    (line << ": " << errorText(errnum)).writeLine(std::cerr);
    return -1;
}

int fail(const char* what) {
    const int savedErrno = errno;
    Line line;
    return fail(line << what, savedErrno);
}

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
        (Line() << "device name \"" << devname << "\" too long").writeLine(std::cerr);
        return -1;
    }
    std::memcpy(request.ifr_name, devname == nullptr ? "" : devname, length);
    if (ioctl(fd, SIOCGIFINDEX, &request) < 0) {
        const int savedErrno = errno;
        Line line;
        return fail(line << "ioctl error " << devname, savedErrno);
    }
    if (setOption(fd, CAN_RAW_LOOPBACK, 0) != 0) {
        fail("cannot disable loopback");
    }
    if (canFd) {
        if (setOption(fd, CAN_RAW_FD_FRAMES, 1) == 0) {
            (Line() << "enabled CAN_RAW_FD_FRAMES").writeLine(std::cout);
        } else {
            // Not fatal, and the devices still send FD frames: intended.
            fail("cannot enable CAN_RAW_FD_FRAMES");
        }
    }
    address.can_ifindex = request.ifr_ifindex;
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), addressSize) < 0) {
        return fail("bind error");
    }
    return fd;
}

} // namespace

// On a fatal failure the socket stays open until the process ends, which follows at once: intended.
int CanDevice::openNetwork(const char* devname, bool canFd) {
    const int fd = socket(PF_CAN, SOCK_RAW, CAN_RAW);
    if (fd < 0) {
        return fail("error creating socket");
    }
    try {
        return setUp(fd, devname, canFd);
    } catch (...) { // no memory for a line
        close(fd);
        throw;
    }
}

int CanDevice::openFile(const char* devname, int openFlags) {
    // No O_CREAT: the device must exist. A name is never null to open(), which would answer EFAULT.
    const int fd = devname == nullptr ? -1 : open(devname, openFlags | O_RDWR);
    if (fd == -1) {
        const int savedErrno = devname == nullptr ? EFAULT : errno;
        Line line;
        return fail(line << "error opening " << devname, savedErrno);
    }
    return fd;
}
