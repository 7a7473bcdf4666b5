#pragma once

#include "qvtools/candevice.h"
#include "tests/fakes/arguments.h"
#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/setupsystem.h"

#include <cerrno>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

/// What came of one `parse`.
struct setup_t {
    std::size_t devices;
    SetupSystem::calls_t calls; ///< those of `parse` alone, the closing of its devices not among them
    Captured text;
};

/// A command line, and a system to read it on.
struct ParseCall {
    std::vector<std::string> options;
    bool network = true;
    std::size_t failingCall = 0;
    int errnum = EIO;
    std::function<void(SetupSystem&)> prepare = [](SetupSystem&) {};
    const char* defdevice = network ? "can0" : "/dev/qvcan0";

    setup_t run() const {
        setup_t result{};
        Arguments arguments(options);
        result.text = captured([&] {
            SetupSystem system(failingCall, errnum);
            prepare(system);
            const auto devices = CanDevice::parse(arguments.count(), arguments.vector(), defdevice, network);
            result.devices = devices.size();
            result.calls = system.calls;
        });
        return result;
    }
};
