#include "qvtools/candevice.h"

#include "libqvutil/print.h"

#include <algorithm>
#include <iostream>

#include <unistd.h>

const char* CanDevice::prog = nullptr;
Mutex CanDevice::mutex;

CanDevice::CanDevice(int _fd, bool _network, unsigned short _verbose, answer_t _answer, bool _pattern,
                     std::uint32_t _errnum, unsigned long _loop, bool _canFd, bool _brs, canid_t _canId,
                     std::uint8_t _channel, std::uint64_t _timegap, std::uint64_t _jitter,
                     const std::string& /*_readFileName*/, const std::string& /*_sendFileName*/)
    : CanDevice(settings_t{_fd, _network, _verbose, _answer, _pattern, _errnum, _loop, _canFd, _brs, _canId,
                           _channel, _timegap, _jitter, std::string(), std::string()}) {}

CanDevice::CanDevice(const settings_t& settings)
    : network(settings.network),
      fd(settings.fd),
      verbose(settings.verbose),
      answer(settings.answer),
      pattern(settings.pattern),
      errnum(settings.errnum),
      loop(settings.loop),
      channel(settings.channel),
      canFd(settings.canFd),
      brs(settings.brs),
      canId(settings.canId),
      timegap(settings.timegap),
      jitter(std::min(settings.jitter, settings.timegap)),
      buffer(nullptr),
      readFileName(settings.readFileName),
      sendFileName(settings.sendFileName) {
    if (!network) {
        MessageBase::registerMessages();
        // Kinds that only other tools use are delivered, too, and discarded like the older CAN kind.
        MessageBase::invalidHandling = IMH_RETURN_INVALID_MESSAGE;
        buffer.setFD(fd);
        if (verbose > 2) {
            buffer.setDebug(true);
        }
    }
}

CanDevice* CanDevice::make(const settings_t& s) {
    return new CanDevice(s.fd, s.network, s.verbose, s.answer, s.pattern, s.errnum, s.loop, s.canFd, s.brs,
                         s.canId, s.channel, s.timegap, s.jitter, s.readFileName, s.sendFileName);
}

CanDevice::~CanDevice() {
    if (fd >= 0) {
        close(fd);
    }
}

void CanDevice::start(const devices_t& _devices) {
    for (const auto& device : _devices) {
        device->Thread::start();
    }
}

void CanDevice::join(const devices_t& _devices) {
    for (const auto& device : _devices) {
        device->Thread::join();
    }
}

void CanDevice::threadCode() {
    if (!readFileName.empty()) {
        receiveFile();
    } else if (answer != A_NO) {
        sendAnswers();
    } else if (pattern) {
        sendPattern();
    } else if (!sendFileName.empty()) {
        sendFile();
    } else {
        justRead();
    }
}

void CanDevice::justRead() {
    printLine(std::cout, "nothing to send, just reading ...");
    for (;;) {
        CANExtTraceMessage* pc = nullptr;
        if (readCAN(pc) < 0) {
            continue;
        }
        delete pc;
    }
}
