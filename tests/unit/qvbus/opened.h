#pragma once

#include "libqvtrace/canexttracemessage.h"
#include "libqvtrace/record.h"
#include "tests/fakes/recordof.h"

#include <array>
#include <string>
#include <termios.h>

#include <fcntl.h>
#include <unistd.h>

/// The other side of a terminal, as a program that has opened it.
class Opened {
public:
    explicit Opened(const std::string& name) : fd(open(name.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK)) {}
    ~Opened() { close(fd); }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    byteVec_t readAll() const {
        byteVec_t all;
        std::array<std::uint8_t, 512> piece;
        ssize_t n;
        while ((n = read(fd, piece.data(), piece.size())) > 0) {
            all.insert(all.end(), piece.begin(), piece.begin() + n);
        }
        return all;
    }

    bool put(const byteVec_t& bytes) const {
        return write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    }

    void makeCooked() const {
        termios settings{};
        tcgetattr(fd, &settings);
        settings.c_lflag |= ICANON | ECHO;
        settings.c_oflag |= OPOST | ONLCR;
        tcsetattr(fd, TCSANOW, &settings);
    }

    bool isRaw() const {
        termios settings{};
        tcgetattr(fd, &settings);
        return (settings.c_lflag & static_cast<tcflag_t>(ECHO | ICANON | ISIG)) == 0 &&
               (settings.c_oflag & static_cast<tcflag_t>(OPOST)) == 0 &&
               (settings.c_iflag & static_cast<tcflag_t>(IXON | ICRNL)) == 0;
    }

    const int fd;
};

inline byteVec_t frameRecord(std::uint32_t id) {
    CANExtTraceMessage message;
    message.resetPattern(id, false);
    return recordOf(message);
}

inline record::view_t viewOf(const byteVec_t& bytes) {
    return record::look(bytes.data(), bytes.size());
}
