#pragma once

#include "qvtools/candevice.h"

#include <string>

/// The tests' way into CanDevice: devices whose dormant file modes are awake, and single steps of the modes.
struct CanDeviceDoor {
    /// What a device is made of, with quiet defaults.
    struct settings_t {
        int fd = -1;
        bool network = true;
        unsigned short verbose = 0;
        CanDevice::answer_t answer = CanDevice::A_NO;
        bool pattern = false;
        std::uint32_t errnum = 0;
        unsigned long loop = 1;
        bool canFd = false;
        bool brs = false;
        canid_t canId = 1;
        std::uint8_t channel = 0;
        std::uint64_t timegap = 0;
        std::uint64_t jitter = 0;
        std::string readFileName;
        std::string sendFileName;
    };

    /// A device as the command line makes it: the file names are accepted and dropped.
    static CanDevice* make(const settings_t& s) {
        return new CanDevice(s.fd, s.network, s.verbose, s.answer, s.pattern, s.errnum, s.loop, s.canFd,
                             s.brs, s.canId, s.channel, s.timegap, s.jitter, s.readFileName, s.sendFileName);
    }

    /// A device that keeps its file names.
    static CanDevice* makeWithFiles(const settings_t& s) {
        return new CanDevice(s.fd, s.network, s.verbose, s.answer, s.pattern, s.errnum, s.loop, s.canFd,
                             s.brs, s.canId, s.channel, s.timegap, s.jitter,
                             CanDevice::files_t{s.readFileName, s.sendFileName});
    }

    static void threadCode(CanDevice& device) { device.threadCode(); }
    static int readCAN(CanDevice& device, CANExtTraceMessage*& pcm) { return device.readCAN(pcm); }
    static int sendCAN(CanDevice& device, const CANExtTraceMessage& cm) { return device.sendCAN(cm); }
    static int sendFile(CanDevice& device) { return device.sendFile(); }
    static int sendAnswers(CanDevice& device) { return device.sendAnswers(); }
    static int sendPattern(CanDevice& device) { return device.sendPattern(); }
    static void delay(CanDevice& device) { device.delay(); }
    static void modify(CANExtTraceMessage& cm, CanDevice::answer_t a) { CanDevice::modify(cm, a); }
    static const CANExtTraceMessage& patternMsg(const CanDevice& device) { return device.patternMsg; }
    static const TraceMessageBuffer& buffer(const CanDevice& device) { return device.buffer; }

    static bool network(const CanDevice& device) { return device.network; }
    static int fd(const CanDevice& device) { return device.fd; }
    static unsigned short verbose(const CanDevice& device) { return device.verbose; }
    static CanDevice::answer_t answer(const CanDevice& device) { return device.answer; }
    static bool pattern(const CanDevice& device) { return device.pattern; }
    static std::uint32_t errnum(const CanDevice& device) { return device.errnum; }
    static unsigned long loop(const CanDevice& device) { return device.loop; }
    static std::uint8_t channel(const CanDevice& device) { return device.channel; }
    static bool canFd(const CanDevice& device) { return device.canFd; }
    static bool brs(const CanDevice& device) { return device.brs; }
    static canid_t canId(const CanDevice& device) { return device.canId; }
    static std::uint64_t timegap(const CanDevice& device) { return device.timegap; }
    static std::uint64_t jitter(const CanDevice& device) { return device.jitter; }
    static const std::string& readFileName(const CanDevice& device) { return device.readFileName; }
    static const std::string& sendFileName(const CanDevice& device) { return device.sendFileName; }
};
