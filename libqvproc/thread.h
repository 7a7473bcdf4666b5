#pragma once

#include <pthread.h>

/// A thread whose body is the derived class's `threadCode()`. The object must live until `join` has returned.
class Thread {
public:
    Thread() { invalidate(thread); }
    virtual ~Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Creates the thread. Returns 0, or pthread_create's error number, with the handle invalid again.
    int start();

    /// Waits until the thread has ended. Returns 0; ESRCH if the thread was never created or is already
    /// joined, otherwise pthread_join's error number.
    int join();

    /// pthread_create's error number at the last `start`; 0 if the thread was created.
    int startError() const { return createResult; }

    /// The last thread ended by an exception. Valid after `join`.
    bool endedByException() const { return thrown; }

    /// Writes a complete line about an exception to standard error. The log (libqvio/logutil.h) replaces it
    /// by one that takes its lock.
    static void (*writeError)(const char* line);

    static void invalidate(pthread_t& handle) { handle = static_cast<pthread_t>(-1); }

protected:
    /// The thread's body. An exception that leaves it ends only this thread and is reported as one line on
    /// standard error.
    virtual void threadCode() = 0;

    /// The thread function: runs `threadCode()` of the Thread pointed to. Returns null.
    static void* startWrapper(void* object);

private:
    void report(const char* what);

    pthread_t thread;
    int createResult = 0;
    bool thrown = false; ///< written by the thread, read after it was joined
};
