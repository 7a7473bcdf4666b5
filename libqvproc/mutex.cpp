#include "libqvproc/mutex.h"

#include "libqvutil/print.h"

Mutex::Attr::Attr() : attr() {
    pthread_mutexattr_init(&attr);
}

Mutex::Attr::~Attr() {
    pthread_mutexattr_destroy(&attr);
}

int Mutex::Attr::setType(int type) {
    return pthread_mutexattr_settype(&attr, type);
}

Mutex::Mutex() : mutex() {
    pthread_mutex_init(&mutex, nullptr);
}

Mutex::Mutex(const Attr& attr) : mutex() {
    pthread_mutex_init(&mutex, &attr.get());
}

Mutex::~Mutex() {
    pthread_mutex_destroy(&mutex);
}

int Mutex::failed(const char* what, int result) const {
    if (debug) {
        printErrno(result, "mutex ", what);
    }
    return result;
}

int MutexLocker::lock() {
    const int result = mutex.P();
    held = held || result == 0; // after a refused second lock the mutex is still held
    return result;
}

int MutexLocker::unlock() {
    held = false;
    return mutex.V();
}
