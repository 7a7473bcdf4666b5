#include "libqvtrace/passedover.h"

namespace {

std::string counted(std::size_t n, const char* noun) {
    return std::to_string(n) + ' ' + noun + (n == 1 ? "" : "s");
}

} // namespace

std::string passedOver_t::text() const {
    std::string list;
    const auto add = [&list](std::size_t n, const char* noun, const char* what) {
        if (n > 0) {
            list += (list.empty() ? "" : ", ") + counted(n, noun) + what;
        }
    };
    add(bytes, "byte", " outside of any sound record");
    add(unknown, "record", " of unknown kind");
    add(invalid, "record", " with an invalid body");
    std::string line = list.empty() ? "trace buffer:" : "trace buffer: passed over " + list;
    if (cutOff > 0) {
        line += (list.empty() ? " " : "; ") + std::string("the input ended inside a record, after ") +
                counted(cutOff, "byte");
    }
    return line;
}
