#include "qvtools/checkrun.h"

#include "libqvcheck/cansocket.h"
#include "libqvcheck/hostclock.h"
#include "libqvcheck/inputblocks.h"
#include "libqvutil/utility.h"

#include <algorithm>
#include <iterator>
#include <poll.h>

namespace {

constexpr std::int64_t lookEvery = nsPerSecond;

/// ns for a full receive queue. The emulated ARM machine takes 2 s for one of 24,000 frames.
constexpr std::int64_t drainAtMost = 10 * nsPerSecond;

bool hasAny(const std::vector<std::string>& devices) {
    return std::find(devices.begin(), devices.end(), anyInterface) != devices.end();
}

/// If each gap is judged, this host's own contribution to it must be known.
demands_t demandsOf(const CheckCommandLine& line, bool live) {
    demands_t demands = line.demands;
    if (live && demands.eachGap) {
        demands.lateness = measuredLateness();
    }
    return demands;
}

} // namespace

CheckRun::CheckRun(const CheckCommandLine& _line)
    : line(_line),
      live(_line.files.empty()),
      settings{line.demands, line.allowance,        interfaces, line.words, live ? line.devices : line.files,
               !live,        live ? &host : nullptr},
      demands(demandsOf(line, live)),
      causes(live ? LC_QUEUE : LC_INPUT, hasAny(line.devices)),
      judge(demands, *this, &causes),
      monitor(line.devices, interfaces, causes, [this](const hostEvent_t& one) { event(one); }),
      recordings(line.files, interfaces),
      inputs(live ? line.devices : std::vector<std::string>(), interfaces),
      now(monotonicNanoseconds()),
      end(line, live, now),
      clock(judge),
      statusLine(line, judge, clock, now),
      reports(line, settings, judge),
      intake(interfaces, judge, causes, live ? &monitor.watch() : nullptr, reports.dump()),
      lookDue(live ? now + lookEvery : RunEnd::NEVER),
      intervalDue(live && line.interval > 0 ? now + line.interval : RunEnd::NEVER) {}

int CheckRun::worse(int status) {
    return status == V_FAIL ? V_FAIL : V_INCOMPLETE;
}

int CheckRun::run() {
    if (live) {
        start();
    }
    while (!end.isOver()) {
        turn();
    }
    RunSignals::endAtOnceFrom(monotonicNanoseconds() + nsPerSecond);
    drain();
    return tell();
}

/// The start of a check on the bus; that of a recording comes with its first frame.
void CheckRun::start() {
    inputs.receiveBuffers([this](std::uint8_t interface, std::uint32_t bytes) {
        monitor.watch().receiveBuffer(interface, bytes);
    });
    monitor.sample(0);
    refreshHost();
    reports.start(systemNanoseconds());
    if (!inputs.failures().empty()) {
        end.inputEnded();
    }
    started = true;
    reports.flush();
    waits.add(signals.descriptor(), SIGNALS);
    waits.add(monitor.descriptor(), LINKS);
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        waits.addInput(inputs.descriptor(i), INPUTS + static_cast<std::uint32_t>(i));
    }
}

void CheckRun::turn() {
    if (live) {
        turnOnBus();
    } else {
        turnOfRecording();
    }
    end.look(judge, now);
    tick();
    flush();
}

void CheckRun::turnOnBus() {
    const std::int64_t turnBefore = now;
    const std::int64_t before = monotonicNanoseconds();
    const WaitSet::tags_t& ready = waits.wait(due());
    now = monotonicNanoseconds();
    const std::int64_t linksSince = now - before > 1000000 ? now : turnBefore; // new if it ended the wait
    // If this process was stopped before `now`, frames have come since the wait: looks again.
    if (takeReady(ready, linksSince) == 0 && takeReady(waits.readable(), linksSince) == 0) {
        settle();
    }
}

/// Handles what is readable and returns the number of frames. Links changed after `linksSince`.
std::size_t CheckRun::takeReady(const WaitSet::tags_t& ready, std::int64_t linksSince) {
    std::size_t n = 0;
    for (const std::uint32_t tag : ready) {
        if (tag == SIGNALS) {
            takeSignals();
        } else if (tag == LINKS) {
            takeLinks(linksSince);
        } else {
            n += readInput(tag - INPUTS);
        }
    }
    return n;
}

/// A recording may come through a pipe that has no data yet.
void CheckRun::turnOfRecording() {
    const int fd = recordings.descriptor(); // none between files
    pollfd pending[] = {{signals.descriptor(), POLLIN, 0}, {fd, POLLIN, 0}};
    const std::int64_t left = due() == RunEnd::NEVER ? RunEnd::NEVER : due() - monotonicNanoseconds();
    constexpr std::int64_t longest = 3600000; // ms; poll takes an int
    const std::int64_t timeout = std::clamp<std::int64_t>(left / 1000000 + 1, 0, longest);
    poll(pending, std::size(pending), fd == -1 ? 0 : static_cast<int>(timeout));
    now = monotonicNanoseconds();
    if (pending[0].revents != 0) {
        takeSignals();
    }
    if (fd == -1 || pending[1].revents != 0) {
        readRecording();
    }
}

