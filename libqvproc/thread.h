#pragma once

#include <pthread.h>

/// A thread whose body is the derived class's `threadCode()`. The object must live until `join` has returned.
class Thread {
public:
    Thread() { invalidate(thread); }
    virtual ~Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Creates the thread. Returns 0, or pthread_create's error number; the handle is then invalid again.
    int start();

    /// Waits until the thread has ended. Returns 0; ESRCH for a thread that was never created or is already
    /// joined, otherwise pthread_join's error number.
    int join();

    static void invalidate(pthread_t& handle) { handle = static_cast<pthread_t>(-1); }

protected:
    /// The thread's body. An exception that leaves it ends this thread alone and becomes one line on standard
    /// error.
    virtual void threadCode() = 0;

    /// The thread function: runs `threadCode()` of the Thread pointed to. Returns null.
    static void* startWrapper(void* object);

private:
    pthread_t thread;
};
