#pragma once

#include "tests/fakes/candevicetestaccess.h"
#include "tests/fakes/fakesystem.h"
#include "tests/fakes/hexadecimal.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <linux/can.h>
#include <sys/syscall.h>
#include <unistd.h>

/// A device on descriptor 7, which is none: all that is done with it is scripted.
class ScriptedDevice : public testing::Test {
protected:
    static constexpr int descriptor = 7;

    ScriptedDevice() {
        settings.fd = descriptor;
        system.close = [](int fd) { return fd == descriptor ? 0 : static_cast<int>(syscall(SYS_close, fd)); };
    }

    std::unique_ptr<CanDevice> make() const {
        return std::unique_ptr<CanDevice>(CanDeviceTestAccess::make(settings));
    }

    std::unique_ptr<CanDevice> make(unsigned short verbose) {
        settings.verbose = verbose;
        return make();
    }

    FakeSystem system;
    CanDeviceTestAccess::settings_t settings;
};
