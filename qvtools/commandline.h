#pragma once

#include "libqvutil/options.h"
#include "libqvutil/unit.h"
#include "qvtools/candevice.h"

#include <cstdint>
#include <string>

/// The options of one run as they were given, and what follows from them. Reading prints nothing.
struct CommandLine {
    enum outcome_t {
        RUN,     ///< all options were read
        HELP,    ///< -h was met; options behind it were not looked at
        UNKNOWN, ///< an option is unknown or lacks its argument; `offender` is the last argument consumed
    };

    explicit CommandLine(const char* defdevice) : devname(defdevice) {}

    /// Reads the argument vector with `options`. Throws std::invalid_argument for an unknown SI prefix.
    outcome_t read(Options& options, int argc, char** argv);

    /// Fills in the defaults that depend on other options: loop count, gap and jitter in µs.
    void derive();

    const char* devname; ///< points into the argument vector
    int openFlags = 0;
    unsigned short verbose = 0; ///< wraps at 16 bits
    CanDevice::answer_t answer = CanDevice::A_NO;
    bool pattern = false;
    std::uint32_t errnum = 0;
    unsigned long loop = CanDevice::LOOP_UNDEFINED;
    bool canFd = false;
    bool brs = false;
    CanDevice::canids_t canids;
    std::uint8_t channel = CanDevice::CAN_CHANNEL;
    unit_t<std::uint64_t> timegapUnit{CanDevice::TIME_GAP, 0, false};
    // Starts at the gap's default, not at the 0 that its help text tells: intended, users' runs depend on
    // that jitter.
    unit_t<std::uint64_t> jitterUnit{CanDevice::TIME_GAP, 0, false};
    std::string readFileName;
    std::string sendFileName;
    std::uint64_t timegap = 0; ///< µs
    std::uint64_t jitter = 0;  ///< µs, below `timegap` unless both are 0
    const char* offender = nullptr;

private:
    void take(int letter, const char* argument);
};
