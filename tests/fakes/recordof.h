#pragma once

#include "libqvtrace/messagebase.h"

#include <string>

/// A message's record as the product writes it.
inline byteVec_t recordOf(const MessageBase& message) {
    byteVec_t record;
    message.createByteArray(record, true, true);
    return record;
}

/// The same as a string of bytes.
inline std::string recordText(const MessageBase& message) {
    const byteVec_t record = recordOf(message);
    return {record.begin(), record.end()};
}
