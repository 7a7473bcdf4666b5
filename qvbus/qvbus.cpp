// qvbus: a bus in user space, on which qvcandev nodes meet without any CAN in the kernel.

#include "libqvio/descriptor.h"
#include "libqvio/standardstreams.h"
#include "libqvutil/exception.h"
#include "libqvutil/number.h"
#include "libqvutil/options.h"
#include "libqvutil/print.h"
#include "libqvutil/utility.h"
#include "qvbus/userbus.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include <sys/signalfd.h>
#include <unistd.h>

namespace {

constexpr std::uint32_t minNodes = 2;
constexpr std::uint32_t maxNodes = 64;

struct settings_t {
    std::string prefix = "qvnode";
    std::uint32_t nodes = minNodes;
    bool verbose = false;
};

Options makeOptions() {
    return Options(
        {
            optionHelp,
            {'v', "verbose", "print each record in candump's notation"},
            {'n', "nodes", "n", true, "make n nodes, 2 to 64, default=2"},
            {'l', "link", "prefix", true, "name the nodes <prefix>0, <prefix>1, ..., default=qvnode"},
        },
        0);
}

void usage(const char* prog, const Options& options) {
    print(std::cout, "usage: ", prog,
          " <options>\n\n"
          "A bus in user space: makes pseudo-terminals and hands each trace record that one\n"
          "node writes to all others, until SIGINT or SIGTERM; then prints counts per node.\n\n"
          "where options are\n\n",
          options.toString(),
          "\nexample\n\n"
          "  qvbus -n 2 -l /tmp/node &\n"
          "  qvcandev -d /tmp/node1 -a &\n"
          "  qvcandev -d /tmp/node0 -p -l 10 -vv\n");
}

int refuse(const char* what, const char* value) {
    return reportError((std::string(what) + " '" + value + "'").c_str());
}

/// The number in `text`; 0 if anything follows it.
std::uint32_t nodesOf(const char* text) {
    char* end = nullptr;
    static_cast<void>(std::strtoul(text, &end, 0));
    return *end == '\0' ? targetStrtoul(text) : 0;
}

/// Fills `settings`. Returns false if the program ends here, with `status`.
bool readOptions(int argc, char** argv, settings_t& settings, int& status) {
    Options options = makeOptions();
    Options::restart();
    status = EXIT_FAILURE;
    int letter;
    while ((letter = options.get(argc, argv)) != -1) {
        switch (letter) {
        case 'h':
            usage(progname(argv[0]), options);
            status = EXIT_SUCCESS;
            return false;
        case 'v': settings.verbose = true; break;
        case 'l': settings.prefix = optarg; break;
        case 'n':
            settings.nodes = nodesOf(optarg);
            if (settings.nodes < minNodes || settings.nodes > maxNodes) {
                refuse("The number of nodes is 2 to 64, not", optarg);
                return false;
            }
            break;
        default: refuse("Unknown option", argv[optind - 1]); return false;
        }
    }
    if (optind < argc) {
        refuse("Unexpected argument", argv[optind]);
        return false;
    }
    return true;
}

/// A descriptor that becomes readable when a signal requests the end.
Descriptor stopDescriptor() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    Descriptor stop(signalfd(-1, &signals, SFD_CLOEXEC));
    if (!stop.isOpen()) {
        throw QVException(std::string("signalfd: ") + errorText(errno));
    }
    return stop;
}

int run(int argc, char** argv) {
    settings_t settings;
    int status;
    if (!readOptions(argc, argv, settings, status)) {
        return status;
    }
    // If the reader of our output goes, the bus must not end before its names are removed.
    std::signal(SIGPIPE, SIG_IGN);
    const Descriptor stop = stopDescriptor();
    UserBus bus(settings.prefix, settings.nodes, settings.verbose);
    return bus.run(stop.get()) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    fillStandardDescriptors();
    unsetenv("POSIXLY_CORRECT"); // as in the other programs
    int status = EXIT_FAILURE;
    try {
        status = run(argc, argv);
    } catch (const std::exception& exception) {
        reportError(exception.what());
    }
    return finishOutput(status);
}
