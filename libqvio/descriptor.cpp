#include "libqvio/descriptor.h"

#include <cerrno>

#include <unistd.h>

void Descriptor::reset() {
    const int savedErrno = errno;
    if (isOpen()) {
        close(std::exchange(fd, -1));
    }
    errno = savedErrno;
}
