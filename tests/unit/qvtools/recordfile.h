#pragma once

#include "libqvtrace/cantracemessage.h"
#include "tests/fakes/allocations.h"
#include "tests/fakes/lockprobe.h"
#include "tests/fakes/recordof.h"
#include "tests/unit/qvtools/scripteddevice.h"

#include <cerrno>
#include <cstring>
#include <deque>
#include <memory>
#include <string>

/// 12:34:56.000789 on channel 2, with the payload 11 22 33.
inline std::string frameRecord(std::uint32_t canId) {
    const std::uint8_t data[] = {0x11, 0x22, 0x33};
    return recordText(
        CANExtTraceMessage(45296000789, 2, CF_STANDARD, CSE_NO, CT_STANDARD, sizeof data, canId, data));
}

/// The older kind, 12:34:56 on channel 0, with the payload AB.
inline std::string classicRecord(std::uint32_t canId) {
    CANTraceMessage message;
    const std::uint8_t data[] = {0xAB};
    const CANTraceMessageBase content(MSGID_CAN, 45296000000, 0, CF_STANDARD, CSE_NO, CT_STANDARD,
                                      sizeof data, canId, data);
    static_cast<CANTraceMessageBase&>(message) = content;
    return recordText(message);
}

/// `text` without the debug lines of the trace buffer itself, which are there from verbosity 3 on.
inline std::string withoutBufferLines(const std::string& text) {
    std::string rest;
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = text.find('\n', begin) + 1;
        const std::string line = text.substr(begin, end - begin);
        const bool debug = line.rfind("[DEBUG] BZ::", 0) == 0;
        const bool ours = line.rfind("[DEBUG] BZ::readCAN() ", 0) == 0;
        rest += debug && !ours ? std::string() : line;
        begin = end;
    }
    return rest;
}

/// A device on a device file that delivers `chunks`, one a read, then nothing, or the error `errnum`.
class RecordFile : public ScriptedDevice {
protected:
    RecordFile() {
        settings.network = false;
        system.read = [this](int fd, void* to, std::size_t n) { return deliver(fd, to, n); };
        system.clock_nanosleep = [](clockid_t, int, const timespec*, timespec*) {
            return 0;
        }; // the nap at an end
    }

    void open(unsigned short verbose) { device = make(verbose); }

    /// Reads once. `message` is not null at first: what the caller had there is no longer his.
    int readOnce() {
        CANExtTraceMessage garbage;
        CANExtTraceMessage* pcm = &garbage;
        message.reset();
        const int result = CanDeviceTestAccess::readCAN(*device, pcm);
        EXPECT_NE(pcm, &garbage);
        message.reset(pcm == &garbage ? nullptr : pcm);
        return result;
    }

    void expectFrame(std::uint32_t canId) {
        EXPECT_EQ(readOnce(), 0);
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(message->getCanId(), canId);
    }

    std::unique_ptr<CanDevice> device;
    std::unique_ptr<CANExtTraceMessage> message;
    std::deque<std::string> chunks;
    int errnum = 0;
    int reads = 0;
    bool watch = false;
    locks_t locks{true, true};

private:
    ssize_t deliver(int fd, void* to, std::size_t n) {
        const allocations::Pause pause;
        EXPECT_EQ(fd, descriptor);
        ++reads;
        locks = watch ? locks_t::now() : locks;
        if (chunks.empty()) {
            errno = errnum;
            return errnum == 0 ? 0 : -1;
        }
        const std::string chunk = chunks.front();
        chunks.pop_front();
        EXPECT_LE(chunk.size(), n);
        std::memcpy(to, chunk.data(), chunk.size());
        return static_cast<ssize_t>(chunk.size());
    }
};

typedef RecordFile RecordReader;