void CheckRun::takeSignals() {
    while (const int signal = signals.next()) {
        if (RunSignals::asksToEnd(signal)) {
            end.signal(signal);
        } else {
            statusLine.print(now);
        }
    }
}

/// Links changed between `since` and now.
void CheckRun::takeLinks(std::int64_t since) {
    const std::int64_t present = clock.ofHost();
    monitor.read(present - (now - since), present);
}

/// As long as a read fills `frames` there is more to read, but other inputs get their turn as well.
std::size_t CheckRun::readInput(std::size_t index) {
    constexpr std::size_t smallestRecord = 28;                           // docs/trace-record.md
    constexpr std::size_t most = InputBlocks::capacity / smallestRecord; // frames in one read of a device
    const int fd = inputs.descriptor(index);
    std::size_t sum = 0;
    std::size_t n = 0;
    do {
        n = inputs.read(index, frames.data(), frames.size());
        take(n);
        sum += n;
    } while (n == frames.size() && sum < most);
    if (fd != -1 && inputs.descriptor(index) == -1) {
        waits.remove(fd, INPUTS + static_cast<std::uint32_t>(index));
        if (inputs.ended()) {
            end.inputEnded();
        }
    }
    return sum;
}

void CheckRun::readRecording() {
    std::size_t n = recordings.read(frames.data(), frames.size());
    while (n > 0 && !end.isOver()) {
        take(n);
        n = recordings.readBuffered(frames.data(), frames.size());
    }
    if (recordings.ended()) {
        end.inputEnded();
    }
}

void CheckRun::take(std::size_t n) {
    if (n == 0) {
        return;
    }
    if (!started) {
        reports.start(frames[0].time);
        started = true;
    }
    intake.take(frames.data(), n);
    clock.read(frames[n - 1], now);
    end.found(judge);
}

void CheckRun::settle() {
    if (live && judge.arrivals() > 0) {
        judge.settle(clock.stamp(now));
        if (reports.dump() != nullptr) {
            reports.dump()->settle(clock.at(now));
        }
        end.found(judge);
    }
}

std::int64_t CheckRun::due() const {
    return std::min(std::min(end.due(), statusLine.due()), std::min(lookDue, intervalDue));
}

void CheckRun::tick() {
    if (now >= lookDue) {
        lookDue = now + lookEvery;
        lookAtHost();
        unflushed = true; // a report may hold something back that is due
    }
    if (now >= intervalDue && !end.isOver()) { // the last one comes with the end
        intervalDue += (1 + (now - intervalDue) / line.interval) * line.interval;
        interval();
    }
    statusLine.tick(now);
}

void CheckRun::lookAtHost() {
    inputs.bindAgain();
    monitor.sample(clock.ofHost());
}

void CheckRun::interval() {
    const std::vector<intervalSummary_t> pieces = judge.interval();
    if (!pieces.empty()) {
        statusLine.hide();
        unflushed = true;
        reports.interval(pieces);
    }
}

void CheckRun::finding(const finding_t& finding) {
    statusLine.hide();
    unflushed = true;
    reports.finding(finding);
}

void CheckRun::stream(const streamSummary_t& stream, std::int64_t born) {
    statusLine.hide();
    unflushed = true;
    reports.stream(stream, born);
}

void CheckRun::event(const hostEvent_t& event) {
    statusLine.hide();
    unflushed = true;
    reports.event(event);
}

void CheckRun::flush() {
    const bool always = !live || line.verbose > 1; // each frame has its line
    if ((unflushed || always) && !reports.flush()) {
        end.outputGone();
    }
    unflushed = false;
}

/// Judges what the kernel received before the end, within `drainAtMost`.
void CheckRun::drain() {
    if (!live) {
        return;
    }
    const std::int64_t until = monotonicNanoseconds() + drainAtMost;
    for (bool more = true; more && now < until;) {
        more = false;
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            more = readInput(i) > 0 || more;
        }
        now = monotonicNanoseconds();
    }
    intake.takeDrops(inputs, clock.at(now));
    settle();
    monitor.sample(clock.ofHost());
    monitor.watch().finish(clock.ofHost());
}

void CheckRun::refreshHost() {
    host = monitor.watch().summary();
}

int CheckRun::tell() {
    if (!started) {
        reports.start(receivedFrame_t::noTime);
    }
    if (!live) {
        intake.takeDrops(recordings);
    }
    judge.finish();
    statusLine.hide();
    refreshHost();
    const runResult_t run = result();
    if (line.interval > 0 && live) {
        interval();
    }
    reports.end(run);
    reports.flush();
    const int status = end.status(run.verdict);
    return reports.areFilesWritten() ? status : worse(status);
}

runResult_t CheckRun::result() const {
    runResult_t run{judge.summary(),
                    V_PASS,
                    end.why(),
                    end.planned(),
                    live ? nullptr : &recordings.counts(),
                    live ? inputs.failures() : recordings.failures()};
    const bool whole = run.failures.empty() && (live || !isTooBroken(recordings.counts()));
    run.verdict = verdictOf(run.summary, line.allowance, whole);
    return run;
}
