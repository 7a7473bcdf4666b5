#include "libqvproc/thread.h"

#include <cerrno>
#include <cstdio>
#include <cxxabi.h>
#include <exception>
#include <iostream>

namespace {

pthread_t invalidHandle() {
    pthread_t handle;
    Thread::invalidate(handle);
    return handle;
}

// Without the log lock, which belongs to a layer above, and without allocating: the exception may be a lack
// of memory. One insertion keeps the line whole; a text that is too long for it is cut.
void report(const char* what) {
    char line[512];
    const int n = std::snprintf(line, sizeof line, "[ERROR] BZ::threadCode() %s\n", what);
    if (n >= static_cast<int>(sizeof line)) {
        line[sizeof line - 2] = '\n';
    }
    std::cerr << line << std::flush;
}

} // namespace

int Thread::start() {
    const int result = pthread_create(&thread, nullptr, Thread::startWrapper, this);
    if (result != 0) {
        invalidate(thread); // POSIX leaves the handle undefined
    }
    return result;
}

int Thread::join() {
    // pthread_join on the invalid handle would follow it as a pointer.
    if (pthread_equal(thread, invalidHandle()) != 0) {
        return ESRCH;
    }
    const int result = pthread_join(thread, nullptr);
    if (result == 0) {
        invalidate(thread);
    }
    return result;
}

// The C library unwinds a thread that ends itself without an exception object: the sanitizer would take the
// reference that is caught for one that is bound to null.
__attribute__((no_sanitize("null"))) void* Thread::startWrapper(void* object) {
    try {
        static_cast<Thread*>(object)->threadCode();
    } catch (abi::__forced_unwind&) {
        throw; // pthread_exit and cancellation must run on to the end
    } catch (const std::exception& exception) {
        report(exception.what());
    } catch (...) {
        report("unknown exception");
    }
    return nullptr;
}
