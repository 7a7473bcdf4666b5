#pragma once

#include <cstddef>
#include <new>

/// The heap as this thread uses it through operator new and delete, which allocations.cpp replaces for the
/// whole test program. malloc and free stay underneath, so that the address sanitizer still sees leaks.
///
/// A test program that links `qvallocations` may use it; other threads are neither counted nor disturbed.
namespace allocations {

/// How often this thread called operator new, failed calls included. Not counted while a Pause lives.
std::size_t count();

/// How many blocks this thread got and has not given back; blocks of other threads that it gave back count
/// against it.
std::ptrdiff_t live();

/// The calls of operator new that `action` makes on this thread.
template<typename Action>
std::size_t during(Action&& action) {
    const std::size_t before = count();
    action();
    return count() - before;
}

/// While it lives, this thread's `n`-th allocation from now on (1: the next one) throws std::bad_alloc; those
/// before and after it do not. Not nested.
class FailNth {
public:
    explicit FailNth(std::size_t n);
    ~FailNth();
    FailNth(const FailNth&) = delete;
    FailNth& operator=(const FailNth&) = delete;

    /// True when the allocation was reached, and so failed.
    bool failed() const;
};

/// While it lives, this thread's allocations neither count nor fail: for what a scripted call does in
/// between.
class Pause {
public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
};

} // namespace allocations
