#include "libqvutil/print.h"

#include "libqvutil/textstream.h"

bool Piece::into(std::ostream& out) const {
    if (insert != nullptr) {
        insert(out, object);
    } else if (object != nullptr) {
        out << static_cast<const char*>(object);
    }
    return insert != nullptr || object != nullptr;
}

Text::Text(std::initializer_list<Piece> pieces) {
    TextStream out;
    for (const Piece& piece : pieces) {
        whole = whole && piece.into(out);
    }
    text = out.str();
}

void Text::write(std::ostream& out) const {
    out << text << std::flush;
    if (!whole) {
        out.setstate(std::ios_base::badbit);
    }
}
