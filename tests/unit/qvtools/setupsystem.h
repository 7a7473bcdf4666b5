#pragma once

#include "tests/fakes/allocations.h"
#include "tests/fakes/fakesystem.h"
#include "tests/fakes/hexadecimal.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <net/if.h>

/// The first call of every set-up.
inline const char* const setLocale = "setlocale(6, en_US.UTF-8)";

/// A system on which the run's descriptor can be set up, with each call on record, arguments included. Every
/// descriptor is number 7, every interface has index 42.
class SetupSystem : public FakeSystem {
public:
    typedef std::vector<std::string> calls_t;

    static constexpr int descriptor = 7;

    /// The `n`-th call that may fail does so, with `_errnum` in errno; 0: none.
    explicit SetupSystem(std::size_t n = 0, int _errnum = EIO) : failing(n), errnum(_errnum) {
        setlocale = [this](int category, const char* locale) -> char* {
            note("setlocale", category, locale);
            return nullptr; // as where the locale is not installed
        };
        socket = [this](int domain, int type, int protocol) {
            note("socket", domain, type, protocol);
            return result(descriptor);
        };
        ioctl = [this](int fd, unsigned long request, void* argument) {
            auto* const interface = static_cast<ifreq*>(argument);
            note("ioctl", fd, request, quoted(interface->ifr_name, sizeof interface->ifr_name));
            interface->ifr_ifindex = 42;
            return result(0);
        };
        setsockopt = [this](int fd, int level, int option, const void* value, socklen_t size) {
            note("setsockopt", fd, level, option, intAt(value, size), size);
            return result(0);
        };
        bind = [this](int fd, const sockaddr* address, socklen_t size) {
            const allocations::Pause pause;
            note("bind", fd, hexadecimal(address, size, size), size);
            return result(0);
        };
        open = [this](const char* path, int flags) {
            note("open", path == nullptr ? "null" : path, flags);
            return result(descriptor);
        };
        close = [this](int fd) {
            note("close", fd);
            return 0;
        };
    }

    calls_t calls;

    /// How many calls of a function there were.
    std::size_t count(const std::string& name) const {
        const allocations::Pause pause;
        std::size_t n = 0;
        for (const std::string& call : calls) {
            n += call.rfind(name + '(', 0) == 0 ? 1U : 0U;
        }
        return n;
    }

private:
    struct quoted {
        quoted(const char* text, std::size_t size) : value(text, strnlen(text, size)) {}
        std::string value;
        friend std::ostream& operator<<(std::ostream& out, const quoted& q) {
            return out << '"' << q.value << '"';
        }
    };

    static int intAt(const void* value, socklen_t size) {
        int number = -1;
        if (size == sizeof number) {
            std::memcpy(&number, value, sizeof number);
        }
        return number;
    }

    template<typename First, typename... Rest>
    void note(const char* name, const First& first, const Rest&... rest) {
        const allocations::Pause pause;
        std::ostringstream text;
        text << name << '(' << first;
        static_cast<void>(std::initializer_list<int>{(text << ", " << rest, 0)...});
        text << ')';
        calls.push_back(text.str());
    }

    int result(int success) {
        if (++fallible != failing) {
            return success;
        }
        errno = errnum;
        return -1;
    }

    std::size_t failing;
    int errnum;
    std::size_t fallible = 0;
};
