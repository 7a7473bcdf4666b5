// The minimum of a program that sends or answers frames: the system calls of qvcan, and nothing else.
//
//     bareio send INTERFACE FRAMES [fd]     waits for the socket, writes; the frame is always the same
//     bareio answer INTERFACE               reads an FD frame, writes it back
//     bareio write INTERFACE FRAMES [fd]    writes without a wait

#include <cstdlib>
#include <cstring>
#include <string>

#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int openSocket(const char* interface, bool fd) {
    const int s = socket(PF_CAN, SOCK_RAW, CAN_RAW);
    const int off = 0;
    const int on = fd ? 1 : 0;
    setsockopt(s, SOL_CAN_RAW, CAN_RAW_LOOPBACK, &off, sizeof off);
    setsockopt(s, SOL_CAN_RAW, CAN_RAW_FD_FRAMES, &on, sizeof on);
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = static_cast<int>(if_nametoindex(interface));
    return bind(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? s : -1;
}

bool isWritable(int s) {
    fd_set readable;
    fd_set writable;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_SET(s, &readable);
    FD_SET(s, &writable);
    return pselect(s + 1, &readable, &writable, nullptr, nullptr, nullptr) > 0 && FD_ISSET(s, &writable);
}

int send(int s, long count, bool fd, bool waiting) {
    canfd_frame frame{};
    frame.can_id = 0x123;
    frame.len = fd ? 64 : 8;
    while (count > 0) {
        if (!waiting || isWritable(s)) {
            const ssize_t n = write(s, &frame, fd ? CANFD_MTU : CAN_MTU);
            count -= n > 0 ? 1 : 0;
        }
    }
    return 0;
}

int answer(int s) {
    canfd_frame frame;
    while (read(s, &frame, sizeof frame) == CANFD_MTU && write(s, &frame, CANFD_MTU) == CANFD_MTU) {
    }
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc >= 3 ? argv[1] : "";
    const bool fd = mode == "answer" || argc == 5;
    const int s = mode.empty() ? -1 : openSocket(argv[2], fd);
    if (s == -1) {
        return 1;
    }
    return mode == "answer" ? answer(s) : send(s, std::atol(argv[3]), fd, mode == "send");
}
