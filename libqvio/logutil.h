#pragma once

#include "libqvproc/annotations.h"
#include "libqvutil/print.h"

#include <iostream>
#include <mutex>
#include <string>

/// The std::mutex of the log, with clang's annotations, which that of the C++ library lacks.
class QV_CAPABILITY("mutex") LogMutex : public std::mutex {
public:
    void lock() QV_ACQUIRE() QV_NO_THREAD_SAFETY_ANALYSIS { std::mutex::lock(); }
    void unlock() QV_RELEASE() QV_NO_THREAD_SAFETY_ANALYSIS { std::mutex::unlock(); }
};

/// Lines that begin with "[DEBUG]" or "[ERROR]". Each is composed first, then written in a single insertion
/// under `logMutex`, which is never held together with another lock.
class LogUtil {
public:
    /// Holds the log lock for a scope.
    class QV_SCOPED_CAPABILITY Lock {
    public:
        Lock() QV_ACQUIRE(logMutex) { logMutex.lock(); }
        ~Lock() QV_RELEASE() { logMutex.unlock(); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;
    };

    /// Process-wide.
    static LogMutex logMutex;

    /// "[DEBUG] BZ::" + `function` + "() " + the pieces (libqvutil/print.h), on standard output.
    template<typename... P>
    static void debugLine(const char* function, const P&... pieces) QV_EXCLUDES(logMutex) {
        write(std::cout, Text({"[DEBUG] BZ::", function, "() ", pieces..., "\n"}));
    }

    /// The same after "[ERROR] BZ::", on standard error, completed by `printError(errnum)`. Returns -1.
    static int errorLine(const char* function, const char* text, int errnum) QV_EXCLUDES(logMutex);

    /// "[ERROR] " + the pieces, on standard error.
    template<typename... P>
    static void plainErrorLine(const P&... pieces) QV_EXCLUDES(logMutex) {
        write(std::cerr, Text({"[ERROR] ", pieces..., "\n"}));
    }

    /// Completes an error line on standard error, whose beginning `begun` is not written yet: ": ", the
    /// system's text for `errnum`, a line end and a flush.
    static void printError(int errnum, const std::string& begun = std::string()) QV_REQUIRES(logMutex);

private:
    static void write(std::ostream& out, const Text& line) QV_EXCLUDES(logMutex);
};
