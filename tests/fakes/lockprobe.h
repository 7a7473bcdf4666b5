#pragma once

#include "libqvio/logutil.h"
#include "qvtools/candevice.h"

#include <mutex>
#include <ostream>
#include <streambuf>
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

/// Takes what is written to a stream while it lives: each insertion as a piece of its own, and who was locked
/// then.
class LockProbe : private std::streambuf {
public:
    struct piece_t {
        std::string text;
        locks_t locks;
    };

    explicit LockProbe(std::ostream& _stream) : stream(_stream), original(_stream.rdbuf(this)) {}
    ~LockProbe() override { stream.rdbuf(original); }
    LockProbe(const LockProbe&) = delete;
    LockProbe& operator=(const LockProbe&) = delete;

    std::vector<piece_t> pieces;
    std::size_t flushes = 0;

private:
    std::streamsize xsputn(const char* text, std::streamsize n) override {
        pieces.push_back({std::string(text, static_cast<std::size_t>(n)), locks_t::now()});
        return n;
    }
    int_type overflow(int_type c) override {
        pieces.push_back({std::string(1, traits_type::to_char_type(c)), locks_t::now()});
        return c;
    }
    int sync() override {
        ++flushes;
        return 0;
    }

    std::ostream& stream;
    std::streambuf* original;
};
