#include "qvtools/entry.h"

#include "libqvio/logutil.h"
#include "libqvio/standardstreams.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"
#include "qvtools/commandline.h"

#include <algorithm>
#include <cstdlib>
#include <exception>

#include <unistd.h>

namespace {

/// False, with a line for each thread that could not be created.
bool allStarted(const CanDevice::devices_t& devices) {
    bool all = true;
    for (const auto& device : devices) {
        if (device->startError() != 0) {
            LogUtil::plainErrorLine("Cannot create a thread: ", errorText(device->startError()));
            all = false;
        }
    }
    return all;
}

/// Whether no thread ended by an exception, which prints its own line.
bool noneFailed(const CanDevice::devices_t& devices) {
    return std::none_of(devices.begin(), devices.end(),
                        [](const auto& device) { return device->endedByException(); });
}

int run(int argc, char** argv, const char* defdevice, bool network) {
    // `parse` returns an empty list for both help and errors. Reading the command line here as well
    // distinguishes them, and rejects non-options before anything is opened: `qvcan can1` would otherwise use
    // the default device.
    Options options = CanDevice::canAppOptions();
    const CommandLine::outcome_t outcome = CommandLine(defdevice).read(options, argc, argv);
    if (outcome == CommandLine::RUN && optind < argc) {
        LogUtil::plainErrorLine("Unexpected argument '", argv[optind], "', the device is given with -d");
        return EXIT_FAILURE;
    }
    const CanDevice::devices_t devices = CanDevice::parse(argc, argv, defdevice, network);
    if (devices.empty()) {
        return outcome == CommandLine::HELP ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    getMicroSecondsOfDay(); // the first call reads the time zone file: not while a frame waits
    CanDevice::start(devices);
    const bool started = allStarted(devices);
    CanDevice::join(devices);
    return started && noneFailed(devices) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int runTool(int argc, char** argv, const char* defdevice, bool network) {
    fillStandardDescriptors();
    // Only the command line counts: the first variable would stop the parser at the first operand, the second
    // would translate the system's texts.
    unsetenv("POSIXLY_CORRECT");
    unsetenv("LANGUAGE");
    int status = EXIT_FAILURE;
    try {
        status = run(argc, argv, defdevice, network);
    } catch (const std::exception& exception) {
        reportError(exception.what());
    }
    return finishOutput(status);
}
