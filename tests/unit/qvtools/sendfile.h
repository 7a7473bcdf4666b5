#pragma once

#include "tests/fakes/captured.h"
#include "tests/fakes/temporaryfolder.h"
#include "tests/unit/qvtools/scripteddevice.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <vector>

/// A device with a file to send, and the identifier 123. Writes and sleeps are on record.
class SendFile : public ScriptedDevice {
protected:
    SendFile() {
        settings.sendFileName = folder / "file";
        settings.canFd = true;
        settings.canId = 0x123;
        system.write = [this](int fd, const void* from, std::size_t n) -> ssize_t {
            EXPECT_EQ(fd, descriptor);
            steps += 'w';
            sent.emplace_back(static_cast<const char*>(from), n);
            errno = ENOBUFS;
            return fail ? -1 : static_cast<ssize_t>(n);
        };
        system.clock_nanosleep = [this](clockid_t, int, const timespec* time, timespec*) {
            steps += 's';
            EXPECT_EQ(time->tv_nsec, 5000000);
            return 0;
        };
    }

    /// `n` bytes, each its index.
    static std::string counting(std::size_t n) {
        std::string bytes;
        for (std::size_t i = 0; i < n; ++i) {
            bytes += static_cast<char>(i);
        }
        return bytes;
    }

    void fill(const std::string& bytes) { std::ofstream(settings.sendFileName) << bytes; }

    std::unique_ptr<CanDevice> device() const {
        return std::unique_ptr<CanDevice>(CanDeviceTestAccess::makeWithFiles(settings));
    }

    Captured send(unsigned short verbose = 0) {
        settings.verbose = verbose;
        return captured([&] { result = CanDeviceTestAccess::sendFile(*device()); });
    }

    /// The frame on the socket for a piece of the file.
    std::string frame(const std::string& payload, canid_t id) const {
        canfd_frame out{};
        out.can_id = id;
        out.len = static_cast<std::uint8_t>(payload.size());
        std::memcpy(out.data, payload.data(), payload.size());
        return std::string(reinterpret_cast<const char*>(&out), settings.canFd ? 72 : 16);
    }
    std::string frame(const std::string& payload) const { return frame(payload, 0x123); }

    TemporaryFolder folder;
    std::vector<std::string> sent;
    std::string steps; ///< w: a write, s: a sleep
    bool fail = false;
    int result = 1;
};
