#pragma once

#include "libqvproc/mutex.h"

#include <thread>

/// Whether another thread could take the mutex; it gives it back.
inline bool isFree(Mutex& mutex) {
    bool taken = false;
    std::thread([&] {
        if (mutex.trylock()) {
            taken = true;
            mutex.unlock();
        }
    }).join();
    return taken;
}
