// CanDevice: the option table, the usage text, and devices from a command line.

#include "libqvio/logutil.h"
#include "libqvutil/line.h"
#include "libqvutil/makestring.h"
#include "libqvutil/utility.h"
#include "qvtools/candevice.h"
#include "qvtools/commandline.h"

#include <clocale>
#include <iostream>

#include <unistd.h>

// The help texts are the tools' user interface and stay as they are: the lone parenthesis at --brs, the
// line break at the end of --error and the jitter's "default=0." are intended.
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
    (Line() << "usage: " << _prog << " <options>\n\n"
            << "where options are\n\n"
            << options.toString() << "\n")
        .write(std::cout);
}

CanDevice::devices_t CanDevice::parse(int _argc, char** _argv, const char* _defdevice, bool _network) {
    devices_t devices;
    prog = progname(_argv[0]);
    Options options = canAppOptions();
    // Where it is not installed the tools write the same text: nothing here depends on it.
    setlocale(LC_ALL, "en_US.UTF-8");
    options.update();

    CommandLine line(_defdevice);
    switch (line.read(options, _argc, _argv)) {
    case CommandLine::HELP: usage(prog, options); return devices;
    case CommandLine::UNKNOWN:
        (Line() << "[ERROR] Unknown option '" << line.offender << "'").writeLine(std::cerr);
        return devices;
    case CommandLine::RUN: break;
    }
    line.derive();
    if (line.verbose >= 2) {
        Line text;
        text << "timegapUnit=" << line.timegapUnit.val << "*10^" << line.timegapUnit.exp
             << " (prefix=" << line.timegapUnit.prefix << ") timegap=" << line.timegap << "µs";
        LogUtil::debugLine("parse", text.str());
    }
    if (line.canids.empty()) {
        line.canids.insert(CANID_SEND);
    }
    devices.reserve(line.canids.size());

    const int fd = _network ? openNetwork(line.devname, line.canFd) : openFile(line.devname, line.openFlags);
    if (fd < 0) {
        return devices;
    }
    bool owned = false; // a device that has been constructed closes the descriptor, whatever comes
    try {
        for (const canid_t canId : line.canids) {
            auto* const device =
                new CanDevice(fd, _network, line.verbose, line.answer, line.pattern, line.errnum, line.loop,
                              line.canFd, line.brs, canId, line.channel, line.timegap, line.jitter,
                              line.readFileName, line.sendFileName);
            owned = true;
            devices.emplace_back(device);
        }
    } catch (...) {
        if (!owned) {
            close(fd);
        }
        throw;
    }
    return devices;
}
