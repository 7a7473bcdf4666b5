#include "libqvcheck/recordfile.h"

#include "libqvcheck/recordframe.h"
#include "libqvtrace/record.h"

std::size_t RecordFile::read(receivedFrame_t* frames, std::size_t n) {
    std::size_t got = 0;
    while (got < n && readRecord(frames[got])) {
        ++got;
    }
    counts.frames += got;
    return got;
}

bool RecordFile::readRecord(receivedFrame_t& frame) {
    while (input.size() > 0) {
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(input.begin());
        const record::view_t view = record::look(bytes, input.size());
        if (view.finding == record::INCOMPLETE && !input.ended()) {
            return false;
        }
        if (view.finding != record::RECORD) {
            ++counts.passedOver;
            input.drop(1);
            continue;
        }
        const bool taken = take(view, frame);
        input.drop(view.size());
        if (taken) {
            return true;
        }
    }
    return false;
}

bool RecordFile::take(const record::view_t& view, receivedFrame_t& frame) {
    if (view.kind != MSGID_CAN && view.kind != MSGID_CAN_EXT) {
        return false;
    }
    CANTraceMessageBase* into = &message;
    if (view.kind == MSGID_CAN) {
        into = &older;
    }
    if (!into->readBody(view.body, view.bodySize)) {
        counts.passedOver += view.size();
        return false;
    }
    frame = toReceivedFrame(*into);
    frame.interface = interfaces.indexOf("ch" + std::to_string(into->getChannel()));
    return true;
}
