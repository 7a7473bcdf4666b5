#include "qvtools/commandline.h"

#include "libqvutil/number.h"

#include <cmath>

#include <fcntl.h>

namespace {

/// A bare number counts as µs; with a prefix it is scaled, modulo 2^64. Prefixes below micro scale by 0. The
/// factor goes through double precision as users' figures always have, not through a table of integer powers:
/// both are intended.
std::uint64_t toMicroseconds(const unit_t<std::uint64_t>& unit) {
    return unit.prefix ? unit.val * saturateToUint64(std::pow(10.0, unit.exp + 6)) : unit.val;
}

} // namespace

CommandLine::outcome_t CommandLine::read(Options& options, int argc, char** argv) {
    int letter;
    while ((letter = options.get(argc, argv)) != -1) {
        if (letter == 'h') {
            return HELP;
        }
        if (letter == '?' || letter == ':') {
            offender = argv[optind - 1];
            return UNKNOWN;
        }
        take(letter, optarg);
    }
    return RUN;
}

void CommandLine::take(int letter, const char* argument) {
    switch (letter) {
    case 'v': ++verbose; break;
    case 'd': devname = argument; break;
    case 'r': readFileName = argument; break;
    case 'a': answer = CanDevice::A_YES; break;
    case 's': sendFileName = argument; break;
    case 'f': canFd = true; break;
    case 'b': brs = canFd = true; break;
    case 'p': pattern = true; break;
    case 'l': loop = targetStrtoul(argument); break;
    case 'c': channel = static_cast<std::uint8_t>(targetStrtoul(argument) & 0xFFU); break;
    case 'i': canids.insert(targetStrtoul(argument)); break;
    case 't': timegapUnit.scan(argument, 0); break;
    case 'j': jitterUnit.scan(argument, 0); break;
    case 'e': errnum = targetStrtoul(argument); break;
    case 'y': openFlags = O_SYNC; break;
    default: break; // every letter of the table is above
    }
}

void CommandLine::derive() {
    if (loop == CanDevice::LOOP_UNDEFINED) {
        loop = pattern ? CanDevice::LOOP_PATTERN_DEFAULT : CanDevice::LOOP_FILE_DEFAULT;
    }
    timegap = toMicroseconds(timegapUnit);
    jitter = toMicroseconds(jitterUnit);
    if (timegap == 0) {
        jitter = 0;
    } else if (jitter >= timegap) {
        jitter = timegap - 1;
    }
}
