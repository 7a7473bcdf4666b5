#pragma once

#include "libqvcheck/causes.h"
#include "libqvcheck/framesource.h"
#include "libqvcheck/hostmonitor.h"
#include "libqvcheck/judge.h"
#include "libqvcheck/recordings.h"
#include "qvtools/checkcommandline.h"
#include "qvtools/checkreports.h"
#include "qvtools/frameintake.h"
#include "qvtools/liveinputs.h"
#include "qvtools/runclock.h"
#include "qvtools/runend.h"
#include "qvtools/runsignals.h"
#include "qvtools/statusline.h"
#include "qvtools/waitset.h"

#include <array>
#include <cstdint>

/// One check from the first frame to the verdict.
class CheckRun : private FindingSink {
public:
    /// `line` outlives it. Throws QVException if a report's file cannot be created.
    explicit CheckRun(const CheckCommandLine& line);

    /// Reads, judges and reports. Returns the exit status.
    int run();

    /// The exit status of a check that had `status` and whose report could not be written.
    static int worse(int status);

private:
    typedef std::array<receivedFrame_t, SocketSource::BATCH> batch_t;

    /// Events to wait for: the first input has the tag INPUTS.
    enum tag_t : std::uint32_t { SIGNALS, LINKS, INPUTS };

    void finding(const finding_t& finding) override;
    void stream(const streamSummary_t& stream, std::int64_t born) override;
    void event(const hostEvent_t& event);

    void start();
    void turn();
    void turnOnBus();
    void turnOfRecording();
    void takeSignals();
    void takeLinks(std::int64_t since);
    std::size_t takeReady(const WaitSet::tags_t& ready, std::int64_t linksSince);
    std::size_t readInput(std::size_t index);
    void readRecording();
    void take(std::size_t n);
    void lookAtHost();
    void interval();
    void settle();
    void tick();
    void flush();
    void drain();
    int tell();
    runResult_t result() const;

    std::int64_t due() const;
    void refreshHost();

    const CheckCommandLine& line;
    const bool live;
    RunSignals signals;
    InterfaceTable interfaces;
    hostSummary_t host;
    runSettings_t settings;
    demands_t demands;
    Causes causes;
    Judge judge;
    HostMonitor monitor;
    Recordings recordings;
    LiveInputs inputs;
    std::int64_t now; ///< ns of the monotonic clock, at the end of the last wait
    RunEnd end;
    RunClock clock;
    StatusLine statusLine;
    CheckReports reports;
    FrameIntake intake;

    WaitSet waits;
    batch_t frames;
    bool started = false;
    bool unflushed = false; ///< something was reported since the last flush

    std::int64_t lookDue;
    std::int64_t intervalDue;
};
