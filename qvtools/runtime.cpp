#include "qvtools/runtime.h"

#include "libqvcheck/hostclock.h"

void RunTime::read(const receivedFrame_t& frame, std::int64_t now) {
    lastInterface = frame.interface;
    lastStamp = frame.time;
    lastRead = now;
}

std::int64_t RunTime::at(std::int64_t moment) const {
    return judge.arrivals() == 0 ? 0 : judge.elapsed(lastInterface, stamp(moment));
}

std::int64_t RunTime::ofHost() const {
    return judge.arrivals() == 0 ? 0 : judge.elapsed(lastInterface, systemNanoseconds());
}
