/// set_clock SECONDS: sets the clock to that many seconds since 1970 and prints what it was, as root. Debian
/// 12's own programs for 32-bit ARM cannot: their time_t ends in 2038.

#include "libqvutil/utility.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

int main(int argc, char** argv) {
    timespec now{};
    if (argc != 2 || clock_gettime(CLOCK_REALTIME, &now) != 0) {
        std::fprintf(stderr, "set_clock SECONDS\n");
        return EXIT_FAILURE;
    }
    timespec wanted{};
    wanted.tv_sec = static_cast<std::time_t>(std::strtoll(argv[1], nullptr, 10));
    if (clock_settime(CLOCK_REALTIME, &wanted) != 0) {
        std::perror("set_clock");
        return EXIT_FAILURE;
    }
    std::printf("%lld\n", static_cast<long long>(now.tv_sec));
    return EXIT_SUCCESS;
}
