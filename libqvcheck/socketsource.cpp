#include "libqvcheck/socketsource.h"

#include "libqvcheck/cansocket.h"
#include "libqvutil/utility.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include <net/if.h>
#include <unistd.h>

namespace {

/// The kernel's struct __kernel_timespec: 64 bits each, on every machine.
struct stamp_t {
    std::int64_t seconds;
    std::int64_t nanoseconds;
};

// The kernel writes a frame over the members from `canId` on. A classic one ends within `data`.
constexpr std::size_t imageBegin = offsetof(receivedFrame_t, canId);
static_assert(offsetof(receivedFrame_t, length) - imageBegin == offsetof(canfd_frame, len));
static_assert(offsetof(receivedFrame_t, flags) - imageBegin == offsetof(canfd_frame, flags));
static_assert(offsetof(receivedFrame_t, data) - imageBegin == offsetof(canfd_frame, data));
static_assert(sizeof(receivedFrame_t::data) == sizeof(canfd_frame::data));

/// Turns what the kernel wrote into a sound frame.
void setForm(receivedFrame_t& frame, std::size_t size) {
    frame.fd = size == CANFD_MTU;
    frame.xl = !frame.fd && size != CAN_MTU; // the only remaining size
    frame.flags =
        frame.fd ? static_cast<std::uint8_t>(frame.flags & (CANFD_BRS | CANFD_ESI)) : std::uint8_t{0};
    const std::uint8_t room = frame.fd ? CANFD_MAX_DLEN : frame.xl ? 0 : CAN_MAX_DLEN;
    if (frame.length > room) {
        frame.length = room;
    }
}

template<typename Value>
bool holds(const cmsghdr& control, int type) {
    return control.cmsg_level == SOL_SOCKET && control.cmsg_type == type &&
           control.cmsg_len >= CMSG_LEN(sizeof(Value));
}

template<typename Value>
Value valueOf(const cmsghdr& control) {
    Value value{};
    std::memcpy(&value, CMSG_DATA(&control), sizeof value);
    return value;
}

} // namespace

SocketSource::SocketSource(int _fd, const std::string& name, InterfaceTable& _interfaces)
    : fd(_fd),
      interfaces(_interfaces),
      any(name == anyInterface) {
    if (!any) {
        interface = interfaces.indexOf(name);
    }
    for (std::size_t i = 0; i < BATCH; ++i) {
        pieces[i].iov_len = CANFD_MTU;
        msghdr& header = slots[i].msg_hdr;
        header.msg_name = any ? &senders[i] : nullptr;
        header.msg_iov = &pieces[i];
        header.msg_iovlen = 1;
        header.msg_control = controls[i].bytes;
        offerRoom(header);
    }
}

SocketSource::~SocketSource() {
    close(fd);
}

/// The kernel shortens name and control lengths to what it wrote.
inline void SocketSource::offerRoom(msghdr& header) const {
    header.msg_namelen = sizeof senders[0]; // ignored without a name
    header.msg_controllen = sizeof controls[0].bytes;
}

inline void SocketSource::receiveInto(receivedFrame_t* frames, std::size_t n) {
    if (frames != target) {
        target = frames;
        aimed = 0;
    }
    for (; aimed < n; ++aimed) {
        pieces[aimed].iov_base = &frames[aimed].canId;
    }
}

/// Asking for more makes the kernel look for another frame, which costs a quarter of a frame. So while frames
/// come one by one, only one in 16 reads does.
inline void SocketSource::expect(std::size_t wanted, std::size_t got) {
    if (wanted > 1) {
        oneByOne = got > 1 ? 0 : 15;
    } else if (oneByOne > 0) {
        --oneByOne;
    }
}

/// 1 % cheaper than recvmmsg for one frame.
inline int SocketSource::receiveOne() {
    const ssize_t size = recvmsg(fd, &slots[0].msg_hdr, MSG_DONTWAIT);
    slots[0].msg_len = static_cast<unsigned int>(size);
    return size < 0 ? -1 : 1;
}

inline int SocketSource::receiveMany(std::size_t n) {
    return recvmmsg(fd, slots.data(), static_cast<unsigned int>(n), MSG_DONTWAIT, nullptr);
}

std::size_t SocketSource::read(receivedFrame_t* frames, std::size_t n) {
    const std::size_t wanted = oneByOne > 0 ? 1 : std::min(n, BATCH);
    receiveInto(frames, wanted);
    const int got = wanted == 1 ? receiveOne() : receiveMany(wanted);
    if (got < 0) {
        if (errno != EAGAIN && errno != EINTR) {
            error = errno;
        }
        return 0;
    }
    const auto count = static_cast<std::size_t>(got);
    expect(wanted, count);
    for (std::size_t i = 0; i < count; ++i) {
        take(i, frames[i]);
    }
    return count;
}

inline void SocketSource::take(std::size_t slot, receivedFrame_t& frame) {
    msghdr& header = slots[slot].msg_hdr;
    frame.time = receivedFrame_t::noTime;
    frame.dropped = 0;
    frame.leftOut = false;
    frame.own = (header.msg_flags & MSG_DONTROUTE) != 0; // linux/can/raw.h: sent on this host
    frame.interface = any ? interfaceOf(senders[slot].can_ifindex) : interface;
    setForm(frame, slots[slot].msg_len);
    takeControl(header, frame);
    offerRoom(header);
}

inline void SocketSource::takeControl(msghdr& header, receivedFrame_t& frame) {
    cmsghdr* c = CMSG_FIRSTHDR(&header);
    while (c != nullptr) {
        if (holds<stamp_t>(*c, SO_TIMESTAMPNS)) {
            const auto stamp = valueOf<stamp_t>(*c);
            frame.time = stamp.seconds * nsPerSecond + stamp.nanoseconds;
        } else if (holds<std::uint32_t>(*c, SO_RXQ_OVFL)) {
            frame.dropped = dropsUpTo(valueOf<std::uint32_t>(*c));
        }
        c = CMSG_ALIGN(c->cmsg_len) == header.msg_controllen ? nullptr : CMSG_NXTHDR(&header, c);
    }
}

std::uint32_t SocketSource::takeDropped() {
    return dropsUpTo(droppedBy(fd, dropCount));
}

/// Drops not reported before. A frame that was queued before the last takeDropped() has an older count.
std::uint32_t SocketSource::dropsUpTo(std::uint32_t count) {
    const std::uint32_t more = count - dropCount;
    if (more > UINT32_MAX / 2) {
        return 0;
    }
    dropCount = count;
    return more;
}

std::uint8_t SocketSource::interfaceOf(int index) {
    for (const auto& entry : known) {
        if (entry.first == index) {
            return entry.second;
        }
    }
    if (known.size() > UINT8_MAX) {
        known.clear(); // a recreated interface gets a new index
    }
    char name[IF_NAMESIZE];
    const std::string text = if_indextoname(static_cast<unsigned int>(index), name) != nullptr
                                 ? std::string(name)
                                 : "if" + std::to_string(index); // deleted in the meantime
    known.emplace_back(index, interfaces.indexOf(text));
    return known.back().second;
}
