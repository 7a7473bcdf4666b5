#pragma once

#include "libqvio/logutil.h"
#include "qvtools/candevice.h"
#include "tests/fakes/pieces.h"

#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

/// Which of the two locks some thread holds. Asked on a thread of its own: trying a lock that one holds is
/// undefined.
struct locks_t {
    bool device; ///< CanDevice::mutex
    bool log;    ///< LogUtil::logMutex

    static locks_t now() {
        locks_t locks{true, true};
        std::thread([&locks] {
            if (CanDevice::mutex.trylock()) {
                locks.device = false;
                CanDevice::mutex.unlock();
            }
            std::mutex& log = LogUtil::logMutex;
            locks.log = !std::unique_lock<std::mutex>(log, std::try_to_lock).owns_lock();
        }).join();
        return locks;
    }
};

/// Pieces, and who was locked at each.
class LockProbe : private Pieces {
public:
    struct piece_t {
        std::string text;
        locks_t locks;
    };

    explicit LockProbe(std::ostream& _stream) : Pieces(_stream) {
        onPiece = [this] { pieces.push_back({all.back(), locks_t::now()}); };
    }

    std::vector<piece_t> pieces;
    using Pieces::flushes;
};
