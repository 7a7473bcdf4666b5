// Preloaded into Debian's user-mode kernel if the processor has AMX. That kernel (6.1) keeps 2696 bytes of a
// process's extended register state. With AMX the host has 11008, and PTRACE_SETREGSET with NT_X86_XSTATE
// fails with EFAULT unless it gets them all. The missing bytes are zeros: they are AMX's tiles, which are
// unused unless a process requests them, and the header that the kernel passes on marks them so.

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstddef>
#include <dlfcn.h>
#include <elf.h>

#include <sys/ptrace.h>
#include <sys/uio.h>

extern "C" long ptrace(__ptrace_request request, ...) noexcept {
    using ptrace_t = long (*)(__ptrace_request, ...);
    static const auto next = reinterpret_cast<ptrace_t>(dlsym(RTLD_NEXT, "ptrace"));
    static std::array<std::byte, 65536> all;
    static std::size_t size = 0; // of the host's register state

    va_list arguments;
    va_start(arguments, request);
    const auto pid = va_arg(arguments, int);
    void* const address = va_arg(arguments, void*);
    void* const data = va_arg(arguments, void*);
    va_end(arguments);

    if (request != PTRACE_SETREGSET || reinterpret_cast<std::size_t>(address) != NT_X86_XSTATE) {
        return next(request, pid, address, data);
    }
    iovec whole = {all.data(), all.size()};
    if (size == 0 && next(PTRACE_GETREGSET, pid, address, &whole) == 0) {
        size = whole.iov_len;
        all.fill(std::byte{0});
    }
    const auto* const held = static_cast<const iovec*>(data);
    const auto* const bytes = static_cast<const std::byte*>(held->iov_base);
    std::copy(bytes, bytes + std::min(held->iov_len, size), all.begin());
    whole = {all.data(), size};
    return next(request, pid, address, &whole);
}
