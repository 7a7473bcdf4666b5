#include "libqvio/standardstreams.h"

#include "libqvio/logutil.h"

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <new>

#include <fcntl.h>
#include <unistd.h>

void fillStandardDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        // The lowest free number is this one, as those below are open by now. Early in a boot /dev/null may
        // be missing: a descriptor opened with O_PATH fails every read and write with EBADF, like a closed
        // one.
        const bool closed = fcntl(fd, F_GETFD) == -1 && errno == EBADF;
        if (closed && open("/dev/null", O_RDWR) == -1 && open("/", O_PATH) == -1) {
            std::_Exit(EXIT_FAILURE); // no descriptor is available at all
        }
    }
}

int reportError(const char* text) {
    try {
        LogUtil::plainErrorLine(text);
    } catch (const std::bad_alloc&) { // which may be the very error being reported
        std::cerr << "[ERROR] " << text << std::endl;
    }
    return EXIT_FAILURE;
}

int finishOutput(int status) {
    std::cout.flush();
    return std::cout ? status : reportError("Cannot write to standard output");
}
