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

/// Frames of a raw CAN socket (cansocket.h), read in batches when many are queued. Never blocks: a read
/// returns 0 if nothing is queued.
class SocketSource : public FrameSource {
public:
    /// Maximum number of frames per system call.
    static constexpr std::size_t BATCH = 64;

    /// Owns `_fd`. `name`: the interface, whose index all frames get, or `anyInterface`: then each frame gets
    /// the index of its own.
    SocketSource(int _fd, const std::string& name, InterfaceTable& _interfaces);
    ~SocketSource() override;

    /// The time is the kernel's receive stamp on the system clock. `dropped`: the frames that the receive
    /// queue refused between the previous frame and this one. May leave frames in the queue.
    std::size_t read(receivedFrame_t* frames, std::size_t n) override;

    int descriptor() const { return fd; }

    /// Why the last read failed, then 0 until another fails: ENETDOWN, the interface went down; ENODEV, it
    /// was deleted. The socket stays usable.
    int takeError() { return std::exchange(error, 0); }

    /// Frames that the receive queue refused after the last frame read. Exact if the queue is empty. The next
    /// frame does not report them again.
    std::uint32_t takeDropped();

private:
    /// Control data of a frame: a time stamp of 64 bits on every machine, and a drop count. There is room to
    /// spare for a C library that adds a stamp in its own format.
    struct alignas(cmsghdr) control_t {
        char bytes[128];
    };

    void offerRoom(msghdr& header) const;
    void receiveInto(receivedFrame_t* frames, std::size_t n);
    int receiveOne();
    int receiveMany(std::size_t n);
    void expect(std::size_t wanted, std::size_t got);
    void take(std::size_t slot, receivedFrame_t& frame);
    void takeControl(msghdr& header, receivedFrame_t& frame);
    std::uint32_t dropsUpTo(std::uint32_t count);
    std::uint8_t interfaceOf(int index);

    int fd;
    InterfaceTable& interfaces;
    bool any;
    std::uint8_t interface = 0;  ///< unless `any`
    std::uint32_t dropCount = 0; ///< as last reported by the kernel
    int error = 0;
    unsigned int oneByOne = 0;               ///< upcoming reads that request a single frame
    const receivedFrame_t* target = nullptr; ///< the frames that the first `aimed` of `pieces` point to
    std::size_t aimed = 0;
    std::array<mmsghdr, BATCH> slots{};
    std::array<iovec, BATCH> pieces{};
    std::array<sockaddr_can, BATCH> senders{};
    std::array<control_t, BATCH> controls{};
    std::vector<std::pair<int, std::uint8_t>> known; ///< system index, index in the table
};
