#include "libqvio/logutil.h"

#include "libqvproc/thread.h"

#include <iostream>

LogMutex LogUtil::logMutex;

namespace {

/// Replaces the threads' own way to write their error line, which knows no lock of a higher layer.
const bool threadsLock = [] {
    Thread::writeError = [](const char* line) {
        const LogUtil::Lock lock;
        std::cerr << line << std::flush;
    };
    return true;
}();

} // namespace

void LogUtil::write(std::ostream& out, const Text& line) {
    const Lock lock;
    line.write(out);
}

int LogUtil::errorLine(const char* function, const char* text, int errnum) {
    const std::string begun = std::string("[ERROR] BZ::") + function + "() " + text;
    const Lock lock;
    printError(errnum, begun);
    return -1;
}

void LogUtil::printError(int errnum, const std::string& begun) {
    printErrno(errnum, begun);
}
