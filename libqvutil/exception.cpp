#include "libqvutil/exception.h"

#include <ostream>

std::ostream& operator<<(std::ostream& out, const QVException& exception) {
    return out << exception.what();
}
