#include "qvtools/standardstreams.h"

#include <cerrno>
#include <cstdlib>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

void fillStandardDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        // The lowest free number is this one: those below are open by now.
        if (fcntl(fd, F_GETFD) == -1 && errno == EBADF && open("/dev/null", O_RDWR) != fd) {
            std::abort();
        }
    }
}

int reportError(const char* text) {
    std::cerr << "[ERROR] " << text
              << std::endl; // piece by piece: it may be about a lack of memory, and no thread runs
    return EXIT_FAILURE;
}

int finishOutput(int status) {
    std::cout.flush();
    return std::cout ? status : reportError("Cannot write to standard output");
}
