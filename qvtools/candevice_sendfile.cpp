// CanDevice: file sender and its pause. Dormant: devices made from a command line never have a file name for
// it.

#include "libqvutil/line.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"

#include <cerrno>
#include <fstream>
#include <iostream>

void CanDevice::delay() {
    const std::uint64_t t = nextGap();
    if (t != 0) {
        microsleep(toTargetLong(t),
                   false); // a gap of 2^32 µs or more is cut, as it always was on the target: intended
    }
}

int CanDevice::sendFile() {
    std::ifstream f(sendFileName);
    if (!f) {
        const int savedErrno = errno;
        (Line() << "Cannot open " << sendFileName << ": " << errorText(savedErrno)).writeLine(std::cerr);
        return -1;
    }
    canfd_frame frame{};
    frame.can_id = canId;
    std::uint64_t count = 0;
    for (unsigned long n = 0; loop == 0 || n < loop; n = toTargetLong(n + 1)) {
        // The state is looked at before each read: the read that meets the end of the file still makes a
        // frame, an empty one when the size is a multiple of 64. Intended: it tells the receiver that the
        // file is over.
        while (f.good()) {
            f.read(reinterpret_cast<char*>(frame.data), sizeof frame.data);
            frame.len = static_cast<std::uint8_t>(f.gcount());
            sendCAN(CANExtTraceMessage(getMicroSecondsOfDay(), 0,
                                       frame)); // a frame that could not be written still counts
            if (verbose >= 2) {
                (Line() << "Msg counter: " << ++count << "\r").write(std::cout);
            }
            delay();
        }
        if (verbose >= 1) {
            Line().writeLine(std::cout);
        }
        // The stream's state is not cleared, so the seek fails and later passes send nothing. Intended.
        f.seekg(0, std::ios::beg);
    }
    return 0;
}
