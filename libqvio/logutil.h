#pragma once

#include "libqvproc/annotations.h"

#include <mutex>
#include <string>

/// The std::mutex of the log, with clang's annotations, which the C++ library's own lacks.
class CAPABILITY("mutex") LogMutex : public std::mutex {
public:
    void lock() ACQUIRE() NO_THREAD_SAFETY_ANALYSIS { std::mutex::lock(); }
    void unlock() RELEASE() NO_THREAD_SAFETY_ANALYSIS { std::mutex::unlock(); }
};

/// What debug and error lines have in common. Each is written whole while `logMutex` is held, which is
/// released before the caller does anything else; it is never held together with another lock.
class LogUtil {
public:
    /// Holds the log lock for a scope.
    class SCOPED_CAPABILITY Lock {
    public:
        Lock() ACQUIRE(logMutex) { logMutex.lock(); }
        ~Lock() RELEASE() { logMutex.unlock(); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;
    };

    /// Process-wide.
    static LogMutex logMutex;

    /// "BZ::" + `function` + "() " + `text` behind "[DEBUG] ", on standard output.
    static void debugLine(const char* function, const std::string& text) EXCLUDES(logMutex);

    /// The same behind "[ERROR] ", on standard error, completed by `printError(errnum)`.
    static void errorLine(const char* function, const char* text, int errnum) EXCLUDES(logMutex);

    /// Completes an error line begun on standard error: ": ", the system's text for `errnum`, a line end and
    /// a flush.
    static void printError(int errnum) REQUIRES(logMutex);
};
