#pragma once

#include "libqvcheck/linkmessage.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// What rtnetlink reports on the host's network interfaces: each change at once, and everything on request.
/// One socket, no privileges.
class LinkStatus {
public:
    /// Without rtnetlink (`descriptor` is -1) it reports nothing.
    LinkStatus();
    ~LinkStatus();
    LinkStatus(const LinkStatus&) = delete;
    LinkStatus& operator=(const LinkStatus&) = delete;

    int descriptor() const { return fd; }

    /// Requests all interfaces; `next` returns the replies.
    void request();

    /// The next message about a CAN interface. Never blocks: false if there is none now.
    bool next(linkMessage_t& message);

private:
    bool receive();

    int fd;
    std::vector<std::uint8_t> buffer;
    std::size_t begin = 0; ///< of what remains in the buffer
    std::size_t end = 0;
};
