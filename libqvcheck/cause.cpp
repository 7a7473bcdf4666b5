#include "libqvcheck/cause.h"

std::string_view causeName(lossCause_t cause) {
    static constexpr std::array<std::string_view, LC_NUM> names = {"this host, queue",
                                                                   "this host, link",
                                                                   "this host, driver",
                                                                   "this host, kernel",
                                                                   "this host",
                                                                   "bus",
                                                                   "input",
                                                                   "before this host"};
    return names[cause];
}
