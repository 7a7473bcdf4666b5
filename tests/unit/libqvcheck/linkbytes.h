#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <linux/can/netlink.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

typedef std::vector<std::uint8_t> linkBytes_t;

template<typename T>
linkBytes_t bytesOf(const T& value) {
    const auto* const begin = reinterpret_cast<const std::uint8_t*>(&value);
    return {begin, begin + sizeof value};
}

inline linkBytes_t bytesOf(const std::string& text) {
    linkBytes_t bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

inline linkBytes_t joined(std::initializer_list<linkBytes_t> parts) {
    linkBytes_t all;
    for (const linkBytes_t& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/// An attribute of rtnetlink, padded as it lies in a message.
inline linkBytes_t attribute(int type, const linkBytes_t& value) {
    rtattr header{};
    header.rta_len = static_cast<unsigned short>(sizeof header + value.size());
    header.rta_type = static_cast<unsigned short>(type);
    linkBytes_t bytes = joined({bytesOf(header), value});
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

/// A whole message about an interface of index 4.
inline linkBytes_t linkMessage(int type, unsigned int flags, const linkBytes_t& attributes,
                               unsigned short hardware = ARPHRD_CAN) {
    ifinfomsg link{};
    link.ifi_type = hardware;
    link.ifi_index = 4;
    link.ifi_flags = flags;
    nlmsghdr header{};
    header.nlmsg_type = static_cast<std::uint16_t>(type);
    header.nlmsg_len = static_cast<std::uint32_t>(sizeof header + sizeof link + attributes.size());
    return joined({bytesOf(header), bytesOf(link), attributes});
}

inline linkBytes_t nameAttribute(const std::string& name) {
    return attribute(IFLA_IFNAME, bytesOf(name));
}
