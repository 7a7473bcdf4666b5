#include "qvtools/entry.h"

#include "libqvutil/line.h"
#include "qvtools/candevice.h"
#include "qvtools/commandline.h"

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// Opens /dev/null on each of the standard descriptors that is closed: otherwise the bus would get its
/// number, and become standard output.
void fillStandardDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        // The lowest free number is this one: those below are open by now.
        if (fcntl(fd, F_GETFD) == -1 && errno == EBADF && open("/dev/null", O_RDWR) != fd) {
            std::abort();
        }
    }
}

int error(const char* text) {
    (Line() << "[ERROR] " << text).writeLine(std::cerr);
    return EXIT_FAILURE;
}

int run(int argc, char** argv, const char* defdevice, bool network) {
    // `parse` answers help and errors alike with an empty list. Reading the line once more here tells them
    // apart, and finds what is no option before anything is opened: `qvcan can1` would otherwise run on the
    // default device.
    Options options = CanDevice::canAppOptions();
    const CommandLine::outcome_t outcome = CommandLine(defdevice).read(options, argc, argv);
    if (outcome == CommandLine::RUN && optind < argc) {
        Line text;
        text << "Unexpected argument '" << argv[optind] << "', the device is given with -d";
        return error(text.str().c_str());
    }
    const CanDevice::devices_t devices = CanDevice::parse(argc, argv, defdevice, network);
    if (devices.empty()) {
        return outcome == CommandLine::HELP ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    CanDevice::start(devices);
    CanDevice::join(devices);
    return EXIT_SUCCESS;
}

} // namespace

int runTool(int argc, char** argv, const char* defdevice, bool network) {
    fillStandardDescriptors();
    int status = EXIT_FAILURE;
    try {
        status = run(argc, argv, defdevice, network);
    } catch (const std::exception& exception) {
        error(exception.what());
    }
    std::cout.flush();
    if (!std::cout) {
        return error("Cannot write to standard output");
    }
    return status;
}
