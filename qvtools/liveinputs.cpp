#include "qvtools/liveinputs.h"

#include "libqvcheck/cansocket.h"
#include "libqvutil/utility.h"

#include <algorithm>
#include <cerrno>

LiveInputs::LiveInputs(const std::vector<std::string>& names, InterfaceTable& interfaces) {
    for (const std::string& name : names) {
        inputs.emplace_back();
        inputs.back().name = name;
        open(inputs.back(), interfaces);
    }
}

void LiveInputs::open(input_t& input, InterfaceTable& interfaces) {
    const bool file = isFile(input.name);
    const int fd = file ? RecordSource::open(input.name) : openCanSocket(input.name);
    if (fd == -1) {
        input.failure = errno;
    } else if (file) {
        input.device = std::make_unique<RecordSource>(fd, input.name, interfaces);
    } else {
        input.socket = std::make_unique<SocketSource>(fd, input.name, interfaces);
    }
    input.interface = interfaces.indexOf(input.name);
}

int LiveInputs::descriptor(std::size_t index) const {
    const input_t& input = inputs[index];
    if (input.socket) {
        return input.socket->descriptor();
    }
    return input.device && !input.device->ended() ? input.device->descriptor() : -1;
}

std::size_t LiveInputs::read(std::size_t index, receivedFrame_t* frames, std::size_t n) {
    input_t& input = inputs[index];
    if (input.socket) {
        const std::size_t got = input.socket->read(frames, n);
        const int errnum = input.socket->takeError();
        input.gone = input.gone || errnum == ENODEV;
        if (errnum != 0 && errnum != ENODEV && errnum != ENETDOWN) {
            input.failure = errnum; // it would otherwise stay ready and fail forever
            input.socket.reset();
        }
        return got;
    }
    if (!input.device || input.device->ended()) {
        return 0;
    }
    const std::size_t got = input.device->read(frames, n);
    input.failure = input.device->error();
    return got;
}

void LiveInputs::bindAgain() {
    for (input_t& input : inputs) {
        input.gone = input.gone && bindCanSocket(input.socket->descriptor(), input.name) != 0;
    }
}

void LiveInputs::takeDrops(const std::function<void(std::uint8_t, std::uint32_t)>& take) {
    for (input_t& input : inputs) {
        const std::uint32_t n = input.socket ? input.socket->takeDropped() : 0;
        if (n > 0) {
            take(input.interface, n);
        }
    }
}

void LiveInputs::receiveBuffers(const std::function<void(std::uint8_t, std::uint32_t)>& take) const {
    for (const input_t& input : inputs) {
        if (input.socket) {
            take(input.interface, receiveBufferOf(input.socket->descriptor()));
        }
    }
}

bool LiveInputs::ended() const {
    return std::all_of(inputs.begin(), inputs.end(), [](const input_t& input) {
        return !input.socket && (!input.device || input.device->ended());
    });
}

std::vector<std::string> LiveInputs::failures() const {
    std::vector<std::string> list;
    for (const input_t& input : inputs) {
        const int errnum = input.gone ? ENODEV : input.failure;
        if (errnum != 0) {
            list.push_back(input.name + ": " + errorText(errnum));
        }
    }
    return list;
}
