#pragma once

#include "libqvcheck/framesource.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <linux/can.h>
#include <sys/socket.h>

/// Frames of a raw CAN socket (cansocket.h), many to a system call where many wait. Never blocks: a read
/// returns 0 when nothing is queued.
class SocketSource : public FrameSource {
public:
    /// Frames that one system call fetches at most.
    static constexpr std::size_t BATCH = 64;

    /// Owns `_fd` from now on. `name`: the interface, whose index all frames get, or `anyInterface`: then
    /// each frame gets that of its own interface.
    SocketSource(int _fd, const std::string& name, InterfaceTable& _interfaces);
    ~SocketSource() override;

    /// The time is the kernel's receive stamp on the system clock. `dropped`: the frames that the receive
    /// queue refused between the frame before and this one. May leave frames in the queue.
    std::size_t read(receivedFrame_t* frames, std::size_t n) override;

    int descriptor() const { return fd; }

    /// Why the last read failed, and 0 from then on: ENETDOWN, the interface went down; ENODEV, it was
    /// deleted. The socket stays usable.
    int takeError() { return std::exchange(error, 0); }

    /// Frames that the receive queue refused behind the last frame read. Exact when the queue is empty. They
    /// are not told a second time with the next frame.
    std::uint32_t takeDropped();

private:
    /// What comes beside a frame: a time stamp of 64 bits on every machine, and a drop count. Room to spare,
    /// for a C library that adds a stamp of its own form.
    struct alignas(cmsghdr) control_t {
        char bytes[128];
    };

    void offerRoom(msghdr& header) const;
    void receiveInto(receivedFrame_t* frames, std::size_t n);
    void expect(std::size_t wanted, std::size_t got);
    void take(std::size_t slot, receivedFrame_t& frame);
    void takeControl(msghdr& header, receivedFrame_t& frame);
    std::uint32_t dropsUpTo(std::uint32_t count);
    std::uint8_t interfaceOf(int index);

    int fd;
    InterfaceTable& interfaces;
    bool any;
    std::uint8_t interface = 0;  ///< of a socket that is bound to one
    std::uint32_t dropCount = 0; ///< as last told by the kernel
    int error = 0;
    unsigned int oneByOne = 0;               ///< reads to come that ask for one frame
    const receivedFrame_t* target = nullptr; ///< where `pieces` point to, the first `aimed` of them
    std::size_t aimed = 0;
    std::array<mmsghdr, BATCH> slots{};
    std::array<iovec, BATCH> pieces{};
    std::array<sockaddr_can, BATCH> senders{};
    std::array<control_t, BATCH> controls{};
    std::vector<std::pair<int, std::uint8_t>> known; ///< index of the system, index in the table
};
