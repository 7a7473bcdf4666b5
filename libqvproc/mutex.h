#pragma once

#include "libqvproc/annotations.h"

#include <atomic>

#include <pthread.h>

/// A POSIX mutex. Results of the int functions are those of the pthread functions: 0, or an error number.
class QV_CAPABILITY("mutex") Mutex {
public:
    /// Attributes for a mutex.
    class Attr {
    public:
        Attr();
        ~Attr();
        Attr(const Attr&) = delete;
        Attr& operator=(const Attr&) = delete;

        /// `type`: PTHREAD_MUTEX_NORMAL, _ERRORCHECK, _RECURSIVE or _DEFAULT. Returns 0 or EINVAL.
        int setType(int type);
        const pthread_mutexattr_t& get() const { return attr; }

    private:
        pthread_mutexattr_t attr;
    };

    Mutex();
    explicit Mutex(const Attr& attr);
    virtual ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    int lock() QV_ACQUIRE() QV_NO_THREAD_SAFETY_ANALYSIS {
        return checked("lock", pthread_mutex_lock(&mutex));
    }
    int unlock() QV_RELEASE() QV_NO_THREAD_SAFETY_ANALYSIS {
        return checked("unlock", pthread_mutex_unlock(&mutex));
    }
    bool trylock() QV_TRY_ACQUIRE(true) QV_NO_THREAD_SAFETY_ANALYSIS {
        return pthread_mutex_trylock(&mutex) == 0;
    }

    // The same as semaphore operations.
    int P() QV_ACQUIRE() { return lock(); }
    int V() QV_RELEASE() { return unlock(); }
    bool tryP() QV_TRY_ACQUIRE(true) { return trylock(); }

    pthread_mutex_t& getMutex() { return mutex; }

    /// If set, a failing lock or unlock writes a line to standard error.
    void setDebug(bool on) { debug = on; }
    bool getDebug() const { return debug; }

private:
    int checked(const char* what, int result) const { return result == 0 ? 0 : failed(what, result); }
    int failed(const char* what, int result) const;

    pthread_mutex_t mutex;
    std::atomic<bool> debug{false};
};

/// Holds a mutex for a scope.
class QV_SCOPED_CAPABILITY MutexLocker {
public:
    explicit MutexLocker(Mutex& _mutex) QV_ACQUIRE(_mutex) : mutex(_mutex) { mutex.P(); }
    ~MutexLocker() QV_RELEASE() {
        if (held) {
            mutex.V();
        }
    }

    /// Locks the mutex again inside the scope, after `unlock`.
    int lock() QV_ACQUIRE() QV_NO_THREAD_SAFETY_ANALYSIS;

    /// Releases it inside the scope.
    int unlock() QV_RELEASE() QV_NO_THREAD_SAFETY_ANALYSIS;

    Mutex& get() QV_RETURN_CAPABILITY(mutex) { return mutex; }

private:
    MutexLocker(const MutexLocker&);
    MutexLocker& operator=(const MutexLocker&);

    Mutex& mutex;
    bool held = true;
};
