#pragma once

#include "libqvutil/options.h"
#include "libqvutil/unit.h"
#include "qvtools/candevice.h"

#include <cstdint>

/// The options of one run as given, and what follows from them. Reading prints nothing.
struct CommandLine {
    enum outcome_t {
        RUN,     ///< all options were read
        HELP,    ///< -h was found; the options after it were not read
        UNKNOWN, ///< an option is unknown or lacks its argument; `badArgument` is the last argument consumed
    };

    explicit CommandLine(const char* defdevice) : devname(defdevice) {
        settings.loop = CanDevice::LOOP_UNDEFINED;
    }

    /// Reads the argument vector with `options`. Throws std::invalid_argument for an unknown SI prefix.
    outcome_t read(Options& options, int argc, char** argv);

    /// Fills in the defaults that depend on other options: loop count, gap and jitter in µs.
    void derive();

    const char* devname; ///< points into the argument vector
    int openFlags = 0;
    CanDevice::canids_t canids;
    unit_t<std::uint64_t> timegapUnit{CanDevice::TIME_GAP, 0, false};
    // Starts at the gap's default, not at 0 as its help text says. Intended.
    unit_t<std::uint64_t> jitterUnit{CanDevice::TIME_GAP, 0, false};
    const char* badArgument = nullptr;
    CanDevice::settings_t settings; ///< of each device, except the descriptor and the identifier

private:
    void apply(int letter, const char* argument);
};
