// CanDevice: the option table, the usage text, and devices from a command line.

#include "libqvio/descriptor.h"
#include "libqvio/logutil.h"
#include "libqvutil/makestring.h"
#include "libqvutil/print.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"
#include "qvtools/commandline.h"
#include "qvtools/opendevice.h"

#include <clocale>
#include <iostream>

// The help texts are the tools' user interface and must not change: the lone parenthesis at --brs, the line
// break at the end of --error and the jitter's "default=0." are intended.
Options CanDevice::canAppOptions() {
    const auto decimal = [](auto value) { return makeString(value, std::ios::fixed); };
    const auto hexadecimal = [](auto value) {
        return makeString(value, std::ios::hex | std::ios::showbase | std::ios::fixed);
    };
    return Options(
        {
            optionHelp,
            optionVerbose,
            {'d', "device", "device", true, "CAN device to be used."},
            {'r', "receive", "file", true, "receive CAN data and store binary to <file>"},
            {'a', "answer", "answer every incoming packet using a modified version of the incoming packet"},
            {'s', "send", "file", true, "send <file> to CAN bus"},
            {'f', "fd", "CAN-FD mode"},
            {'b', "brs", "CAN-FD BRS (bit rate switch), automatically selects CAN-FD mode (-f/--fd))"},
            {'p', "pattern", "send a pattern with an incrementing counter to CAN bus"},
            {'l', "loop", "n", true,
             "send the file or pattern <n> times, forever=0,\ndefaults are " + decimal(LOOP_FILE_DEFAULT) +
                 " (file) or " + decimal(LOOP_PATTERN_DEFAULT) + " (pattern)"},
            {'c', "channel", "channel", true,
             // As unsigned short: a stream would write a uint8_t as a character.
             "Channel to use, default=" + decimal(static_cast<unsigned short>(CAN_CHANNEL)) +
                 "\nOnly used for non network version."},
            {'i', "id", "canID", true, "set CAN ID to <id>, default=" + hexadecimal(CANID_SEND)},
            {'t', "time", "time", true,
             "time gap between CAN messages, default=" + decimal(TIME_GAP) +
                 "µs.\nIf no unit prefix is specified µs are assumed.\nFor allowed prefixes see the SI.\n"
                 "Note: do not add the 's' for the seconds themselves."},
            {'j', "jitter", "time", true,
             "jitter time, default=0.\nIf no unit prefix is specified µs are assumed.\nFor allowed prefixes "
             "see the SI.\n"
             "Note, do not add the 's' for the seconds themselves."},
            {'e', "error", "num", true, "error injection every num messages, default is off\n"},
            {'y', "sync", "Open output device in synced mode."},
        },
        0);
}

void CanDevice::usage(const char* _prog, const Options& options) {
    printLine(std::cout, "usage: ", _prog, " <options>\n\nwhere options are\n\n", options.toString());
}

CanDevice::devices_t CanDevice::parse(int _argc, char** _argv, const char* _defdevice, bool _network) {
    devices_t devices;
    prog = progname(_argv[0]);
    Options options = canAppOptions();
    // The output does not depend on the locale, so a missing en_US.UTF-8 is harmless.
    setlocale(LC_ALL, "en_US.UTF-8");
    options.update();

    CommandLine line(_defdevice);
    switch (line.read(options, _argc, _argv)) {
    case CommandLine::HELP: usage(prog, options); return devices;
    case CommandLine::UNKNOWN:
        LogUtil::plainErrorLine("Unknown option '", line.badArgument, "'");
        return devices;
    case CommandLine::RUN: break;
    }
    line.derive();
    settings_t& settings = line.settings;
    if (settings.verbose >= 2) {
        LogUtil::debugLine("parse", "timegapUnit=", line.timegapUnit.val, "*10^", line.timegapUnit.exp,
                           " (prefix=", line.timegapUnit.prefix, ") timegap=", settings.timegap, "µs");
    }
    if (line.canids.empty()) {
        line.canids.insert(CANID_SEND);
    }
    devices.reserve(line.canids.size());

    Descriptor descriptor(_network ? openInterface(line.devname, settings.canFd)
                                   : openDeviceFile(line.devname, line.openFlags));
    if (!descriptor.isOpen()) {
        return devices;
    }
    settings.fd = descriptor.get();
    settings.network = _network;
    for (const canid_t canId : line.canids) {
        settings.canId = canId;
        CanDevice* const device = make(settings);
        descriptor.release(); // from here on the first device closes it in any case
        devices.emplace_back(device);
    }
    return devices;
}
