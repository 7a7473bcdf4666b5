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

/// False after a line for each thread that could not be created.
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

/// Whether no thread ended by an exception, which has written its line.
bool noneFailed(const CanDevice::devices_t& devices) {
    return std::none_of(devices.begin(), devices.end(),
                        [](const auto& device) { return device->endedByException(); });
}

int run(int argc, char** argv, const char* defdevice, bool network) {
    // `parse` answers help and errors alike with an empty list. Reading the line once more here tells them
    // apart, and finds what is no option before anything is opened: `qvcan can1` would otherwise run on the
    // default device.
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
    getMicroSecondsOfDay(); // the first call reads the time zone's file: not while a frame waits
    CanDevice::start(devices);
    const bool started = allStarted(devices);
    CanDevice::join(devices);
    return started && noneFailed(devices) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int runTool(int argc, char** argv, const char* defdevice, bool network) {
    fillStandardDescriptors();
    // The command line alone decides: with the one the library's parser would stop at the first operand, with
    // the other the system's texts would be in that language.
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
