// Preloaded into a program: counts its allocations in the file that QV_ALLOCATIONS names, eight bytes, and
// fails those that QV_FAILS says: "7" the seventh, "7+" it and all behind it.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t n);
void* __libc_calloc(std::size_t n, std::size_t size);
void* __libc_realloc(void* memory, std::size_t n);
void* __libc_memalign(std::size_t alignment, std::size_t n);
}

namespace {

std::atomic<std::uint64_t> unwatched;
std::atomic<std::uint64_t>* count = &unwatched;
std::uint64_t first = 0; // 0: none fails
bool further = false;
std::atomic<bool> started = false;
int (*programsMain)(int, char**, char**) = nullptr;

void begin() {
    const char* const path = std::getenv("QV_ALLOCATIONS");
    const char* const fails = std::getenv("QV_FAILS");
    if (fails != nullptr) {
        char* end = nullptr;
        first = std::strtoull(fails, &end, 10);
        further = *end == '+';
    }
    const int fd = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
    if (fd != -1) {
        void* const shared = mmap(nullptr, sizeof *count, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        if (shared != MAP_FAILED) {
            count = static_cast<std::atomic<std::uint64_t>*>(shared);
        }
    }
    started = true;
}

int mainWithFailures(int argc, char** argv, char** environment) {
    begin();
    return programsMain(argc, argv, environment);
}

bool fails() {
    if (!started) {
        return false;
    }
    const std::uint64_t number = ++*count;
    const bool failing = first > 0 && (number == first || (further && number > first));
    if (failing) {
        errno = ENOMEM;
    }
    return failing;
}

} // namespace

extern "C" {

/// What the program's start calls with its `main`.
int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*finishLoader)(), void* stackEnd) {
    programsMain = main;
    const auto start = reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return start(mainWithFailures, argc, argv, init, fini, finishLoader, stackEnd);
}

void* malloc(std::size_t n) {
    return fails() ? nullptr : __libc_malloc(n);
}

void* calloc(std::size_t n, std::size_t size) {
    return fails() ? nullptr : __libc_calloc(n, size);
}

void* realloc(void* memory, std::size_t n) {
    return n > 0 && fails() ? nullptr : __libc_realloc(memory, n);
}

void* memalign(std::size_t alignment, std::size_t n) {
    return fails() ? nullptr : __libc_memalign(alignment, n);
}

void* aligned_alloc(std::size_t alignment, std::size_t n) {
    return memalign(alignment, n);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t n) {
    void* const made = memalign(alignment, n);
    if (made == nullptr) {
        return ENOMEM;
    }
    *memory = made;
    return 0;
}
}
