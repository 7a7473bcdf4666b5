#pragma once

#include "libqvproc/mutex.h"

/// A mutex of a type, PTHREAD_MUTEX_...; `result` is what setting it gave.
struct TypedMutex : private Mutex::Attr {
    explicit TypedMutex(int type) : result(setType(type)), mutex(*this) {}
    int result;
    Mutex mutex;
};
