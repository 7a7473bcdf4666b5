// CanDevice: file sender and its pause. Dormant: devices made from a command line never have a file name for
// it.

#include "libqvutil/print.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"

#include <cerrno>
#include <fstream>
#include <iostream>

void CanDevice::delay() {
    const std::uint64_t t = nextGap();
    if (t != 0) {
        // A gap of 2^32 µs or more is cut to its low 32 bits. Intended.
        microsleep(toTargetLong(t), false);
    }
}

int CanDevice::sendFile() {
    std::ifstream f(sendFileName);
    if (!f) {
        return printErrno(errno, "Cannot open ", sendFileName);
    }
    canfd_frame frame{};
    frame.can_id = canId;
    std::uint64_t count = 0;
    for (unsigned long n = 0; loop == 0 || n < loop; n = toTargetLong(n + 1)) {
        // The state is checked before each read: the read that reaches the end of the file still produces a
        // frame, an empty one if the size is a multiple of 64. Intended.
        while (f.good()) {
            f.read(reinterpret_cast<char*>(frame.data), sizeof frame.data);
            frame.len = static_cast<std::uint8_t>(f.gcount());
            // A frame that could not be written still counts.
            sendCAN(CANExtTraceMessage(getMicroSecondsOfDay(), 0, frame));
            if (verbose >= 2) {
                print(std::cout, "Msg counter: ", ++count, "\r");
            }
            delay();
        }
        if (verbose >= 1) {
            printLine(std::cout);
        }
        // The stream's state is not cleared, so the seek fails and later passes send nothing. Intended.
        f.seekg(0, std::ios::beg);
    }
    return 0;
}
