#include "tests/fakes/allocations.h"

#include <cstdlib>

namespace {

thread_local std::size_t calls = 0;
thread_local std::ptrdiff_t blocks = 0;
thread_local std::size_t countdown = 0; // 0: none fails
thread_local unsigned int pauses = 0;

bool fails() {
    if (pauses > 0) {
        return false;
    }
    ++calls;
    return countdown > 0 && --countdown == 0;
}

void* counted(void* memory) noexcept {
    blocks += memory == nullptr ? 0 : 1;
    return memory;
}

void* allocate(std::size_t n) noexcept {
    return fails() ? nullptr : counted(std::malloc(n == 0 ? 1 : n));
}

void* allocate(std::size_t n, std::align_val_t alignment) noexcept {
    const auto step = static_cast<std::size_t>(alignment);
    return fails() ? nullptr : counted(std::aligned_alloc(step, (n + step) / step * step));
}

void* orThrow(void* memory) {
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void release(void* memory) noexcept {
    blocks -= memory == nullptr ? 0 : 1;
    std::free(memory);
}

} // namespace

namespace allocations {

std::size_t count() {
    return calls;
}

std::ptrdiff_t live() {
    return blocks;
}

FailNth::FailNth(std::size_t n) {
    countdown = n;
}

FailNth::~FailNth() {
    countdown = 0;
}

bool FailNth::failed() const {
    return countdown == 0;
}

Pause::Pause() {
    ++pauses;
}

Pause::~Pause() {
    --pauses;
}

} // namespace allocations

// All forms, although the standard library would forward some: the sanitizers bring their own set, and memory
// of the one must not be given back to the other.
void* operator new(std::size_t n) {
    return orThrow(allocate(n));
}
void* operator new[](std::size_t n) {
    return orThrow(allocate(n));
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    return allocate(n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    return allocate(n);
}
void* operator new(std::size_t n, std::align_val_t alignment) {
    return orThrow(allocate(n, alignment));
}
void* operator new[](std::size_t n, std::align_val_t alignment) {
    return orThrow(allocate(n, alignment));
}
void* operator new(std::size_t n, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocate(n, alignment);
}
void* operator new[](std::size_t n, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocate(n, alignment);
}

void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    release(memory);
}
