// qvcancheck: judges the test pattern of qvcan on a bus or in recordings.

#include "libqvio/standardstreams.h"
#include "libqvutil/print.h"
#include "libqvutil/utility.h"
#include "qvtools/checkcommandline.h"
#include "qvtools/checkrun.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <stdexcept>

#include <unistd.h>

namespace {

constexpr int wrongCommandLine = 2; // in addition to the values of verdict_t

void usage(const char* prog, const Options& options) {
    print(std::cout, "usage: ", prog,
          " <options> [file...]\n\n"
          "Judges the test pattern of qvcan: reads a CAN interface, a device file, or\n"
          "recordings, and says which frames were lost, repeated, reordered or corrupted,\n"
          "and on whose account. A file is a log of candump (-l or -L), a file of trace\n"
          "records, or what qvcan -vv, qvcandev -vv and qvbus -v print; - is standard input.\n\n"
          "where options are\n\n",
          options.toString(),
          "\nexamples\n\n"
          "  qvcancheck -d can1\n"
          "  qvcancheck -d can1 -f -i 1 -l 100000 -t 2m -j 0 -e 100\n"
          "  candump -d -L can0 | qvcancheck -\n"
          "  qvcancheck -f -i 1 -l 100000 -e 100 run.log\n"
          "  qvcancheck -q weekend.log || echo \"look at it\"\n");
}

/// The JSON library's destructors allocate. If there is no memory for that, only this handler is reached.
[[noreturn]] void endWithoutMemory() {
    const std::exception_ptr thrown = std::current_exception();
    if (thrown != nullptr) {
        try {
            std::rethrow_exception(thrown);
        } catch (const std::bad_alloc& exception) {
            reportError(exception.what());
            _exit(V_INCOMPLETE);
        } catch (...) {
        }
    }
    std::abort();
}

int run(int argc, char** argv) {
    Options options = CheckCommandLine::options();
    options.update();
    CheckCommandLine line;
    if (line.read(options, argc, argv) == CheckCommandLine::HELP) {
        usage(progname(argv[0]), options);
        return EXIT_SUCCESS;
    }
    return CheckRun(line).run();
}

} // namespace

int main(int argc, char** argv) {
    fillStandardDescriptors();
    unsetenv("POSIXLY_CORRECT"); // as in the other programs
    std::set_terminate(endWithoutMemory);
    int status = V_INCOMPLETE;
    try {
        status = run(argc, argv);
    } catch (const std::invalid_argument& exception) {
        reportError(exception.what());
        status = wrongCommandLine;
    } catch (const std::exception& exception) {
        reportError(exception.what());
    }
    return finishOutput(EXIT_SUCCESS) == EXIT_SUCCESS ? status : CheckRun::worse(status);
}
