// The minimum of a program that reads a CAN interface: it requests from the kernel what qvcancheck requests,
// fetches as many frames per call, and does nothing with them. usage: bareloop INTERFACE

#include "libqvcheck/cansocket.h"

#include <array>
#include <cstddef>

#include <fcntl.h>
#include <linux/can.h>
#include <sys/socket.h>

namespace {

constexpr std::size_t batch = 64;

struct alignas(cmsghdr) control_t {
    char bytes[128];
};

std::array<canfd_frame, batch> frames;
std::array<control_t, batch> controls;
std::array<iovec, batch> pieces;
std::array<mmsghdr, batch> slots;

void prepare(std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
        pieces[i] = {&frames[i], sizeof frames[i]};
        slots[i].msg_hdr = {nullptr, 0, &pieces[i], 1, controls[i].bytes, sizeof controls[i].bytes, 0};
    }
}

} // namespace

int main(int argc, char** argv) {
    const int fd = argc == 2 ? openCanSocket(argv[1]) : -1;
    if (fd == -1 || fcntl(fd, F_SETFL, 0) != 0) {
        return 1;
    }
    for (int n = batch; n >= 0; n = recvmmsg(fd, slots.data(), batch, MSG_WAITFORONE, nullptr)) {
        prepare(static_cast<std::size_t>(n));
    }
    return 1;
}
