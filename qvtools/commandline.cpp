#include "qvtools/commandline.h"

#include "libqvutil/number.h"
#include "qvtools/sendergap.h"

#include <fcntl.h>

CommandLine::outcome_t CommandLine::read(Options& options, int argc, char** argv) {
    Options::restart();
    int letter;
    while ((letter = options.get(argc, argv)) != -1) {
        if (letter == 'h') {
            return HELP;
        }
        if (letter == '?' || letter == ':') {
            badArgument = argv[optind - 1];
            return UNKNOWN;
        }
        apply(letter, optarg);
    }
    return RUN;
}

void CommandLine::apply(int letter, const char* argument) {
    switch (letter) {
    case 'v': ++settings.verbose; break;
    case 'd': devname = argument; break;
    case 'r': settings.readFileName = argument; break;
    case 'a': settings.answer = CanDevice::A_YES; break;
    case 's': settings.sendFileName = argument; break;
    case 'f': settings.canFd = true; break;
    case 'b': settings.brs = settings.canFd = true; break;
    case 'p': settings.pattern = true; break;
    case 'l': settings.loop = targetStrtoul(argument); break;
    case 'c': settings.channel = static_cast<std::uint8_t>(targetStrtoul(argument) & 0xFFU); break;
    case 'i': canids.insert(targetStrtoul(argument)); break;
    case 't': timegapUnit.scan(argument, 0); break;
    case 'j': jitterUnit.scan(argument, 0); break;
    case 'e': settings.errnum = targetStrtoul(argument); break;
    case 'y': openFlags = O_SYNC; break;
    default: break; // every letter of the table is above
    }
}

void CommandLine::derive() {
    if (settings.loop == CanDevice::LOOP_UNDEFINED) {
        settings.loop = settings.pattern ? CanDevice::LOOP_PATTERN_DEFAULT : CanDevice::LOOP_FILE_DEFAULT;
    }
    const senderGap_t times = senderGap(timegapUnit, jitterUnit);
    settings.timegap = times.gap;
    settings.jitter = times.jitter;
}
