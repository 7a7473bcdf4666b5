#pragma once

#include "libqvcheck/receivedframe.h"
#include "libqvtrace/cantracemessagebase.h"

/// The frame of a trace message; its time stamp in ns, `interface` and `dropped` 0.
receivedFrame_t toReceivedFrame(const CANTraceMessageBase& message);
