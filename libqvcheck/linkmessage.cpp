// RTM_NEWLINK and RTM_DELLINK: linux/rtnetlink.h, linux/if_link.h, linux/can/netlink.h.
//
// Kernels differ in what they report: an attribute that is missing or shorter than here leaves zeros.

#include "libqvcheck/linkmessage.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

namespace {

struct bytes_t {
    const std::uint8_t* begin;
    std::size_t size;

    template<typename T>
    T as() const {
        T value{};
        std::copy_n(begin, std::min(size, sizeof value), reinterpret_cast<std::uint8_t*>(&value));
        return value;
    }
    std::string_view text() const {
        const auto* const chars = reinterpret_cast<const char*>(begin);
        return {chars, strnlen(chars, size)};
    }
    bytes_t behind(std::size_t n) const {
        n = std::min(n, size);
        return {begin + n, size - n};
    }
};

/// Calls visit(type, value) for each attribute; stops at a truncated one.
template<typename Visit>
void forEachAttribute(bytes_t all, Visit visit) {
    while (all.size >= sizeof(rtattr)) {
        const auto header = all.as<rtattr>();
        if (header.rta_len < sizeof header || header.rta_len > all.size) {
            return;
        }
        visit(header.rta_type & NLA_TYPE_MASK,
              bytes_t{all.begin + sizeof header, header.rta_len - sizeof header});
        all = all.behind(NLMSG_ALIGN(header.rta_len));
    }
}

void readController(bytes_t data, linkMessage_t& message) {
    forEachAttribute(data, [&message](int type, bytes_t value) {
        switch (type) {
        case IFLA_CAN_STATE: message.state = value.as<std::uint32_t>(); break;
        case IFLA_CAN_CTRLMODE: message.modes = value.as<can_ctrlmode>().flags; break;
        case IFLA_CAN_BITTIMING: message.bitRate = value.as<can_bittiming>().bitrate; break;
        case IFLA_CAN_DATA_BITTIMING: message.dataBitRate = value.as<can_bittiming>().bitrate; break;
        case IFLA_CAN_BERR_COUNTER: message.errorCounts = value.as<can_berr_counter>(); break;
        default: break;
        }
    });
}

/// The data is driver-specific: only that of "can" is understood here.
void readLinkInfo(bytes_t info, linkMessage_t& message) {
    bytes_t data{nullptr, 0};
    bytes_t statistics{nullptr, 0};
    forEachAttribute(info, [&](int type, bytes_t value) {
        switch (type) {
        case IFLA_INFO_KIND: message.controller = value.text() == "can"; break;
        case IFLA_INFO_DATA: data = value; break;
        case IFLA_INFO_XSTATS: statistics = value; break;
        default: break;
        }
    });
    if (message.controller) {
        readController(data, message);
        message.statistics = statistics.as<can_device_stats>();
    }
}

void readAttribute(int type, bytes_t value, linkMessage_t& message) {
    switch (type) {
    case IFLA_IFNAME: message.name = value.text(); break;
    case IFLA_STATS64: {
        const auto statistics = value.as<rtnl_link_stats64>();
        message.rxDropped = statistics.rx_dropped;
        message.rxOverflows =
            statistics.rx_over_errors + statistics.rx_fifo_errors + statistics.rx_missed_errors;
        break;
    }
    case IFLA_LINKINFO: readLinkInfo(value, message); break;
    default: break;
    }
}

} // namespace

bool readLinkMessage(const std::uint8_t* bytes, std::size_t n, linkMessage_t& message) {
    const bytes_t all{bytes, n};
    const auto type = all.as<nlmsghdr>().nlmsg_type;
    if (n < NLMSG_HDRLEN + sizeof(ifinfomsg) || (type != RTM_NEWLINK && type != RTM_DELLINK)) {
        return false;
    }
    const auto link = all.behind(NLMSG_HDRLEN).as<ifinfomsg>();
    message = linkMessage_t();
    message.index = link.ifi_index;
    message.can = link.ifi_type == ARPHRD_CAN;
    message.deleted = type == RTM_DELLINK;
    message.up = !message.deleted && (link.ifi_flags & IFF_UP) != 0;
    forEachAttribute(all.behind(NLMSG_HDRLEN + NLMSG_ALIGN(sizeof link)),
                     [&message](int kind, bytes_t value) { readAttribute(kind, value, message); });
    return !message.name.empty();
}
