#include "qvtools/entry.h"

#include "libqvutil/line.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"
#include "qvtools/commandline.h"
#include "qvtools/standardstreams.h"

#include <cstdlib>
#include <exception>

#include <unistd.h>

namespace {

int run(int argc, char** argv, const char* defdevice, bool network) {
    // `parse` answers help and errors alike with an empty list. Reading the line once more here tells them
    // apart, and finds what is no option before anything is opened: `qvcan can1` would otherwise run on the
    // default device.
    Options options = CanDevice::canAppOptions();
    const CommandLine::outcome_t outcome = CommandLine(defdevice).read(options, argc, argv);
    if (outcome == CommandLine::RUN && optind < argc) {
        Line text;
        text << "Unexpected argument '" << argv[optind] << "', the device is given with -d";
        return reportError(text.str().c_str());
    }
    const CanDevice::devices_t devices = CanDevice::parse(argc, argv, defdevice, network);
    if (devices.empty()) {
        return outcome == CommandLine::HELP ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    getMicroSecondsOfDay(); // the first call reads the time zone's file: not while a frame waits
    CanDevice::start(devices);
    CanDevice::join(devices);
    return EXIT_SUCCESS;
}

} // namespace

int runTool(int argc, char** argv, const char* defdevice, bool network) {
    fillStandardDescriptors();
    unsetenv("POSIXLY_CORRECT"); // the library's parser would stop at the first operand; the command line
                                 // alone decides here
    int status = EXIT_FAILURE;
    try {
        status = run(argc, argv, defdevice, network);
    } catch (const std::exception& exception) {
        reportError(exception.what());
    }
    return finishOutput(status);
}
