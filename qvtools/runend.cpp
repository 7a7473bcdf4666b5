#include "qvtools/runend.h"

#include "qvtools/runsignals.h"

#include <algorithm>

namespace {

constexpr int statusOfSignal = 128; // POSIX shell: 128 and the signal's number

std::int64_t after(std::int64_t now, std::int64_t time) {
    return time <= 0 || now > RunEnd::NEVER - time ? RunEnd::NEVER : now + time;
}

} // namespace

RunEnd::RunEnd(const CheckCommandLine& _line, bool _live, std::int64_t now)
    : line(_line),
      live(_live),
      overAt(after(now, line.duration)),
      idleAt(live ? after(now, line.idle) : NEVER) {}

void RunEnd::end(const std::string& why) {
    if (reason.empty()) {
        reason = why;
    }
}

void RunEnd::signal(int number) {
    if (reason.empty()) {
        signalNumber = number;
        reason = RunSignals::name(number);
    }
}

void RunEnd::found(const Judge& judge) {
    if (line.stop && line.stopsAt(judge.findings())) {
        end("--stop");
    }
}

void RunEnd::look(const Judge& judge, std::int64_t now) {
    if (live && line.idle > 0 && judge.lastPatternTime() != lastPattern) {
        lastPattern = judge.lastPatternTime();
        idleAt = after(now, line.idle);
    }
    if (live && line.demands.loop > 0 && completeAt == NEVER && judge.complete()) {
        completeAt = after(now, line.demands.wait);
    }
    if (now >= completeAt) {
        end("-l");
    } else if (now >= overAt) {
        end("-T");
    } else if (now >= idleAt) {
        end("--idle");
    }
}

std::int64_t RunEnd::due() const {
    return std::min({overAt, idleAt, completeAt});
}

bool RunEnd::planned() const {
    return signalNumber == 0 || (line.demands.loop == 0 && line.duration == 0);
}

int RunEnd::status(int verdict) const {
    return planned() ? verdict : statusOfSignal + signalNumber;
}
