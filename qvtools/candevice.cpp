#include "qvtools/candevice.h"

#include "libqvutil/line.h"

#include <algorithm>
#include <iostream>

#include <unistd.h>

const char* CanDevice::prog = nullptr;
Mutex CanDevice::mutex;

CanDevice::CanDevice(int _fd, bool _network, unsigned short _verbose, answer_t _answer, bool _pattern,
                     std::uint32_t _errnum, unsigned long _loop, bool _canFd, bool _brs, canid_t _canId,
                     std::uint8_t _channel, std::uint64_t _timegap, std::uint64_t _jitter,
                     const std::string& /*_readFileName*/, const std::string& /*_sendFileName*/)
    : CanDevice(_fd, _network, _verbose, _answer, _pattern, _errnum, _loop, _canFd, _brs, _canId, _channel,
                _timegap, _jitter, files_t()) {}

CanDevice::CanDevice(int _fd, bool _network, unsigned short _verbose, answer_t _answer, bool _pattern,
                     std::uint32_t _errnum, unsigned long _loop, bool _canFd, bool _brs, canid_t _canId,
                     std::uint8_t _channel, std::uint64_t _timegap, std::uint64_t _jitter,
                     const files_t& _files)
    : network(_network),
      fd(_fd),
      verbose(_verbose),
      answer(_answer),
      pattern(_pattern),
      errnum(_errnum),
      loop(_loop),
      channel(_channel),
      canFd(_canFd),
      brs(_brs),
      canId(_canId),
      timegap(_timegap),
      jitter(std::min(_jitter, _timegap)),
      buffer(nullptr),
      readFileName(_files.receive),
      sendFileName(_files.send) {
    if (!network) {
        MessageBase::registerMessages();
        buffer.setFD(fd);
        if (verbose > 2) {
            buffer.setDebug(true);
        }
    }
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
    (Line() << "nothing to send, just reading ...").writeLine(std::cout);
    for (;;) {
        CANExtTraceMessage* pc = nullptr;
        if (readCAN(pc) < 0) {
            continue;
        }
        delete pc;
    }
}
