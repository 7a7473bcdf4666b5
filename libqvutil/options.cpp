#include "libqvutil/options.h"

#include "libqvutil/textstream.h"
#include "libqvutil/utility.h"

#include <algorithm>
#include <climits>
#include <ostream>
#include <sstream>
#include <utility>

namespace {

constexpr std::size_t minHelpWidth = 20; // wrapping never makes the help column narrower than this

std::size_t widthOf(const std::string& text) {
    return displayWidth(text.c_str());
}

std::string padded(const std::string& text, std::size_t width) {
    const std::size_t used = widthOf(text);
    return used < width ? text + std::string(width - used, ' ') : text;
}

bool hasLetter(const Options::option_t& row) {
    return row.optchar > 0 && row.optchar <= UCHAR_MAX;
}

std::string shortForm(const Options::option_t& row) {
    return hasLetter(row) ? std::string("-") + static_cast<char>(row.optchar) : std::string();
}

/// Breaks one line of a help text at blanks into pieces of at most `width` columns; a longer word is not
/// split.
std::vector<std::string> wrapped(const std::string& line, std::size_t width) {
    std::vector<std::string> pieces;
    std::istringstream words(line);
    words.exceptions(std::ios_base::badbit);
    std::string piece;
    std::string word;
    while (words >> word) {
        if (!piece.empty() && widthOf(piece) + 1 + widthOf(word) > width) {
            pieces.push_back(piece);
            piece.clear();
        }
        piece += piece.empty() ? word : ' ' + word;
    }
    pieces.push_back(piece);
    return pieces;
}

std::vector<std::string> helpLines(const std::string& help, std::size_t width) {
    std::vector<std::string> lines;
    std::size_t begin = 0;
    while (begin <= help.size()) {
        const std::size_t end = std::min(help.find('\n', begin), help.size());
        const std::string line = help.substr(begin, end - begin);
        if (width == 0) {
            lines.push_back(line);
        } else {
            for (const std::string& piece : wrapped(line, width)) {
                lines.push_back(piece);
            }
        }
        begin = end + 1;
    }
    return lines;
}

} // namespace

const char* const Options::defaultArgHelp = "arg";
const std::array<int, 3> Options::argumentVals = {no_argument, required_argument, optional_argument};

const Options::option_t optionHelp('h', "help", "show this help text and exit");
const Options::option_t optionVerbose('v', "verbose",
                                      "say more: -vv every frame and step, -vvv other records, too");

Options::option_t::option_t(int _optchar, const char* _optstring, std::string _help)
    : optchar(_optchar),
      optstring(_optstring),
      argHelp(nullptr),
      required(false),
      help(std::move(_help)) {}

Options::option_t::option_t(int _optchar, const char* _optstring, const char* _argHelp, bool _required,
                            std::string _help)
    : optchar(_optchar),
      optstring(_optstring),
      argHelp(_argHelp == nullptr ? defaultArgHelp : _argHelp),
      required(_required),
      help(std::move(_help)) {}

Options::intOption_t::intOption_t(const option_t& row) : option_t(row), arg(A_NONE) {
    if (argHelp != nullptr) {
        arg = required ? A_REQUIRED : A_OPTIONAL;
    }
}

Options::Adder& Options::Adder::operator()(const option_t& row) {
    options.append(row);
    return *this;
}

Options::Options(std::initializer_list<option_t> list, std::size_t _cols) : cols(_cols) {
    reserve(list.size());
    for (const option_t& row : list) {
        append(row);
    }
}

void Options::reserve(std::size_t n) {
    options.reserve(n);
}

Options::Adder Options::add() {
    return Adder(*this);
}

void Options::append(const option_t& row) {
    options.emplace_back(row);
    changed = true;
}

std::string Options::longForm(const intOption_t& row) {
    std::string form = row.optstring == nullptr ? std::string() : std::string("--") + row.optstring;
    const bool named = !form.empty();
    if (row.arg == A_REQUIRED) {
        form += (named ? "=" : " ") + std::string(row.argHelp);
    } else if (row.arg == A_OPTIONAL) {
        form += (named ? "[=" : "[") + std::string(row.argHelp) + "]";
    }
    return form;
}

void Options::update() {
    maxShortOptWidth = 0;
    maxLongOptWidth = 0;
    // The leading colon suppresses the system parser's own messages.
    singleCharSwitches = ":";
    longOptions.clear();
    for (intOption_t& row : options) {
        row.argWidth = displayWidth(row.argHelp);
        row.shortOptWidth = widthOf(shortForm(row));
        row.longOptWidth = widthOf(longForm(row));
        maxShortOptWidth = std::max(maxShortOptWidth, row.shortOptWidth);
        maxLongOptWidth = std::max(maxLongOptWidth, row.longOptWidth);
        if (hasLetter(row)) {
            singleCharSwitches += static_cast<char>(row.optchar);
            singleCharSwitches.append(static_cast<std::size_t>(row.arg), ':'); // "x", "x:" or "x::"
        }
        if (row.optstring != nullptr) {
            longOptions.push_back({row.optstring, argumentVals.at(row.arg), nullptr, row.optchar});
        }
    }
    longOptions.push_back({nullptr, 0, nullptr, 0});
    changed = false;
}

void Options::restart() {
    optind = 0; // glibc: unlike 1 it discards a half-read cluster such as -hv
}

int Options::get(int argc, char** argv) {
    if (changed) {
        update();
    }
    return getopt_long(argc, argv, singleCharSwitches.c_str(), longOptions.data(), nullptr);
}

std::ostream& Options::print(std::ostream& out) const {
    if (changed) {
        Options current(*this);
        current.update();
        return current.print(out);
    }
    const std::size_t helpColumn = 2 + maxShortOptWidth + 2 + maxLongOptWidth + 2;
    const std::size_t helpWidth = cols == 0 ? 0 : std::max(minHelpWidth, cols - std::min(cols, helpColumn));
    std::string text;
    for (const intOption_t& row : options) {
        const bool both = hasLetter(row) && row.optstring != nullptr;
        std::string line = "  " + padded(shortForm(row), maxShortOptWidth) + (both ? ", " : "  ") +
                           padded(longForm(row), maxLongOptWidth) + "  ";
        for (const std::string& help : helpLines(row.help, helpWidth)) {
            line += help;
            text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
            line.assign(helpColumn, ' ');
        }
    }
    return out << text;
}

std::string Options::toString() const {
    TextStream out;
    print(out);
    return out.str();
}
