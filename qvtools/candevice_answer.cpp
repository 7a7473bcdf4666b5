// CanDevice: answer mode.

#include "libqvio/logutil.h"
#include "libqvutil/print.h"
#include "qvtools/candevice.h"

#include <iostream>
#include <memory>

namespace {

void invert(std::uint8_t* bytes, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
        bytes[i] = static_cast<std::uint8_t>(~bytes[i]);
    }
}

} // namespace

void CanDevice::modify(CANExtTraceMessage& cm, answer_t a) {
    if (a != A_YES) {
        return;
    }
    cm.setCanId(~cm.getCanId());
    // Up to the length code, not the byte count: of 64 bytes only 0 to 14 are inverted. Intended.
    std::uint8_t* const data = cm.getDataBytes();
    switch (const std::uint8_t end = cm.getDlc()) { // the pattern's two lengths get loops of their own
    case 8: invert(data, 8); break;
    case 15: invert(data, 15); break;
    default: invert(data, end); break;
    }
}

int CanDevice::sendAnswers() {
    for (;;) {
        CANExtTraceMessage* pc = nullptr;
        if (readCAN(pc, verbose >= 2) < 0) {
            return -1;
        }
        const std::unique_ptr<CANExtTraceMessage> owner(pc);
        if (pc == nullptr) {
            continue;
        }
        if (verbose >= 2) {
            printLine(std::cout, "rcvd ", *pc); // without prefix or log lock: intended
        }
        if (pc->getType() == CF_TXMESSAGE) {
            if (verbose >= 2) {
                LogUtil::debugLine("sendAnswers", "ignore TX message");
            }
        } else if (answer == A_YES) {
            modify(*pc, answer);
            sendCAN(*pc); // a failed send does not end the mode
        }
    }
}
