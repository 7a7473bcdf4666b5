#pragma once

#include "libqvcheck/demands.h"
#include "libqvcheck/limits.h"

#include <cstddef>
#include <cstdint>

#include <linux/can.h>

/// Every step looks at all places for an interface, so there are no more than an input can use.
struct fewInterfaces_t : limits_t {
    static constexpr std::uint32_t interfaces = 4;
};

/// So small that a short input meets every bound.
struct smallLimits_t : fewInterfaces_t {
    static constexpr std::uint32_t window = 32;
    static constexpr std::uint32_t near = 8;
    static constexpr std::uint32_t step = 4;
    static constexpr std::uint32_t heldCapacity = 8;
    static constexpr std::uint32_t heldAge = 16;
    static constexpr std::uint32_t streams = 5;
    static constexpr std::uint32_t remoteWindow = 16;
    static constexpr std::uint32_t successorFrames = 24;
};

class Bytes {
public:
    Bytes(const std::uint8_t* bytes, std::size_t size) : at(bytes), left(size) {}

    bool ended() const { return left == 0; }
    std::uint8_t next() {
        if (left == 0) {
            return 0;
        }
        --left;
        return *at++;
    }
    std::uint64_t number(unsigned int bytes) {
        std::uint64_t n = 0;
        while (bytes-- > 0) {
            n = n << 8 | next();
        }
        return n;
    }
    /// Of any size, small ones likely.
    std::int64_t time() {
        const std::uint8_t bits = next() % 64;
        return static_cast<std::int64_t>(number(2) << bits >> 8);
    }

private:
    const std::uint8_t* at;
    std::size_t left;
};

inline demands_t makeDemands(Bytes& bytes) {
    demands_t d;
    const std::uint8_t told = bytes.next();
    const std::uint8_t strict = bytes.next();
    d.ids.assign((told & 1) != 0 ? 1 : 0, 0x10);
    if ((told & 2) != 0) {
        d.ids.insert(d.ids.end(), {0x7FE, 0x110, 0x11 | CAN_EFF_FLAG, 0x12 | CAN_RTR_FLAG});
    }
    d.fd = (told & 4) != 0;
    d.brs = (told & 8) != 0;
    d.answer = (told & 16) != 0;
    d.paced = (told & 32) != 0;
    d.gap = d.paced ? 1000000 : 0;
    d.intervals = (told & 64) != 0;
    d.maxGap = (strict & 1) != 0 ? 5000000 : 0;
    d.maxRtt = (strict & 2) != 0 ? 2000000 : 0;
    d.lateness = (strict & 4) != 0 ? 1000 : 0;
    d.eachGap = d.lateness > 0;
    d.wait = (strict & 8) != 0 ? 4000000 : d.wait;
    d.errorPeriod = bytes.next() % 32;
    d.loop = (strict & 16) != 0 ? bytes.number(4) & INT32_MAX : bytes.next();
    return d;
}
