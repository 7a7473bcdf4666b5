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

void writeWithoutLock(const char* line) {
    std::cerr << line << std::flush;
}

} // namespace

void (*Thread::writeError)(const char* line) = writeWithoutLock;

// Does not allocate, as the exception may be std::bad_alloc. A text too long for the line is cut.
void Thread::report(const char* what) {
    thrown = true;
    char line[512];
    const int n = std::snprintf(line, sizeof line, "[ERROR] BZ::threadCode() %s\n", what);
    if (n >= static_cast<int>(sizeof line)) {
        line[sizeof line - 2] = '\n';
    }
    writeError(line);
}

int Thread::start() {
    thrown = false;
    createResult = pthread_create(&thread, nullptr, Thread::startWrapper, this);
    if (createResult != 0) {
        invalidate(thread); // POSIX leaves the handle undefined
    }
    return createResult;
}

int Thread::join() {
    // pthread_join would use the invalid handle as a pointer.
    if (pthread_equal(thread, invalidHandle()) != 0) {
        return ESRCH;
    }
    const int result = pthread_join(thread, nullptr);
    if (result == 0) {
        invalidate(thread);
    }
    return result;
}

// pthread_exit() unwinds without an exception object; the sanitizer reports the reference caught here as
// null.
__attribute__((no_sanitize("null"))) void* Thread::startWrapper(void* object) {
    auto* const self = static_cast<Thread*>(object);
    try {
        self->threadCode();
    } catch (abi::__forced_unwind&) {
        throw; // pthread_exit and cancellation must run to completion
    } catch (const std::exception& exception) {
        self->report(exception.what());
    } catch (...) {
        self->report("unknown exception");
    }
    return nullptr;
}
