#pragma once

#include "tests/fakes/allocations.h"
#include "tests/fakes/lockprobe.h"
#include "tests/unit/qvtools/scripteddevice.h"

#include <cerrno>
#include <string>

/// 12:34:56.000789 on channel 2; the payload counts from 0x11.
inline CANExtTraceMessage messageOf(cantype_t width, std::uint32_t canId, std::uint8_t length,
                                    canframe_t type = CF_STANDARD, std::uint8_t status = CSE_NO) {
    std::uint8_t data[64];
    for (std::uint8_t i = 0; i < sizeof data; ++i) {
        data[i] = static_cast<std::uint8_t>(0x11 + i);
    }
    return CANExtTraceMessage(45296000789, 2, type, static_cast<canstaterr_t>(status), width, length, canId,
                              data);
}

/// A device whose writes are on record.
class FrameWriter : public ScriptedDevice {
protected:
    FrameWriter() {
        system.write = [this](int fd, const void* from, std::size_t n) {
            const allocations::Pause pause;
            EXPECT_EQ(fd, descriptor);
            ++writes;
            written = hexadecimal(from, n);
            locks = watch ? locks_t::now() : locks;
            errno = errnum;
            return count == all ? static_cast<ssize_t>(n) : count;
        };
    }

    int send(const CANExtTraceMessage& message, unsigned short verbose = 0) {
        return CanDeviceTestAccess::sendCAN(*make(verbose), message);
    }

    static constexpr ssize_t all = -2;
    ssize_t count = all;
    int errnum = 0;
    int writes = 0;
    std::string written;
    bool watch = false;
    locks_t locks{false, false};
};
