#include "libqvutil/line.h"

#include <ostream>

Line& Line::operator<<(const char* piece) {
    if (piece == nullptr) {
        broken = true;
    } else if (!broken) {
        text << piece;
    }
    return *this;
}

void Line::put(std::ostream& out, const char* end) const {
    if (broken) {
        out << text.str();
        out.setstate(std::ios_base::badbit);
        return;
    }
    out << text.str() + end << std::flush;
}

void Line::write(std::ostream& out) const {
    put(out, "");
}

void Line::writeLine(std::ostream& out) const {
    put(out, "\n");
}
