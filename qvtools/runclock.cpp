#include "qvtools/runclock.h"

#include "libqvcheck/hostclock.h"

void RunClock::read(const receivedFrame_t& frame, std::int64_t now) {
    lastInterface = frame.interface;
    lastStamp = frame.time;
    lastRead = now;
}

std::int64_t RunClock::at(std::int64_t moment) const {
    return judge.arrivals() == 0 ? 0 : judge.elapsed(lastInterface, stamp(moment));
}

std::int64_t RunClock::ofHost() const {
    return judge.arrivals() == 0 ? 0 : judge.elapsed(lastInterface, systemNanoseconds());
}
