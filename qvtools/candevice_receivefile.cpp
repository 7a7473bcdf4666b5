// CanDevice: receive to file. Dormant: devices made from a command line never have a file name for it.

#include "libqvutil/print.h"
#include "qvtools/candevice.h"

#include <cerrno>
#include <fstream>
#include <iostream>
#include <memory>

void CanDevice::receiveFile() {
    std::ofstream f(readFileName, std::ios::out | std::ios::trunc);
    if (!f) {
        printErrno(errno, "Cannot open ", readFileName);
        return;
    }
    unsigned long long count = 0;
    for (;;) {
        CANExtTraceMessage* pc = nullptr;
        if (readCAN(pc) < 0) {
            continue;
        }
        const std::unique_ptr<CANExtTraceMessage> owner(pc);
        if (verbose != 0) {
            print(std::cout, "Msg counter: ", ++count, "\r");
        }
        if (pc == nullptr) {
            continue;
        }
        const canfd_frame frame = pc->getCanFdFrame();
        // No flush per frame: bytes reach the file when the stream's buffer is full. Intended.
        f.write(reinterpret_cast<const char*>(frame.data), frame.len);
    }
}
