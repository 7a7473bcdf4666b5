#pragma once

#include "libqvproc/thread.h"

#include <functional>
#include <utility>

/// A thread that runs what it is given.
class Probe : public Thread {
public:
    explicit Probe(std::function<void()> _body = [] {}) : body(std::move(_body)) {}
    using Thread::startWrapper;

private:
    void threadCode() override { body(); }

    std::function<void()> body;
};
