#pragma once

#include "qvtools/candevice.h"

/// Test access to CanDevice: devices whose dormant file modes are awake, and single steps of the modes.
struct CanDeviceTestAccess {
    typedef CanDevice::settings_t settings_t;

    /// A device as the command line makes it: the file names are accepted and dropped.
    static CanDevice* make(const settings_t& settings) { return CanDevice::make(settings); }

    /// A device that keeps its file names.
    static CanDevice* makeWithFiles(const settings_t& settings) { return new CanDevice(settings); }

    /// What the device has kept of the settings.
    static settings_t settingsOf(const CanDevice& d) {
        return {d.fd,  d.network, d.verbose, d.answer,  d.pattern, d.errnum,       d.loop,        d.canFd,
                d.brs, d.canId,   d.channel, d.timegap, d.jitter,  d.readFileName, d.sendFileName};
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
};
